#pragma once

#include "cable.h"

#include <QHash>
#include <QPair>
#include <QString>
#include <QVector>

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
