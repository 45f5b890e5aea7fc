#pragma once

#include <QThread>

#include <functional>
#include <memory>

// Blocking code under test on a thread of its own, which a test may ask to stop. Ends with the test,
// also where a check has failed before.
class ThreadRun
{
public:
    explicit ThreadRun(std::function<void()> work) : thread(QThread::create(std::move(work)))
    {
        thread->start();
    }
    ~ThreadRun()
    {
        interrupt();
        thread->wait();
    }
    Q_DISABLE_COPY(ThreadRun)

    void interrupt() { thread->requestInterruption(); }
    bool wait(int ms) { return thread->wait(static_cast<unsigned long>(ms)); }

private:
    std::unique_ptr<QThread> thread;
};
