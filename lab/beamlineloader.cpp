#include "beamlineloader.h"

#include "firmwarememory.h"

#include <utility>

namespace {

constexpr const char *ack = "#ACK";
constexpr const char *eraseCommand = "EPCSER:";

} // namespace

BeamlineLoader::BeamlineLoader(const UpdateSpec &spec, FirmwareMemory &memory, EventLog &log,
                               const QString &mac)
    : UpdateDialogue(spec, log, mac), m_memory(memory)
{}

void BeamlineLoader::clientLeft()
{
    UpdateDialogue::clientLeft();
    if (std::exchange(m_stored, false)) {
        emit restartWanted();
    }
}

bool BeamlineLoader::isWholeLine(const QByteArray &received) const
{
    return received.endsWith('\r');
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
    report(QStringLiteral("sectorErased"), {{QStringLiteral("sector"), sector}});
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
