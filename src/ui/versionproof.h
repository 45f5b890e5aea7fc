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
    void clear() { before.clear(); }
    void noteBefore(const Device_t &device);
    bool isEmpty() const { return before.isEmpty(); }

    // One sentence on all noted instruments as `devices` shows them now.
    QString summary(const QList<Device_t> &devices) const;

private:
    QList<Device_t> before;
};
