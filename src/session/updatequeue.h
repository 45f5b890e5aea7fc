#pragma once

#include "device.h"

#include <QList>
#include <QObject>
#include <QString>
#include <QVector>

#include <functional>
#include <memory>
#include <optional>

class firmwareUpgrade;

// What one worker is given: the first selected instrument among the first `rows` device indices gets the
// file, then the manual address (empty when off).
struct UpdateStep
{
    QString path;
    int rows = 0;
    QList<bool> selected; // by device index
    QString manualIp;
};

// What became of one instrument that was ordered.
struct UpdateOutcome
{
    enum class State { NotTried, Running, Updated, Unchanged, Failed, Stopped };

    Device_t device; // as it was before; only the address of one that is updated by manual IP
    State state = State::NotTried;
    QString why; // it failed or was stopped: the last thing that the procedure said
};

struct UpdateReport
{
    enum class End { Completed, Failed, Stopped, NothingToDo };

    End end = End::NothingToDo;
    QVector<UpdateOutcome> records; // in the order of the device indices, a manual address last
};

// Updates instruments in turn, one worker thread at a time, each with a limit to its time. Owned by the
// session. However a run goes, it ends with one signalEnded(); the last worker has returned by then.
class UpdateQueue : public QObject
{
    Q_OBJECT

public:
    // Asked when an instrument was updated: what comes next, nothing when all is done.
    using Next = std::function<std::optional<UpdateStep>()>;

    explicit UpdateQueue(QObject *parent = nullptr);
    // Asks a running worker to stop and waits until it has come to a place where it may.
    ~UpdateQueue() override;

    // `limitMs` for each instrument: then its worker is asked to stop. Not while isRunning().
    void start(const UpdateStep &first, const QList<Device_t> &devices, int limitMs, Next next);

    // Begins nothing more, and asks what runs to stop where that loses nothing.
    void stop();

    bool isRunning() const { return m_running; }
    // The instrument that is being updated has not come to its point of no return.
    bool canBeStopped() const;

    // Of the run that goes on or was last.
    const UpdateReport &report() const { return m_report; }
    // Of the instrument that is or was updated last.
    QString currentIp() const;
    UpdateOutcome::State lastState() const;
    // It answers with the version that it had before.
    void noteUnchanged(const QString &mac);

signals:
    // As the worker's signals of the same names.
    void signalPrintMessage(QString message, bool append);
    void signalProgressBarUpdate(int value);
    void signalRemoveSelectedDevice(int index);

    void signalBegun(Device_t device); // of a manual address only that is known
    void signalEnded();

private:
    void startWorker(const UpdateStep &step);
    void connectWorker();
    void onBegun(int index);
    void onPrinted(const QString &message);
    void onWorkerReturned();
    void end(UpdateReport::End how);
    int recordOf(const Device_t &device);
    UpdateOutcome last() const;
    void noteEnd(bool succeeded, bool stopped);

    QList<Device_t> m_devices;
    Next m_next;
    int m_limitMs = 0;
    std::unique_ptr<firmwareUpgrade> m_worker;
    std::optional<bool> m_succeeded; // what the worker said of itself, if it did
    bool m_running = false;
    bool m_stopping = false;
    QString m_manualIp;
    QString m_lastSaid;
    int m_current = -1; // in the report
    UpdateReport m_report;
};
