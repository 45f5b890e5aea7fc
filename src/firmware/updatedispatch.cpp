// How firmwareUpgrade finds out which procedure an instrument needs, and hands over to it.

#include "beamlineupdate.h"
#include "devicecatalogue.h"
#include "firmwareupgrade.h"
#include "lineconversation.h"
#include "powersupplyupdate.h"
#include "updatetexts.h"

namespace {

QString unsupportedText(const QString &code)
{
    return devicecatalogue::isCurrentTransducer(code)
               ? QStringLiteral("ERROR: Current Transdurers are not supported!")
               : QStringLiteral("ERROR: Unrecognized device family!");
}

// Empty for an instrument that cannot be asked.
QByteArray versionQuery(const QString &code)
{
    if (devicecatalogue::isSerialServer(code)) {
        return QByteArrayLiteral("MVER\r\n");
    }
    const bool known = devicecatalogue::isPowerSupply(code) || devicecatalogue::isBeamline(code);
    return known ? QByteArrayLiteral("VER\r\n") : QByteArray();
}

} // namespace

// The serial server and a power supply in recovery mode cannot say what they are; all others are asked
// before anything is sent to them.
firmwareUpgrade::Outcome firmwareUpgrade::updateByCode()
{
    const auto ended = [](bool completed) { return completed ? Outcome::Completed : Outcome::Failed; };
    if (devicecatalogue::is4100(currentCode)) {
        return ended(updateRovanFirmware());
    }
    if (devicecatalogue::is1F80(currentCode)) {
        return ended(updatePowerSupply(0));
    }
    return checkVersion() ? ended(dispatch()) : Outcome::Unanswered;
}

bool firmwareUpgrade::checkVersion()
{
    connected = false;
    onPrintMessage(QStringLiteral("Try to connect..."));
    LineConversation link('\n', pacing.written);
    if (!link.open(currentIp, ports.tunnel, pacing.versionConnect, Interruption::Honoured)) {
        onErrorDetected(waits::interrupted(Interruption::Honoured)
                            ? updatetexts::timedOut()
                            : QStringLiteral("Device Unconnected! exit..."));
        return false;
    }
    onPrintMessage(QStringLiteral("Device Connected!"));
    connected = true;
    onPrintMessage(QStringLiteral("Check version..."));
    const QByteArray query = versionQuery(currentCode);
    if (query.isEmpty()) {
        onErrorDetected(unsupportedText(currentCode));
        return false;
    }
    const QString answer =
        link.ask(query, pacing.versionAnswer, Interruption::Honoured, LineConversation::Answer::Line);
    onPrintMessage(link.close() ? QStringLiteral("Socket closed, continue...")
                                : QStringLiteral("ERROR: Device still connected"));
    if (waits::interrupted(Interruption::Honoured)) {
        onErrorDetected(updatetexts::timedOut());
        return false;
    }
    if (answer.isEmpty() || answer.contains(QLatin1String("NAK"))) {
        onErrorDetected(QStringLiteral("No response from device"));
        return false;
    }
    onPrintMessage(QStringLiteral("Device name: ") + answer);
    return true;
}

// The first that matches.
bool firmwareUpgrade::dispatch()
{
    if (devicecatalogue::is1600(currentCode)) {
        return updateBeamline();
    }
    if (devicecatalogue::isSerialServer(currentCode)) {
        return updateRovanFirmware();
    }
    if (devicecatalogue::is1400(currentCode)) {
        return updatePowerSupply(1);
    }
    if (devicecatalogue::isPowerSupply(currentCode)) {
        return updatePowerSupply(0);
    }
    if (devicecatalogue::isBeamline(currentCode)) {
        return updateBeamline();
    }
    onErrorDetected(unsupportedText(currentCode));
    return false;
}

template <typename Procedure>
void firmwareUpgrade::followImage(const Procedure &procedure)
{
    connect(&procedure, &Procedure::signalIncreaseProgressBar, this, &firmwareUpgrade::onImageStep,
            Qt::DirectConnection);
    connect(&procedure, &Procedure::signalErrorDetected, this, &firmwareUpgrade::onErrorDetected,
            Qt::DirectConnection);
    connect(&procedure, &Procedure::signalPrintMessage, this, &firmwareUpgrade::onPrintMessage,
            Qt::DirectConnection);
}

bool firmwareUpgrade::updatePowerSupply(int variant)
{
    PowerSupplyUpdate update(nullptr, pacing, ports);
    followImage(update);
    const auto kind = static_cast<PowerSupplyUpdate::Variant>(variant);
    return update.program(currentIp, firmwareFile, kind) && imageDone();
}

bool firmwareUpgrade::updateBeamline()
{
    BeamlineUpdate update(nullptr, pacing, ports);
    followImage(update);
    return update.program(currentIp, firmwareFile) && imageDone();
}

void firmwareUpgrade::onImageStep()
{
    ++progress;
    emit signalProgressBarUpdate(1);
}

bool firmwareUpgrade::imageDone()
{
    onPrintMessage(QStringLiteral("Done!"));
    return true;
}
