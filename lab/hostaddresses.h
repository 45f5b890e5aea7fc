#pragma once

#include <QHash>
#include <QPair>
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

// The addresses that the lab host has because instruments have them: one /32 for each address on a
// cable, however many instruments share it. They are asked of the kernel directly (rtnetlink), which
// makes thousands of them a matter of milliseconds, and are gone when this object ends.
class HostAddresses
{
public:
    HostAddresses() = default;
    ~HostAddresses();
    HostAddresses(const HostAddresses &) = delete;
    HostAddresses &operator=(const HostAddresses &) = delete;

    // Makes the cables fit for many hosts behind one interface, and removes what a lab that was
    // killed left behind. False, and `error` says why, when this process may not change the network.
    bool open(const QVector<Cable> &cables, QString *error);

    // Both return at once and work when they return. False when the kernel refuses.
    bool add(quint32 address, const Cable &cable);
    bool remove(quint32 address, const Cable &cable);

private:
    enum class Change { Add, Remove };

    bool request(Change change, quint32 address, int interfaceIndex);
    void removeLeftovers(const QVector<Cable> &cables);

    int m_socket = -1;
    QHash<QPair<quint32, int>, int> m_users; // instruments by address and interface
};
