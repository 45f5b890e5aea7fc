#include "updatequeue.h"

#include "firmwareupgrade.h"

#include <QTimer>

#include <utility>

namespace {

// All that is known of an instrument that answers no scan.
Device_t unseen(const QString &ip)
{
    Device_t device;
    device[Ip] = ip;
    return device;
}

} // namespace

UpdateQueue::UpdateQueue(QObject *parent) : QObject(parent) {}

UpdateQueue::~UpdateQueue() = default;

void UpdateQueue::start(const UpdateStep &first, const QList<Device_t> &devices, int limitMs, Next next)
{
    m_devices = devices;
    m_next = std::move(next);
    m_limitMs = limitMs;
    m_stopping = false;
    m_report = {};
    m_running = true;
    for (int index = 0; index < qMin(first.rows, qMin(devices.size(), first.selected.size())); ++index) {
        if (first.selected.at(index)) {
            m_report.records.append({devices.at(index), UpdateOutcome::State::NotTried, {}});
        }
    }
    if (!first.manualIp.isEmpty()) {
        m_report.records.append({unseen(first.manualIp), UpdateOutcome::State::NotTried, {}});
    }
    startWorker(first);
}

void UpdateQueue::startWorker(const UpdateStep &step)
{
    m_succeeded.reset();
    m_lastSaid.clear();
    m_current = -1;
    m_manualIp = step.manualIp;
    m_worker =
        std::make_unique<firmwareUpgrade>(step.path, step.rows, step.selected, m_devices, step.manualIp);
    connectWorker();
    auto *limit = new QTimer(m_worker.get());
    limit->setSingleShot(true);
    connect(limit, &QTimer::timeout, m_worker.get(), &QThread::requestInterruption);
    if (!step.manualIp.isEmpty()) {
        emit signalBegun(unseen(step.manualIp));
    }
    m_worker->start();
    limit->start(m_limitMs);
}

// All of these are queued, so what a worker says is heard in its order, the end of its thread last.
void UpdateQueue::connectWorker()
{
    const firmwareUpgrade *worker = m_worker.get();
    connect(worker, &firmwareUpgrade::signalPrintMessage, this, &UpdateQueue::onPrinted);
    connect(worker, &firmwareUpgrade::signalProgressBarUpdate, this, &UpdateQueue::signalProgressBarUpdate);
    connect(worker, &firmwareUpgrade::signalRemoveSelectedDevice, this, &UpdateQueue::onBegun);
    connect(worker, &firmwareUpgrade::signalErrorDetected, this, [this] { m_succeeded = false; });
    connect(worker, &firmwareUpgrade::signalProcedureCompleted, this, [this] { m_succeeded = true; });
    connect(worker, &QThread::finished, this, &UpdateQueue::onWorkerReturned);
}

void UpdateQueue::onBegun(int index)
{
    m_current = recordOf(m_devices.at(index));
    m_report.records[m_current].state = UpdateOutcome::State::Running;
    emit signalBegun(m_devices.at(index));
    emit signalRemoveSelectedDevice(index);
}

// One that was not ordered is noted as well.
int UpdateQueue::recordOf(const Device_t &device)
{
    for (int i = 0; i < m_report.records.size(); ++i) {
        if (m_report.records.at(i).device == device) {
            return i;
        }
    }
    m_report.records.append({device, UpdateOutcome::State::NotTried, {}});
    return m_report.records.size() - 1;
}

void UpdateQueue::onPrinted(const QString &message)
{
    m_lastSaid = message;
    emit signalPrintMessage(message, true);
}

void UpdateQueue::stop()
{
    m_stopping = true;
    if (m_worker) {
        m_worker->requestInterruption();
    } else if (m_running) {
        end(UpdateReport::End::Stopped); // whoever is asked for the next one may be waiting for us
    }
}

bool UpdateQueue::canBeStopped() const
{
    return m_worker && m_worker->canBeStopped();
}

void UpdateQueue::onWorkerReturned()
{
    const bool stopped = m_worker->wasStopped();
    m_worker.release()->deleteLater(); // whose signal this is
    if (!m_succeeded) {
        end(UpdateReport::End::NothingToDo); // also one that ended without a word leaves nobody waiting
        return;
    }
    noteEnd(*m_succeeded, stopped);
    if (!*m_succeeded) {
        end(m_stopping && stopped ? UpdateReport::End::Stopped : UpdateReport::End::Failed);
        return;
    }
    if (m_stopping) {
        end(UpdateReport::End::Stopped);
        return;
    }
    const std::optional<UpdateStep> next = m_next(); // may ask the user, who may stop us meanwhile
    if (!m_running) {
        return;
    }
    if (next) {
        startWorker(*next);
    } else {
        end(UpdateReport::End::Completed);
    }
}

// A worker with a manual address besides its instrument succeeds with both.
void UpdateQueue::noteEnd(bool succeeded, bool stopped)
{
    using State = UpdateOutcome::State;
    const State state = succeeded ? State::Updated : stopped ? State::Stopped : State::Failed;
    if (!m_manualIp.isEmpty() && (succeeded || m_current < 0)) {
        m_report.records.last().state = state;
        m_report.records.last().why = succeeded ? QString() : m_lastSaid;
    }
    if (m_current >= 0) {
        m_report.records[m_current].state = state;
        m_report.records[m_current].why = succeeded ? QString() : m_lastSaid;
    }
}

void UpdateQueue::end(UpdateReport::End how)
{
    m_running = false;
    m_report.end = how;
    emit signalEnded();
}

QString UpdateQueue::currentIp() const
{
    return last().device[Ip];
}

UpdateOutcome::State UpdateQueue::lastState() const
{
    return last().state;
}

UpdateOutcome UpdateQueue::last() const
{
    return m_current >= 0               ? m_report.records.at(m_current)
           : m_report.records.isEmpty() ? UpdateOutcome()
                                        : m_report.records.last();
}

void UpdateQueue::noteUnchanged(const QString &mac)
{
    for (UpdateOutcome &record : m_report.records) {
        if (record.device[Mac] == mac && record.state == UpdateOutcome::State::Updated) {
            record.state = UpdateOutcome::State::Unchanged;
        }
    }
}
