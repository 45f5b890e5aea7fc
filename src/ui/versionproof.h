#pragma once

#include "device.h"

#include <QList>
#include <QString>

// The firmware version that each instrument had before it was updated, held against the one that it
// answers with afterwards: an instrument that comes back unchanged was not updated, whatever the
// procedure said.
class VersionProof
{
public:
    // A second record of an instrument replaces the first.
    void noteBefore(const Device_t &device);
    bool isEmpty() const { return before.isEmpty(); }

    // One sentence on all noted instruments as `devices` shows them now.
    QString summary(const QList<Device_t> &devices) const;
    // True when one of them says the version that it said before.
    bool isAnyUnchanged(const QList<Device_t> &devices) const;

    // What has been said needs no repeating; instruments that are not back yet stay noted,
    // and so do those that answer but do not say the version that they used to say.
    void forgetAnswered(const QList<Device_t> &devices);

private:
    QList<Device_t> before;
};
