#pragma once

#include "device.h"

#include <QList>
#include <QString>
#include <QVector>

// Of one instrument that was updated.
struct VersionVerdict
{
    enum class State {
        Changed,     // it answers with another version than before
        Told,        // it answers with a version, and told none before
        Unchanged,   // it answers with the version of before: it was not updated, whatever the procedure said
        Silent,      // it does not answer (yet)
        Untold,      // it answers, but does not say its version (yet)
        NotLookedFor // nobody could look until the time to look was over
    };

    Device_t before;
    QString now; // version
    State state = State::Silent;
};

// Whether the text says which firmware an instrument has.
bool isKnownVersion(const QString &version);

// The firmware version that each instrument had before it was updated, held against the one that it answers
// with afterwards. Owned by the session.
class VersionProof
{
public:
    // A second record of an instrument replaces the first.
    void noteBefore(const Device_t &device);

    // Holds what was noted against everybody who answered. What has changed once stays so.
    void check(const QList<Device_t> &answers);
    // The time to look is over and there was no chance to.
    void giveUp();

    // Before the next scan: what has been said needs no repeating. Instruments that are not back yet stay
    // noted, and so do those that answer but do not say the version that they used to say.
    void forgetAnswered();

    // Are there instruments that looking again could find changed?
    bool isOpen() const;
    bool awaits(const QString &mac) const;
    const QVector<VersionVerdict> &verdicts() const { return m_verdicts; }

private:
    QVector<VersionVerdict> m_verdicts;
};
