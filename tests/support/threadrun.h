#pragma once

#include <QThread>

#include <chrono>
#include <functional>
#include <future>
#include <memory>

// Blocking code under test on a thread of its own, which a test may ask to stop. Ends with the test,
// also where a check has failed before.
class ThreadRun
{
public:
    explicit ThreadRun(std::function<void()> work)
        : ended(done.get_future()), thread(QThread::create([this, work = std::move(work)] {
              work();
              done.set_value(); // an order of events that the thread sanitizer can see
          }))
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
    bool wait(int ms) { return ended.wait_for(std::chrono::milliseconds(ms)) == std::future_status::ready; }

private:
    std::promise<void> done;
    std::future<void> ended;
    std::unique_ptr<QThread> thread;
};
