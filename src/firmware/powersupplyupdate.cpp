#include "powersupplyupdate.h"

#include <QDeadlineTimer>
#include <QRegularExpression>

namespace {

constexpr int pieceBytes = 1024;

} // namespace

PowerSupplyUpdate::PowerSupplyUpdate(QObject *parent, const Pacing &pacing, const XPortPorts &ports)
    : QObject(parent), m_pacing(pacing), m_ports(ports), m_link(pacing)
{}

bool PowerSupplyUpdate::program(const QString &host, const QString &filePath, Variant variant)
{
    const std::optional<QByteArray> image = UpdateLink::readImage(filePath);
    if (!image) {
        return fail(QStringLiteral("ERROR: Please select a valid firmware!"));
    }
    m_verdict.clear();
    if (!prepare(host, variant) || !sendImage(*image) || !takeAnswer()) {
        m_link.close();
        return false;
    }
    // It holds the image; the command that makes it run the image gets no answer.
    const bool rebooting = m_link.send(QByteArrayLiteral("MREBOOT\r\n"));
    m_link.close();
    return rebooting || fail(QStringLiteral("ERROR: Reboot failed!"));
}

bool PowerSupplyUpdate::fail(const QString &error)
{
    emit signalErrorDetected(error);
    return false;
}

// A step before the point of no return has failed, or was broken off.
bool PowerSupplyUpdate::failBefore(const QString &error)
{
    return fail(waits::interrupted(Interruption::Honoured) ? waits::timedOutText() : error);
}

// Nothing is lost in the instrument up to the end of this.
bool PowerSupplyUpdate::prepare(const QString &host, Variant variant)
{
    constexpr auto rule = Interruption::Honoured;
    if (!m_link.open(host, m_ports.tunnel, m_pacing.tunnelConnect, rule)) {
        return failBefore(QStringLiteral("ERROR: Connection Failed!!"));
    }
    const QString status = m_link.ask(QByteArrayLiteral("MST\r\n"), m_pacing.commandAnswer, rule);
    if (!status.startsWith(QLatin1String("#MST:"))) {
        return failBefore(QStringLiteral("ERROR: Status not available!"));
    }
    const bool modular = variant == Variant::Modular;
    const QString dcLink =
        m_link.ask(modular ? QByteArrayLiteral("MRG:83\r\n") : QByteArrayLiteral("MRP\r\n"),
                   m_pacing.commandAnswer, rule);
    if (dcLink.isEmpty() || dcLink.contains(QLatin1String("#NAK"))) {
        return failBefore(QStringLiteral("ERROR: DC-Link check failed!"));
    }
    emit signalPrintMessage(QStringLiteral("DC-Link: ") + dcLink);
    return !waits::interrupted(rule) || fail(waits::timedOutText());
}

// The instrument takes the image and talks about it meanwhile. From the first byte on nothing but the
// instrument itself ends this.
bool PowerSupplyUpdate::sendImage(const QByteArray &image)
{
    ImageProgress progress(image.size());
    const bool sent = m_link.sendImage(image, pieceBytes, [this, &progress](int taken) {
        for (int step = progress.stepsAt(taken); step > 0; --step) {
            emit signalIncreaseProgressBar();
        }
        while (const auto line = m_link.nextLine(std::chrono::milliseconds(0), Interruption::Ignored)) {
            takeLine(*line);
        }
        return !m_verdict.contains("#NAK"); // nobody sends on into a refusal
    });
    return sent || m_verdict.contains("#NAK") || fail(QStringLiteral("ERROR: writing failed!"));
}

// The instrument has all of it and says whether it will have it.
bool PowerSupplyUpdate::takeAnswer()
{
    const QDeadlineTimer patience(m_pacing.longestVerdict);
    while (m_verdict.isEmpty() && !patience.hasExpired()) {
        const auto line = m_link.nextLine(m_pacing.imageAnswer, Interruption::Ignored);
        if (!line) {
            break;
        }
        takeLine(*line);
    }
    if (m_verdict.isEmpty()) {
        return fail(QStringLiteral("ERROR: No answer to the firmware!"));
    }
    const int refusal = m_verdict.indexOf("#NAK");
    if (refusal < 0) {
        return true;
    }
    const QString reason = QString::fromLatin1(m_verdict.mid(refusal + 4)).trimmed();
    return fail(QStringLiteral("ERROR: ") + (reason.startsWith(QLatin1Char(':'))
                                                 ? reason.mid(1).trimmed()
                                                 : QStringLiteral("Firmware refused!")));
}

void PowerSupplyUpdate::takeLine(const QByteArray &line)
{
    static const QRegularExpression text(QStringLiteral("\\$\\:([^\\n]+)\\n"));
    const QRegularExpressionMatch match = text.match(QString::fromLatin1(line));
    if (match.hasMatch()) {
        emit signalPrintMessage(match.captured(1).trimmed());
    } else if (m_verdict.isEmpty() && (line.contains("#ACK") || line.contains("#NAK"))) {
        m_verdict = line;
    }
}
