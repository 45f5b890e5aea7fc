#include "beamlineupdate.h"

#include "imagesender.h"
#include "updatetexts.h"

namespace {

constexpr int sectorBytes = 64 * 1024;
constexpr int pieceBytes = 256;

ImageSender::Said meaningOf(const QByteArray &line)
{
    if (line.contains("NAK")) {
        return ImageSender::Said::Refusal;
    }
    return line.contains("ACK") ? ImageSender::Said::Consent : ImageSender::Said::Nothing;
}

} // namespace

BeamlineUpdate::BeamlineUpdate(PointOfNoReturn &noReturn, const Pacing &pacing, const XPortPorts &ports)
    : UpdateProcedure(noReturn, pacing, ports), m_link('\n', pacing.written)
{}

bool BeamlineUpdate::program(const QString &host, const QString &filePath)
{
    const std::optional<QByteArray> image = ImageSender::readImage(filePath);
    if (!image) {
        return failBefore(updatetexts::invalidFirmware());
    }
    if (!m_link.open(host, ports().tunnel, pacing().tunnelConnect, Interruption::Honoured)) {
        return failBefore(updatetexts::connectionFailed());
    }
    const bool written = erase(image->size()) && write(*image);
    m_link.close();
    return written && done();
}

// From the first command on the old image is gone, so nobody's impatience ends this any more.
bool BeamlineUpdate::erase(int imageBytes)
{
    print(QStringLiteral("Erasing Strimo memory..."));
    if (!passNoReturn()) {
        return false;
    }
    const int sectors = (imageBytes + sectorBytes - 1) / sectorBytes;
    for (int sector = 0; sector < sectors; ++sector) {
        if (!isTaken("EPCSER:" + QByteArray::number(sector) + '\r')) {
            return fail(updatetexts::eraseFailed());
        }
    }
    return true;
}

// A refusal that comes behind the answer to the last command ends the update as well.
bool BeamlineUpdate::isTaken(const QByteArray &command)
{
    m_link.receive();
    while (const auto late = m_link.takeLine()) {
        if (meaningOf(*late) == ImageSender::Said::Refusal) {
            return false;
        }
    }
    const QString answer = m_link.ask(command, pacing().eraseAnswer, Interruption::Ignored);
    return meaningOf(answer.toLatin1()) == ImageSender::Said::Consent;
}

bool BeamlineUpdate::write(const QByteArray &image)
{
    if (!isTaken(QByteArrayLiteral("EPCSWR\r"))) {
        return fail(updatetexts::writingFailed());
    }
    ImageSender sender(m_link, pacing(),
                       {pieceBytes, pacing().imageAnswer, pacing().imageAnswer, meaningOf,
                        [this] { emit signalIncreaseProgressBar(); }});
    return sender.send(image) == ImageSender::Outcome::Consent || fail(updatetexts::writingFailed());
}
