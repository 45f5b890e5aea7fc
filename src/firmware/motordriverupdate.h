#pragma once

#include "dspprogmode.h"
#include "updateprocedure.h"
#include "waits.h"

class SendFirmware;

// Programs one of the two DSPs of a motor driver through the XPort module in front of them: the module's
// serial line is slowed down, its pins start the DSP in programming mode, the boot loader and then the flash
// are written through the tunnel, and all goes back to where it was. Which DSP follows from the file's name.
//
// A failure on the way leaves the module's serial line and the DSP as they are then: nothing here could
// tell a state that is better.
class MotorDriverUpdate : public UpdateProcedure
{
    Q_OBJECT

public:
    using UpdateProcedure::UpdateProcedure;

    bool program(const QString &host, const QString &filePath) override;

signals:
    // The bar stands at this position: the flash is written, or all is done.
    void signalProgressReached(int position);

    // The module has been left alone for one more time, since it was given a new speed.
    void signalLantronixTimeout();
    void signalLantronixTimeoutReset();

private:
    bool programDsp(SendFirmware &sender, dspProgMode::State target);
    bool restartDsps();
    bool setBaudrate(int baud, Interruption interruption);
    bool waitForChannel(Interruption interruption);
    bool stageDone();

    void setProgress(int position);
    void spreadProgress(int steps);
    void onStep();
    void onError(const QString &error);

    QString m_host;
    QString m_filePath;
    bool m_failed = false;  // some helper has reported an error
    int m_progress = 0;     // where the progress bar stands
    int m_stepsPerMove = 1; // steps of a long file that move it by one
    int m_pendingSteps = 0;
};
