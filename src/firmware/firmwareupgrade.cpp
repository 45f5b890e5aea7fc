#include "firmwareupgrade.h"

#include "dspprogmode.h"
#include "sendfirmware.h"
#include "updatetexts.h"
#include "xportconfiguration.h"

#include <QCoreApplication>
#include <QFileInfo>

#include <algorithm>
#include <array>

namespace {

// Bits a second on the XPort's serial line: what the DSPs run at, and what their boot loaders need.
constexpr int normalBaudrate = 921600;
constexpr int programmingBaudrate = 38400;

// Positions of the progress bar that stages end at. Steps never reach the next one by themselves.
constexpr int flashWritten = 70;
constexpr int allDone = 100;

// A file of 16 bytes a line spends 44 characters on them; the sender reports a step for each 51
// packets of 32 bytes.
constexpr qint64 fileBytesPerStep = 51 * 32 * 44 / 16;

// Which DSP a firmware file is for follows from its name; empty when it is for none.
struct Target
{
    const char *fileName;
    const char *description;
    dspProgMode::State state;
};

constexpr std::array<Target, 2> targets{{
    {"Rovan_Motor_Communication_DSP", "Communication DSP", dspProgMode::ProgramCommunication},
    {"Rovan_Motor_Control_DSP", "Control DSP", dspProgMode::ProgramControl},
}};

const Target *targetOf(const QString &firmwareFile)
{
    const QString name = QFileInfo(firmwareFile).fileName();
    const auto found = std::find_if(targets.cbegin(), targets.cend(), [&name](const Target &target) {
        return name.contains(QLatin1String(target.fileName));
    });
    return found == targets.cend() ? nullptr : &*found;
}

} // namespace

firmwareUpgrade::firmwareUpgrade(const QString &firmwarePath, int rows, const QList<bool> &selected,
                                 const QList<Device_t> &devices, const QString &manualIp, QObject *parent,
                                 const Pacing &times, const XPortPorts &tcpPorts)
    : QThread(parent),
      firmwareFile(firmwarePath),
      rowCount(rows),
      selection(selected),
      deviceList(devices),
      manualAddress(manualIp),
      pacing(times),
      ports(tcpPorts)
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
    errorFlag = false;
    const Outcome selected = updateSelected();
    Outcome outcome = selected;
    const bool stopped = selected == Outcome::Failed && waits::interrupted(Interruption::Honoured);
    if (selected != Outcome::Unanswered && !stopped && !manualAddress.isEmpty()) {
        const Outcome manual = updateManual();
        outcome = selected == Outcome::Failed ? selected : manual;
    }
    if (outcome == Outcome::Completed) {
        // All of a run is done at once: the bar has not been there yet, save for a motor driver.
        if (progress != allDone) {
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
    currentCode = deviceList[index][DeviceField::Code];
    currentIp = deviceList[index][DeviceField::Ip];
    begin();
    emit signalRemoveSelectedDevice(index);
    return updateByCode();
}

firmwareUpgrade::Outcome firmwareUpgrade::updateManual()
{
    currentIp = manualAddress;
    begin();
    return updatePowerSupply(0) ? Outcome::Completed : Outcome::Failed;
}

int firmwareUpgrade::firstSelected() const
{
    const int known = qMin(rowCount, qMin(selection.size(), deviceList.size()));
    const int index = selection.indexOf(true);
    return index < known ? index : -1;
}

// The bar tells nothing of the instrument before, whatever becomes of this one.
void firmwareUpgrade::begin()
{
    setProgress(0);
    onPrintMessage(QStringLiteral(" ===  U P D A T E   T H E   D E V I C E  ==="));
    onPrintMessage(QStringLiteral("Device IP: ") + currentIp);
    onPrintMessage(QStringLiteral("Firmware : ") + firmwareFile);
}

// Programs one DSP of a motor driver. A failure on the way leaves the XPort's channel and the DSP as
// they are then: nothing here could tell a state that is better.
bool firmwareUpgrade::updateRovanFirmware()
{
    onPrintMessage(QStringLiteral("Update Rovan-Motor Firmware:"));
    const Target *target = targetOf(firmwareFile);
    if (target == nullptr) {
        onErrorDetected(QStringLiteral("ERROR: wrong Firmware!"));
        return false;
    }
    onPrintMessage(QStringLiteral("The '%1' will be programmed...").arg(QLatin1String(target->description)));
    // Asked now, while the instrument still runs its old firmware undisturbed.
    const QString objection = SendFirmware::objectionTo(firmwareFile);
    if (!objection.isEmpty()) {
        onErrorDetected(objection);
        return false;
    }
    if (!setBaudrate(programmingBaudrate, Interruption::Honoured) ||
        !waitForChannel(Interruption::Honoured)) {
        return false;
    }
    onPrintMessage(QStringLiteral("Done!"));
    return programDsp(currentIp, firmwareFile, target->state);
}

bool firmwareUpgrade::programDsp(const QString &host, const QString &filePath, int target)
{
    {
        dspProgMode dsp(nullptr, Interruption::Honoured, pacing, ports);
        SendFirmware sender(nullptr, pacing, ports);
        follow(dsp);
        follow(sender);

        onPrintMessage(QStringLiteral("Set GPIO..."));
        dsp.setState(target, host);
        if (!stageDone()) {
            return false;
        }
        onPrintMessage(QStringLiteral("Load Bootloader..."));
        dsp.loadBootloader();
        if (!stageDone()) {
            return false;
        }
        onPrintMessage(QStringLiteral("Program..."));
        spreadProgress(filePath);
        sender.program(filePath, host);
        if (!stageDone()) {
            return false;
        }
    }
    // The flash is written: what is left is finished whoever asks us to stop, else a healthy DSP
    // would be left at the wrong speed.
    setProgress(flashWritten);
    if (!setBaudrate(normalBaudrate, Interruption::Ignored) || !stageDone()) {
        return false;
    }
    return waitForChannel(Interruption::Ignored) && restartDsps();
}

bool firmwareUpgrade::restartDsps()
{
    onPrintMessage(QStringLiteral("Lantronix Ready!"));
    onPrintMessage(QStringLiteral("Reset DSP..."));
    dspProgMode dsp(nullptr, Interruption::Ignored, pacing, ports);
    follow(dsp);
    dsp.setState(dspProgMode::Normal, currentIp);
    if (errorFlag) {
        return false;
    }
    setProgress(allDone);
    onPrintMessage(QStringLiteral("Process completed! wait for restart..."));
    return true;
}

bool firmwareUpgrade::setBaudrate(int baud, Interruption interruption)
{
    xPortConfiguration configuration(nullptr, interruption, pacing, ports);
    follow(configuration);
    onPrintMessage(QStringLiteral("Set Baudrate to %1...").arg(baud));
    // Whether the slow rate was taken shows at the boot loader, before anything is erased. Nothing is asked
    // of the DSP after the way back, which would end in success with a DSP that nobody can reach.
    if (configuration.setBaudrate(currentIp, baud) &&
        !(baud == normalBaudrate && configuration.rateRefused())) {
        return true;
    }
    onErrorDetected(waits::interrupted(interruption) ? updatetexts::timedOut()
                                                     : QStringLiteral("ERROR: Set Baudrate failed!"));
    return false;
}

// The XPort restarts its serial channel with the new speed and is not asked anything meanwhile.
bool firmwareUpgrade::waitForChannel(Interruption interruption)
{
    onLantronixTimeoutReset();
    while (channelWaits < pacing.channelRestarts && !waits::interrupted(interruption)) {
        QCoreApplication::processEvents(QEventLoop::AllEvents,
                                        static_cast<int>(pacing.channelEvents.count()));
        waits::pause(pacing.channelRestart, interruption);
        onLantronixTimeout();
    }
    if (waits::interrupted(interruption)) {
        onErrorDetected(updatetexts::timedOut());
        return false;
    }
    return true;
}

// After each stage: has some helper reported an error meanwhile?
bool firmwareUpgrade::stageDone()
{
    if (!errorFlag) {
        onPrintMessage(QStringLiteral("Done!"));
    }
    return !errorFlag;
}

void firmwareUpgrade::setProgress(int value)
{
    progress = value;
    stepsPerMove = 1;
    emit signalProgressBarUpdate(value);
}

// A long file has more steps than the bar has room for: several of them move it by one.
void firmwareUpgrade::spreadProgress(const QString &filePath)
{
    const qint64 steps = QFileInfo(filePath).size() / fileBytesPerStep;
    const int room = qMax(1, flashWritten - 1 - progress);
    stepsPerMove = 1 + static_cast<int>(steps / room);
    pendingSteps = 0;
}

void firmwareUpgrade::onIncreaseProgressBar()
{
    const int limit = progress < flashWritten ? flashWritten : allDone;
    if (++pendingSteps >= stepsPerMove && progress + 1 < limit) {
        pendingSteps = 0;
        ++progress;
        emit signalProgressBarUpdate(1);
    }
}

// The XPort has been left alone for one more time ...
void firmwareUpgrade::onLantronixTimeout()
{
    ++channelWaits;
}

// ... since it was given a new speed.
void firmwareUpgrade::onLantronixTimeoutReset()
{
    channelWaits = 0;
}

void firmwareUpgrade::onErrorDetected(const QString &errorMessage)
{
    errorFlag = true;
    onPrintMessage(errorMessage);
}

void firmwareUpgrade::onPrintMessage(const QString &message)
{
    emit signalPrintMessage(message, true);
}

// The helpers live on the run's thread while this object belongs to the thread that made it: a queued
// call would come when the run is over, so these are direct.
void firmwareUpgrade::follow(const xPortConfiguration &configuration)
{
    connect(&configuration, &xPortConfiguration::signalIncreaseProgressBar, this,
            &firmwareUpgrade::onIncreaseProgressBar, Qt::DirectConnection);
    connect(&configuration, &xPortConfiguration::signalPrintMessage, this, &firmwareUpgrade::onPrintMessage,
            Qt::DirectConnection);
}

void firmwareUpgrade::follow(const dspProgMode &dsp)
{
    connect(&dsp, &dspProgMode::signalIncreaseProgressBar, this, &firmwareUpgrade::onIncreaseProgressBar,
            Qt::DirectConnection);
    connect(&dsp, &dspProgMode::signalError, this, &firmwareUpgrade::onErrorDetected, Qt::DirectConnection);
}

void firmwareUpgrade::follow(const SendFirmware &sender)
{
    connect(&sender, &SendFirmware::signalIncreaseProgressBar, this, &firmwareUpgrade::onIncreaseProgressBar,
            Qt::DirectConnection);
    connect(&sender, &SendFirmware::signalErrorDetected, this, &firmwareUpgrade::onErrorDetected,
            Qt::DirectConnection);
    connect(&sender, &SendFirmware::signalPrintMessage, this, &firmwareUpgrade::onPrintMessage,
            Qt::DirectConnection);
}
