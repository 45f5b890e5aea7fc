#include "motordriverupdate.h"

#include "sendfirmware.h"
#include "updatetexts.h"
#include "xportconfiguration.h"

#include <QCoreApplication>
#include <QFileInfo>

#include <algorithm>
#include <array>

namespace {

// Bits a second on the module's serial line: what the DSPs run at, and what their boot loaders need.
constexpr int normalBaudrate = 921600;
constexpr int programmingBaudrate = 38400;

// Positions of the progress bar that stages end at. Steps never reach the next one by themselves.
constexpr int flashWritten = 70;
constexpr int allDone = 100;

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

const Target *targetOf(const QString &filePath)
{
    const QString name = QFileInfo(filePath).fileName();
    const auto found = std::find_if(targets.cbegin(), targets.cend(), [&name](const Target &target) {
        return name.contains(QLatin1String(target.fileName));
    });
    return found == targets.cend() ? nullptr : &*found;
}

} // namespace

bool MotorDriverUpdate::program(const QString &host, const QString &filePath)
{
    m_host = host;
    m_filePath = filePath;
    print(QStringLiteral("Update Rovan-Motor Firmware:"));
    const Target *target = targetOf(filePath);
    if (target == nullptr) {
        return failBefore(QStringLiteral("ERROR: wrong Firmware!"));
    }
    print(QStringLiteral("The '%1' will be programmed...").arg(QLatin1String(target->description)));
    // Read now, while the instrument still runs its old firmware undisturbed, and not again.
    SendFirmware sender(nullptr, pacing(), ports(), &noReturn());
    const QString objection = sender.prepare(filePath);
    if (!objection.isEmpty()) {
        return failBefore(objection);
    }
    if (!setBaudrate(programmingBaudrate, Interruption::Honoured) ||
        !waitForChannel(Interruption::Honoured)) {
        return false;
    }
    done();
    if (!programDsp(sender, target->state)) {
        return false;
    }
    // The flash is written: what is left is finished whoever asks us to stop, else a healthy DSP
    // would be left at the wrong speed.
    setProgress(flashWritten);
    return setBaudrate(normalBaudrate, Interruption::Ignored) && stageDone() &&
           waitForChannel(Interruption::Ignored) && restartDsps();
}

bool MotorDriverUpdate::programDsp(SendFirmware &sender, dspProgMode::State target)
{
    dspProgMode dsp(nullptr, Interruption::Honoured, pacing(), ports());
    connect(&dsp, &dspProgMode::signalIncreaseProgressBar, this, &MotorDriverUpdate::onStep);
    connect(&dsp, &dspProgMode::signalError, this, &MotorDriverUpdate::onError);
    connect(&sender, &SendFirmware::signalIncreaseProgressBar, this, &MotorDriverUpdate::onStep);
    connect(&sender, &SendFirmware::signalErrorDetected, this, &MotorDriverUpdate::onError);
    connect(&sender, &SendFirmware::signalPrintMessage, this, &MotorDriverUpdate::signalPrintMessage);

    print(QStringLiteral("Set GPIO..."));
    dsp.setState(target, m_host);
    if (!stageDone()) {
        return false;
    }
    print(QStringLiteral("Load Bootloader..."));
    dsp.loadBootloader();
    if (!stageDone()) {
        return false;
    }
    print(QStringLiteral("Program..."));
    spreadProgress(sender.writingSteps());
    sender.program(m_filePath, m_host);
    return stageDone();
}

bool MotorDriverUpdate::restartDsps()
{
    print(QStringLiteral("Lantronix Ready!"));
    print(QStringLiteral("Reset DSP..."));
    dspProgMode dsp(nullptr, Interruption::Ignored, pacing(), ports());
    connect(&dsp, &dspProgMode::signalIncreaseProgressBar, this, &MotorDriverUpdate::onStep);
    connect(&dsp, &dspProgMode::signalError, this, &MotorDriverUpdate::onError);
    dsp.setState(dspProgMode::Normal, m_host);
    if (m_failed) {
        return false;
    }
    setProgress(allDone);
    print(QStringLiteral("Process completed! wait for restart..."));
    return true;
}

bool MotorDriverUpdate::setBaudrate(int baud, Interruption interruption)
{
    xPortConfiguration module(nullptr, interruption, pacing(), ports());
    connect(&module, &xPortConfiguration::signalIncreaseProgressBar, this, &MotorDriverUpdate::onStep);
    connect(&module, &xPortConfiguration::signalPrintMessage, this, &MotorDriverUpdate::signalPrintMessage);
    print(QStringLiteral("Set Baudrate to %1...").arg(baud));
    // Whether the slow rate was taken shows at the boot loader, before anything is erased. Nothing is asked
    // of the DSP after the way back, which would end in success with a DSP that nobody can reach.
    if (module.setBaudrate(m_host, baud) && !(baud == normalBaudrate && module.rateRefused())) {
        return true;
    }
    const QString failure = QStringLiteral("ERROR: Set Baudrate failed!");
    return interruption == Interruption::Honoured ? failBefore(failure) : fail(failure);
}

// The module restarts its serial line with the new speed and is not asked anything meanwhile.
bool MotorDriverUpdate::waitForChannel(Interruption interruption)
{
    emit signalLantronixTimeoutReset();
    for (int i = 0; i < pacing().channelRestarts && !waits::interrupted(interruption); ++i) {
        QCoreApplication::processEvents(QEventLoop::AllEvents,
                                        static_cast<int>(pacing().channelEvents.count()));
        waits::pause(pacing().channelRestart, interruption);
        emit signalLantronixTimeout();
    }
    return !waits::interrupted(interruption) || fail(updatetexts::timedOut());
}

// After each stage: has some helper reported an error meanwhile?
bool MotorDriverUpdate::stageDone()
{
    return !m_failed && done();
}

void MotorDriverUpdate::setProgress(int position)
{
    m_progress = position;
    m_stepsPerMove = 1;
    emit signalProgressReached(position);
}

// A long file has more steps than the bar has room for: several of them move it by one.
void MotorDriverUpdate::spreadProgress(int steps)
{
    const int room = qMax(1, flashWritten - 1 - m_progress);
    m_stepsPerMove = 1 + steps / room;
    m_pendingSteps = 0;
}

void MotorDriverUpdate::onStep()
{
    const int limit = m_progress < flashWritten ? flashWritten : allDone;
    if (++m_pendingSteps >= m_stepsPerMove && m_progress + 1 < limit) {
        m_pendingSteps = 0;
        ++m_progress;
        emit signalIncreaseProgressBar();
    }
}

void MotorDriverUpdate::onError(const QString &error)
{
    m_failed = true;
    fail(error);
}
