#pragma once

#include "waits.h"

#include <atomic>

// Where the update of an instrument can no longer be stopped, because its old firmware is lost from there on.
// Owned by the run, passed by the procedure on the run's thread, and looked at from any thread.
class PointOfNoReturn
{
public:
    // The next instrument.
    void reset() { m_passed = false; }

    // To be called right before the step that nothing undoes. False when the running thread was asked to
    // stop before: then the step must not be taken. Marked first and asked second, so that whoever asks and
    // still finds it ahead knows that the request will be heard.
    bool pass()
    {
        m_passed = true;
        const bool stopped = waits::interrupted(Interruption::Honoured);
        if (stopped) {
            m_passed = false;
        }
        return !stopped;
    }

    bool isPassed() const { return m_passed; }

private:
    std::atomic_bool m_passed{false};
};
