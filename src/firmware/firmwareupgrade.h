#pragma once

#include "device.h"
#include "pacing.h"
#include "waits.h"
#include "xportports.h"

#include <QList>
#include <QString>
#include <QThread>

class dspProgMode;
class SendFirmware;
class xPortConfiguration;

// The thread that updates one instrument. The firmware page makes one for each instrument, starts it
// and follows its signals; it works on copies and shares nothing with the page afterwards. A request
// to interrupt it is honoured while nothing is lost by stopping (see Interruption).
//
// Every run that had something to do ends with exactly one of signalProcedureCompleted() and
// signalErrorDetected(), as its last word.
class firmwareUpgrade : public QThread
{
    Q_OBJECT

public:
    // `rows` of the device table and the selection flag of each; the first selected one is updated.
    // `manualIp` (empty when off) is the address of a power supply that answers no scan.
    firmwareUpgrade(const QString &firmwarePath, int rows, const QList<bool> &selected,
                    const QList<Device_t> &devices, const QString &manualIp, QObject *parent = nullptr,
                    const Pacing &pacing = {}, const XPortPorts &ports = {});

    // Asks a run to stop and waits until it has come to a place where it may.
    ~firmwareUpgrade() override;

signals:
    void signalPrintMessage(QString message, bool append);
    // 0, 50, 70, 80, 95 and 100 are positions of the progress bar, any other value is a step.
    void signalProgressBarUpdate(int value);
    void signalErrorDetected();
    void signalProcedureCompleted();
    void signalRemoveSelectedDevice(int index);

public slots:
    // Called by the helpers of a run, on the run's own thread.
    void onIncreaseProgressBar();
    void onErrorDetected(const QString &errorMessage);
    void onPrintMessage(const QString &message);
    void onLantronixTimeout();
    void onLantronixTimeoutReset();

protected:
    void run() override;

private:
    enum class Outcome {
        NothingToDo,
        Completed,
        Failed,
        Unanswered // failed, and nothing was begun: the instrument did not say what it is
    };

    Outcome updateSelected();
    Outcome updateManual();
    int firstSelected() const;
    void begin();
    Outcome updateByCode();
    bool checkVersion();
    bool dispatch();
    bool updatePowerSupply(int variant);
    bool updateBeamline();
    template <typename Procedure>
    void followImage(const Procedure &procedure);
    void onImageStep();
    bool imageDone();

    bool updateRovanFirmware();
    bool programDsp(const QString &host, const QString &filePath, int target);
    bool restartDsps();
    bool setBaudrate(int baud, Interruption interruption);
    bool waitForChannel(Interruption interruption);
    bool stageDone();
    void setProgress(int value);
    void spreadProgress(const QString &filePath);

    void follow(const xPortConfiguration &configuration);
    void follow(const dspProgMode &dsp);
    void follow(const SendFirmware &sender);

    QString firmwareFile;
    int rowCount;
    QList<bool> selection;
    QList<Device_t> deviceList;
    QString manualAddress;
    QString currentIp;
    QString currentCode;
    bool connected = false;

    bool errorFlag = false; // some helper has reported an error
    int progress = 0;       // where the progress bar stands
    int stepsPerMove = 1;   // steps of a long file that move it by one
    int pendingSteps = 0;
    int channelWaits = 0; // for the XPort, since it was given a new speed
    Pacing pacing;
    XPortPorts ports;
};
