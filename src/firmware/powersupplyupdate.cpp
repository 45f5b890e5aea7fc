#include "powersupplyupdate.h"

#include "updatetexts.h"

#include <QRegularExpression>

namespace {

constexpr int pieceBytes = 1024;

} // namespace

PowerSupplyUpdate::PowerSupplyUpdate(PointOfNoReturn &noReturn, const Pacing &pacing, const XPortPorts &ports,
                                     Variant variant)
    : UpdateProcedure(noReturn, pacing, ports), m_variant(variant), m_link('\n', pacing.written)
{}

bool PowerSupplyUpdate::program(const QString &host, const QString &filePath)
{
    const std::optional<QByteArray> image = ImageSender::readImage(filePath);
    if (!image) {
        return failBefore(updatetexts::invalidFirmware());
    }
    if (!prepare(host) || !sendImage(*image)) {
        m_link.close();
        return false;
    }
    // It holds the image; the command that makes it run the image gets no answer.
    const bool rebooting = m_link.send(QByteArrayLiteral("MREBOOT\r\n"));
    m_link.close();
    return rebooting ? done() : fail(QStringLiteral("ERROR: Reboot failed!"));
}

// Nothing is lost in the instrument up to the end of this.
bool PowerSupplyUpdate::prepare(const QString &host)
{
    constexpr auto rule = Interruption::Honoured;
    if (!m_link.open(host, ports().tunnel, pacing().tunnelConnect, rule)) {
        return failBefore(updatetexts::connectionFailed());
    }
    const QString status = m_link.ask(QByteArrayLiteral("MST\r\n"), pacing().commandAnswer, rule);
    if (!status.startsWith(QLatin1String("#MST:"))) {
        return failBefore(QStringLiteral("ERROR: Status not available!"));
    }
    const bool modular = m_variant == Variant::Modular;
    const QString dcLink =
        m_link.ask(modular ? QByteArrayLiteral("MRG:83\r\n") : QByteArrayLiteral("MRP\r\n"),
                   pacing().commandAnswer, rule);
    if (dcLink.isEmpty() || dcLink.contains(QLatin1String("#NAK"))) {
        return failBefore(QStringLiteral("ERROR: DC-Link check failed!"));
    }
    print(QStringLiteral("DC-Link: ") + dcLink);
    return passNoReturn();
}

// From the first byte on nothing but the instrument itself ends this.
bool PowerSupplyUpdate::sendImage(const QByteArray &image)
{
    m_reason = QStringLiteral("Firmware refused!");
    ImageSender sender(m_link, pacing(),
                       {pieceBytes, pacing().imageAnswer, pacing().longestVerdict,
                        [this](const QByteArray &line) { return takeLine(line); },
                        [this] { emit signalIncreaseProgressBar(); }});
    switch (sender.send(image)) {
    case ImageSender::Outcome::Consent:
        return true;
    case ImageSender::Outcome::Refusal:
        return fail(QStringLiteral("ERROR: ") + m_reason);
    case ImageSender::Outcome::Lost:
        return fail(updatetexts::writingFailed());
    case ImageSender::Outcome::Silence:
        break;
    }
    return fail(QStringLiteral("ERROR: No answer to the firmware!"));
}

ImageSender::Said PowerSupplyUpdate::takeLine(const QByteArray &line)
{
    static const QRegularExpression text(QStringLiteral("\\$\\:([^\\n]+)\\n"));
    const QRegularExpressionMatch match = text.match(QString::fromLatin1(line));
    if (match.hasMatch()) {
        print(match.captured(1).trimmed());
    }
    const QByteArray verdict = line.mid(0, line.indexOf("$:")); // a text may quote any word
    const int refusal = verdict.indexOf("#NAK");
    if (refusal < 0) {
        return verdict.contains("#ACK") ? ImageSender::Said::Consent : ImageSender::Said::Nothing;
    }
    const QString reason = QString::fromLatin1(verdict.mid(refusal + 4)).trimmed();
    if (reason.startsWith(QLatin1Char(':'))) {
        m_reason = reason.mid(1).trimmed();
    }
    return ImageSender::Said::Refusal;
}
