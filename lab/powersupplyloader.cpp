#include "powersupplyloader.h"

#include "firmwarememory.h"

PowerSupplyLoader::PowerSupplyLoader(const UpdateSpec &spec, FirmwareMemory &memory, EventLog &log,
                                     const QString &mac)
    : UpdateDialogue(spec, log, mac), m_memory(memory)
{}

void PowerSupplyLoader::clientLeft()
{
    UpdateDialogue::clientLeft();
    m_askedForStatus = false;
    m_image.clear();
}

UpdateDialogue::Reaction PowerSupplyLoader::obey(const QByteArray &line)
{
    if (line == "MST") {
        m_askedForStatus = true;
        return {QByteArrayLiteral("#MST:00000000")};
    }
    if (line == "MRP" || line == "MRG:83") {
        return {'#' + line + ":48.02 V", m_askedForStatus ? Next::Image : Next::Line};
    }
    if (line == "MREBOOT") {
        return {{}, Next::Restart};
    }
    return UpdateDialogue::obey(line);
}

bool PowerSupplyLoader::takeImage(int offset, const QByteArray &bytes)
{
    if (offset == 0) {
        m_image.clear();
        send(QByteArrayLiteral("$:Receiving firmware\n"));
    }
    const int every = spec().progressBytes;
    const int taken = offset + bytes.size();
    if (taken / every > offset / every) {
        send("$:" + QByteArray::number(taken) + " bytes received\n");
    }
    if (taken > FirmwareMemory::capacity) {
        return false;
    }
    m_image += bytes;
    return true;
}

QByteArray PowerSupplyLoader::keepImage()
{
    send(QByteArrayLiteral("$:Storing firmware\n"));
    for (int offset = 0; offset < m_image.size(); offset += FirmwareMemory::sectorSize) {
        m_memory.eraseSector(offset / FirmwareMemory::sectorSize);
    }
    m_memory.write(0, m_image);
    m_memory.setImageSize(m_image.size());
    m_image.clear();
    m_askedForStatus = false;
    return m_memory.image();
}
