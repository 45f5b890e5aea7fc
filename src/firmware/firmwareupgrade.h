#pragma once

#include "device.h"
#include "pacing.h"
#include "pointofnoreturn.h"
#include "xportports.h"

#include <QList>
#include <QString>
#include <QThread>

#include <atomic>

class UpdateProcedure;

// The thread that updates one instrument: it finds out which procedure the instrument needs and hands over
// to it. The session's queue makes one for each instrument, starts it and follows its signals; it works on
// copies and shares nothing with the page afterwards. A request to interrupt it is honoured while nothing is
// lost by stopping (see canBeStopped).
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

    // Both for any thread. True until the instrument at hand is about to lose its old firmware; a request to
    // interrupt that comes later changes nothing for this instrument.
    bool canBeStopped() const { return !m_noReturn.isPassed(); }
    // The run has ended because it was asked to stop, and through no fault of the instrument at hand.
    bool wasStopped() const { return m_wasStopped; }

signals:
    void signalPrintMessage(QString message, bool append);
    // 0, 50, 70, 80, 95 and 100 are positions of the progress bar, any other value is a step.
    void signalProgressBarUpdate(int value);
    void signalErrorDetected();
    void signalProcedureCompleted();
    void signalRemoveSelectedDevice(int index);

public slots:
    // Called by the procedure of a run, on the run's own thread.
    void onIncreaseProgressBar();
    void onErrorDetected(const QString &errorMessage);
    void onPrintMessage(const QString &message);
    // While a module restarts its serial line: counted for the debug log alone.
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
    bool failBefore(const QString &error);
    bool dispatch();
    bool updatePowerSupply(int variant);
    bool updateBeamline();
    bool updateRovanFirmware();
    bool carryOut(UpdateProcedure &procedure);
    void setProgress(int position);
    Outcome ended(Outcome outcome);

    QString m_firmwareFile;
    int m_rowCount;
    QList<bool> m_selection;
    QList<Device_t> m_devices;
    QString m_manualIp;
    QString m_currentIp;
    QString m_currentCode;
    bool m_connected = false;

    PointOfNoReturn m_noReturn;
    std::atomic_bool m_wasStopped{false};
    int m_progress = 0;     // where the progress bar stands
    int m_channelWaits = 0; // for the module, since it was given a new speed
    Pacing m_pacing;
    XPortPorts m_ports;
};
