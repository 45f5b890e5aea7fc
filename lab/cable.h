#pragma once

#include <QString>
#include <QVector>

// One of the lab host's ends of a cable to the workstation.
struct Cable
{
    QString name;        // "lab0"
    int index = 0;       // the kernel's number of the interface
    quint32 address = 0; // the lab host's own on this cable, host order
    quint32 netmask = 0;

    // False for addresses that no instrument on this cable may have: the lab host's own, and those of
    // the network as a whole.
    bool hasRoomAt(quint32 other) const
    {
        const quint32 host = other & ~netmask;
        return other != address && (!isLocal(other) || (host != 0 && host != ~netmask));
    }

    bool isLocal(quint32 other) const { return (other & netmask) == (address & netmask); }

    // Limited broadcast, or the one directed at this cable's network.
    bool isBroadcast(quint32 to) const { return to == 0xFFFFFFFF || to == (address | ~netmask); }
};

// This host's interfaces lab0, lab1 ...; empty anywhere but on the lab host of script/lab-net.
QVector<Cable> labCables();
