#pragma once

#include <QEventLoop>
#include <QFuture>
#include <QTimer>

#include <atomic>

// How a scan waits in the thread that called it: events go on being handled, so that replies are
// read the moment they arrive and the window stays alive, until the wait is over, the scan is
// stopped, or the application quits. Owned by the Client and used by one scan at a time.
class ScanWait
{
public:
    ScanWait();

    // Handles events for that many milliseconds, at 0 those that are there now. False when the scan
    // is to end.
    bool run(int ms);

    // Handles events until the task has ended. When the application quits it stops the scan and
    // waits for the task without handling events.
    void runUntilFinished(const QFuture<void> &task);

    void stop();
    void reset() { m_stopped = false; }

    // True from stop() to reset(). The follow-up queries read it from their own threads.
    const std::atomic_bool &stopped() const { return m_stopped; }

private:
    bool runLoop(); // false when the application quits

    QEventLoop m_loop;
    QTimer m_timer;
    std::atomic_bool m_stopped{false};
};
