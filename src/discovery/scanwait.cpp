#include "scanwait.h"

#include <QFutureWatcher>

ScanWait::ScanWait()
{
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&m_timer, &QTimer::timeout, &m_loop, &QEventLoop::quit);
}

bool ScanWait::run(int ms)
{
    if (!m_stopped) {
        m_timer.start(ms);
        runLoop();
        m_timer.stop();
    }
    return !m_stopped;
}

void ScanWait::runUntilFinished(const QFuture<void> &task)
{
    QFutureWatcher<void> watcher;
    QObject::connect(&watcher, &QFutureWatcherBase::finished, &m_loop, &QEventLoop::quit);
    watcher.setFuture(task);
    while (!task.isFinished()) {
        if (!runLoop()) {
            watcher.waitForFinished();
        }
    }
}

void ScanWait::stop()
{
    m_stopped = true;
    m_loop.quit();
}

bool ScanWait::runLoop()
{
    if (m_loop.exec() >= 0) {
        return true;
    }
    m_stopped = true; // the application quits: no event loop starts any more
    return false;
}
