#pragma once

#include "device.h"

#include <QList>
#include <QString>
#include <QStringList>

// What the instruments were told, held against what they answer. Settings go out by datagram and
// nothing comes back, so only the next scan can say whether an instrument has taken its new address.
// The window notes each change here and asks after every scan, until all of them have shown up.
class ChangeProof
{
public:
    // Forgets earlier changes.
    void begin();
    // An empty address stands for one that the instrument gets by DHCP: any will do.
    void expect(const QString &mac, const QString &ip);

    // Holds the changes against the records of a scan.
    void check(const QList<Device_t> &devices);

    bool isEmpty() const { return changes.isEmpty(); }
    bool isComplete() const { return missing.isEmpty(); }
    // One line for the footer, and a line for each instrument that is not where it should be.
    QString summary() const;
    QStringList missingInstruments() const { return missing; }

private:
    struct Change
    {
        QString mac;
        QString ip;
    };
    QList<Change> changes;
    QStringList missing;
};
