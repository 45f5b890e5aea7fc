#include "firmwareupgrade.h"

#include "beamlineupdate.h"
#include "devicecatalogue.h"
#include "firmwarelog.h"
#include "instrumentrules.h"
#include "lineconversation.h"
#include "motordriverupdate.h"
#include "powersupplyupdate.h"
#include "updatetexts.h"

namespace {

constexpr int allDone = 100; // of the progress bar

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

firmwareUpgrade::firmwareUpgrade(const QString &firmwarePath, int rows, const QList<bool> &selected,
                                 const QList<Device_t> &devices, const QString &manualIp, QObject *parent,
                                 const Pacing &pacing, const XPortPorts &ports)
    : QThread(parent),
      m_firmwareFile(firmwarePath),
      m_rowCount(rows),
      m_selection(selected),
      m_devices(devices),
      m_manualIp(manualIp),
      m_pacing(pacing),
      m_ports(ports)
{}

firmwareUpgrade::~firmwareUpgrade()
{
    requestInterruption();
    wait();
}

// An update that has failed leaves the manual address its turn; an instrument that could not be asked what
// it is, or a request to stop, ends the run.
void firmwareUpgrade::run()
{
    m_wasStopped = false;
    const Outcome selected = ended(updateSelected());
    Outcome outcome = selected;
    const bool stopped = selected == Outcome::Failed && waits::interrupted(Interruption::Honoured);
    if (selected != Outcome::Unanswered && !stopped && !m_manualIp.isEmpty()) {
        const Outcome manual = ended(updateManual());
        outcome = selected == Outcome::Failed ? selected : manual;
    }
    if (outcome == Outcome::Completed) {
        // All of a run is done at once: the bar has not been there yet, save for a motor driver.
        if (m_progress != allDone) {
            setProgress(allDone);
        }
        emit signalProcedureCompleted();
    } else if (outcome != Outcome::NothingToDo) {
        emit signalErrorDetected();
    }
}

firmwareUpgrade::Outcome firmwareUpgrade::updateSelected()
{
    const int index = firstSelected();
    if (index < 0) {
        return Outcome::NothingToDo;
    }
    m_currentCode = m_devices[index][DeviceField::Code];
    m_currentIp = m_devices[index][DeviceField::Ip];
    begin();
    emit signalRemoveSelectedDevice(index);
    return updateByCode();
}

firmwareUpgrade::Outcome firmwareUpgrade::updateManual()
{
    m_currentIp = m_manualIp;
    begin();
    return updatePowerSupply(0) ? Outcome::Completed : Outcome::Failed;
}

int firmwareUpgrade::firstSelected() const
{
    const int known = qMin(m_rowCount, qMin(m_selection.size(), m_devices.size()));
    const int index = m_selection.indexOf(true);
    return index < known ? index : -1;
}

// The bar tells nothing of the instrument before, whatever becomes of this one.
void firmwareUpgrade::begin()
{
    m_noReturn.reset();
    setProgress(0);
    onPrintMessage(QStringLiteral(" ===  U P D A T E   T H E   D E V I C E  ==="));
    onPrintMessage(QStringLiteral("Device IP: ") + m_currentIp);
    onPrintMessage(QStringLiteral("Firmware : ") + m_firmwareFile);
}

// The module itself and a power supply in recovery mode cannot say what they are; all others are asked
// before anything is sent to them.
firmwareUpgrade::Outcome firmwareUpgrade::updateByCode()
{
    const auto outcome = [](bool completed) { return completed ? Outcome::Completed : Outcome::Failed; };
    if (devicecatalogue::is4100(m_currentCode)) {
        return outcome(updateRovanFirmware());
    }
    if (devicecatalogue::is1F80(m_currentCode)) {
        return outcome(updatePowerSupply(0));
    }
    return checkVersion() ? outcome(dispatch()) : Outcome::Unanswered;
}

bool firmwareUpgrade::checkVersion()
{
    m_connected = false;
    onPrintMessage(QStringLiteral("Try to connect..."));
    LineConversation link('\n', m_pacing.written);
    if (!link.open(m_currentIp, m_ports.tunnel, m_pacing.versionConnect, Interruption::Honoured)) {
        return failBefore(QStringLiteral("Device Unconnected! exit..."));
    }
    onPrintMessage(QStringLiteral("Device Connected!"));
    m_connected = true;
    onPrintMessage(QStringLiteral("Check version..."));
    const QByteArray query = versionQuery(m_currentCode);
    if (query.isEmpty()) {
        return failBefore(unsupportedText(m_currentCode));
    }
    const QString answer =
        link.ask(query, m_pacing.versionAnswer, Interruption::Honoured, LineConversation::Answer::Line);
    onPrintMessage(link.close() ? QStringLiteral("Socket closed, continue...")
                                : QStringLiteral("ERROR: Device still connected"));
    const bool stopped = waits::interrupted(Interruption::Honoured);
    if (stopped || answer.isEmpty() || answer.contains(QLatin1String("NAK"))) {
        return failBefore(QStringLiteral("No response from device"));
    }
    onPrintMessage(QStringLiteral("Device name: ") + answer);
    return true;
}

// Before the point of no return: it may have failed because it was asked to stop.
bool firmwareUpgrade::failBefore(const QString &error)
{
    onErrorDetected(waits::interrupted(Interruption::Honoured) ? updatetexts::timedOut() : error);
    return false;
}

bool firmwareUpgrade::dispatch()
{
    using instrumentrules::Procedure;
    switch (instrumentrules::procedure(m_currentCode)) {
    case Procedure::Beamline:
        return updateBeamline();
    case Procedure::MotorDriver:
        return updateRovanFirmware();
    case Procedure::PowerSupplyModular:
        return updatePowerSupply(1);
    case Procedure::PowerSupply:
        return updatePowerSupply(0);
    case Procedure::None:
        break;
    }
    return failBefore(unsupportedText(m_currentCode));
}

bool firmwareUpgrade::updatePowerSupply(int variant)
{
    PowerSupplyUpdate update(m_noReturn, m_pacing, m_ports, static_cast<PowerSupplyUpdate::Variant>(variant));
    return carryOut(update);
}

bool firmwareUpgrade::updateBeamline()
{
    BeamlineUpdate update(m_noReturn, m_pacing, m_ports);
    return carryOut(update);
}

bool firmwareUpgrade::updateRovanFirmware()
{
    MotorDriverUpdate update(m_noReturn, m_pacing, m_ports);
    connect(&update, &MotorDriverUpdate::signalProgressReached, this, &firmwareUpgrade::setProgress,
            Qt::DirectConnection);
    connect(&update, &MotorDriverUpdate::signalLantronixTimeout, this, &firmwareUpgrade::onLantronixTimeout,
            Qt::DirectConnection);
    connect(&update, &MotorDriverUpdate::signalLantronixTimeoutReset, this,
            &firmwareUpgrade::onLantronixTimeoutReset, Qt::DirectConnection);
    return carryOut(update);
}

// The procedure lives on the run's thread while this object belongs to the thread that made it: a queued
// call would come when the run is over, so these are direct.
bool firmwareUpgrade::carryOut(UpdateProcedure &procedure)
{
    connect(&procedure, &UpdateProcedure::signalIncreaseProgressBar, this,
            &firmwareUpgrade::onIncreaseProgressBar, Qt::DirectConnection);
    connect(&procedure, &UpdateProcedure::signalErrorDetected, this, &firmwareUpgrade::onErrorDetected,
            Qt::DirectConnection);
    connect(&procedure, &UpdateProcedure::signalPrintMessage, this, &firmwareUpgrade::onPrintMessage,
            Qt::DirectConnection);
    return procedure.program(m_currentIp, m_firmwareFile);
}

// Every step before the point of no return looks for a request to stop as soon as it fails.
firmwareUpgrade::Outcome firmwareUpgrade::ended(Outcome outcome)
{
    const bool failed = outcome == Outcome::Failed || outcome == Outcome::Unanswered;
    if (failed && canBeStopped() && waits::interrupted(Interruption::Honoured)) {
        m_wasStopped = true;
    }
    return outcome;
}

void firmwareUpgrade::setProgress(int position)
{
    m_progress = position;
    emit signalProgressBarUpdate(position);
}

void firmwareUpgrade::onIncreaseProgressBar()
{
    ++m_progress;
    emit signalProgressBarUpdate(1);
}

void firmwareUpgrade::onErrorDetected(const QString &errorMessage)
{
    onPrintMessage(errorMessage);
}

void firmwareUpgrade::onPrintMessage(const QString &message)
{
    emit signalPrintMessage(message, true);
}

void firmwareUpgrade::onLantronixTimeout()
{
    ++m_channelWaits;
    qCDebug(firmwareLog) << "the module was left alone" << m_channelWaits << "times";
}

void firmwareUpgrade::onLantronixTimeoutReset()
{
    m_channelWaits = 0;
}
