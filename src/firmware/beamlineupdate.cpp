#include "beamlineupdate.h"

namespace {

constexpr int sectorBytes = 64 * 1024;
constexpr int pieceBytes = 256;

bool isAcknowledged(const QString &answer)
{
    return answer.contains(QLatin1String("ACK")) && !answer.contains(QLatin1String("NAK"));
}

} // namespace

BeamlineUpdate::BeamlineUpdate(QObject *parent, const Pacing &pacing, const XPortPorts &ports)
    : QObject(parent), m_pacing(pacing), m_ports(ports), m_link(pacing)
{}

bool BeamlineUpdate::program(const QString &host, const QString &filePath)
{
    const std::optional<QByteArray> image = UpdateLink::readImage(filePath);
    if (!image) {
        return fail(QStringLiteral("ERROR: Please select a valid firmware!"));
    }
    if (!m_link.open(host, m_ports.tunnel, m_pacing.tunnelConnect, Interruption::Honoured)) {
        return fail(waits::interrupted(Interruption::Honoured)
                        ? waits::timedOutText()
                        : QStringLiteral("ERROR: Connection Failed!!"));
    }
    const bool stopped = waits::interrupted(Interruption::Honoured);
    const bool done = stopped ? fail(waits::timedOutText()) : erase(image->size()) && write(*image);
    m_link.close();
    return done;
}

bool BeamlineUpdate::fail(const QString &error)
{
    emit signalErrorDetected(error);
    return false;
}

// From the first command on the old image is gone, so nobody's impatience ends this any more.
bool BeamlineUpdate::erase(int imageBytes)
{
    emit signalPrintMessage(QStringLiteral("Erasing Strimo memory..."));
    const int sectors = (imageBytes + sectorBytes - 1) / sectorBytes;
    for (int sector = 0; sector < sectors; ++sector) {
        const QByteArray command = "EPCSER:" + QByteArray::number(sector) + '\r';
        if (!isAcknowledged(m_link.ask(command, m_pacing.eraseAnswer, Interruption::Ignored))) {
            return fail(QStringLiteral("ERROR: Flash Erase failed!"));
        }
    }
    return true;
}

bool BeamlineUpdate::write(const QByteArray &image)
{
    const QString ready =
        m_link.ask(QByteArrayLiteral("EPCSWR\r"), m_pacing.eraseAnswer, Interruption::Ignored);
    if (!isAcknowledged(ready)) {
        return fail(QStringLiteral("ERROR: writing failed!"));
    }
    ImageProgress progress(image.size());
    const bool sent = m_link.sendImage(image, pieceBytes, [this, &progress](int taken) {
        for (int step = progress.stepsAt(taken); step > 0; --step) {
            emit signalIncreaseProgressBar();
        }
        return true;
    });
    const auto verdict = sent ? m_link.nextLine(m_pacing.imageAnswer, Interruption::Ignored) : std::nullopt;
    return (verdict && isAcknowledged(QString::fromLatin1(*verdict))) ||
           fail(QStringLiteral("ERROR: writing failed!"));
}
