#pragma once

#include <QElapsedTimer>

#include <chrono>

// How long instruments are given; a test passes shorter times.
struct LookPacing
{
    using milliseconds = std::chrono::milliseconds;

    // Instruments restart their network with new settings; a scan right away would find them at the old
    // address, or not at all.
    milliseconds settingsApply{1500};
    milliseconds second{1000};    // unit of the looks behind a scan
    milliseconds leaveRetry{200}; // until leave for a scan is asked for again
};

// When instruments are looked for again that have been told new settings or been restarted: after about 1, 2,
// 4 and 8 seconds, and when a motor driver is among them also after 14 and 20. A bounded number of looks,
// whatever becomes of them. A record of the session's for each kind of proof.
class LookSchedule
{
public:
    using milliseconds = std::chrono::milliseconds;

    // From now on, until `patience` is over at least; `second` is how long one of its seconds takes.
    void begin(milliseconds patience, milliseconds second);
    void end() { m_next = m_last = 0; }
    bool isOpen() const { return m_next < m_last; }

    // Until the next look, never negative. Only while open.
    milliseconds untilNext() const;
    // A look was made (or could not be made) now.
    void pass(bool looked);
    // Since begin().
    bool hasLooked() const { return m_looked; }

private:
    QElapsedTimer m_clock;
    milliseconds m_second{0};
    int m_next = 0;
    int m_last = 0; // behind the last look
    bool m_looked = false;
};
