#pragma once

#include "device.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <QVector>

// Of one instrument that was told new network settings.
struct ChangeVerdict
{
    enum class State {
        Proven,         // it answers at its new address
        Elsewhere,      // it answers, but not there
        Silent,         // it does not answer
        WaitsForReboot, // it takes its new address when it is rebooted, and has not been
        NotLookedFor    // nobody could look until the time to look was over
    };

    QString mac;    // upper case, with colons
    QString wanted; // empty: an address by DHCP, any will do
    QString seen;   // where it answers; empty while it does not
    State state = State::Silent;
    QString code = {}; // of the product, as known when it was told; empty when it was not
};

// What the instruments were told, held against what they answer. Settings go out by datagram and nothing
// comes back, so only a scan can say whether an instrument has taken its new address. Owned by the session,
// which notes each change here and asks after every scan and look, until all of them have shown up.
class ChangeProof
{
public:
    // A second expectation of an instrument replaces the first. The address is dotted; an empty one stands
    // for DHCP. Its product code says whether it takes the address at its next start only.
    void expect(const QString &mac, const QString &ip, const QString &code);
    // Before a new order: what is proven needs no repeating, and what was given up is not waited for any
    // longer. An instrument that waits for its reboot is kept.
    void forgetSettled();

    // Holds the changes against everybody who answered. What is proven once stays so.
    void check(const QList<Device_t> &answers);
    // The time to look is over and there was no chance to.
    void giveUp();
    // Before the next scan, when all are proven: what has been said needs no repeating.
    void forgetIfComplete();

    // Are there instruments that looking again could find at their new address?
    bool isOpen() const;
    bool awaits(const QString &mac) const; // in any spelling
    const QVector<ChangeVerdict> &verdicts() const { return m_changes; }

private:
    QVector<ChangeVerdict> m_changes;
};
