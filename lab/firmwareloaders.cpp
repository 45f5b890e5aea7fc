#include "firmwareloaders.h"

#include <algorithm>
#include <utility>

namespace {

constexpr int progressBytes = 64 * 1024; // of an image, between two words about it
constexpr const char *ack = "#ACK";
constexpr const char *eraseCommand = "EPCSER:";

} // namespace

void FirmwareMemory::touch(int size)
{
    // Not FF anywhere, so that writing without erasing shows.
    constexpr int step = 37;
    constexpr int kinds = 255;
    for (int i = m_cells.size(); i < size; ++i) {
        m_cells.append(static_cast<char>(i * step % kinds));
    }
}

bool FirmwareMemory::eraseSector(int sector)
{
    if (sector < 0 || sector >= sectorCount) {
        return false;
    }
    const int start = sector * sectorSize;
    touch(start + sectorSize);
    m_cells.replace(start, sectorSize, QByteArray(sectorSize, '\xff'));
    return true;
}

bool FirmwareMemory::write(int offset, const QByteArray &bytes)
{
    if (offset < 0 || bytes.size() > capacity - offset) {
        return false;
    }
    touch(offset + bytes.size());
    std::transform(bytes.cbegin(), bytes.cend(), m_cells.cbegin() + offset, m_cells.begin() + offset,
                   [](char byte, char cell) { return static_cast<char>(byte & cell); });
    return true;
}

QByteArray FirmwareMemory::image()
{
    touch(m_imageSize);
    return m_cells.left(m_imageSize);
}

PowerSupplyLoader::PowerSupplyLoader(const UpdateSpec &spec, FirmwareMemory &memory, const EventLog &log)
    : UpdateDialogue(spec, log), m_memory(memory)
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
    const int taken = offset + bytes.size();
    if (taken / progressBytes > offset / progressBytes) {
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

BeamlineLoader::BeamlineLoader(const UpdateSpec &spec, FirmwareMemory &memory, const EventLog &log)
    : UpdateDialogue(spec, log), m_memory(memory)
{}

void BeamlineLoader::clientLeft()
{
    UpdateDialogue::clientLeft();
    if (std::exchange(m_stored, false)) {
        emit restartWanted();
    }
}

UpdateDialogue::Reaction BeamlineLoader::obey(const QByteArray &line)
{
    if (line.startsWith(eraseCommand)) {
        return erase(line.mid(line.indexOf(':') + 1));
    }
    if (line == "EPCSWR") {
        return {ack, Next::Image};
    }
    return UpdateDialogue::obey(line);
}

UpdateDialogue::Reaction BeamlineLoader::erase(const QByteArray &number)
{
    bool isNumber = false;
    const int sector = number.toInt(&isNumber);
    if (!isNumber || !m_memory.eraseSector(sector)) {
        return {nak()};
    }
    log().report("sectorErased", {{"sector", sector}});
    return {ack, Next::Line, spec().eraseMs};
}

bool BeamlineLoader::takeImage(int offset, const QByteArray &bytes)
{
    m_written = offset + bytes.size();
    return m_memory.write(offset, bytes);
}

QByteArray BeamlineLoader::keepImage()
{
    m_memory.setImageSize(m_written);
    m_stored = true;
    return m_memory.image();
}
