#pragma once

#include <QList>
#include <QMetaType>
#include <QString>

// One local IPv4 address that a scan can broadcast from.
struct interfaces_t
{
    QString name;    // the interface's human-readable name
    QString ip;      // dotted decimal
    QString netmask; // dotted decimal
    bool selected = true;
};

bool operator==(const interfaces_t &left, const interfaces_t &right);
inline bool operator!=(const interfaces_t &left, const interfaces_t &right)
{
    return !(left == right);
}

Q_DECLARE_METATYPE(interfaces_t)

// The computer's IPv4 addresses now, one record each, without 0.0.0.0 and 127.0.0.1. Each takes its
// selected flag from the first record of `previous` with the same name; a new name is selected.
// Whether an interface is up is not asked: one that is down is listed if it has an address.
QList<interfaces_t> localInterfaces(const QList<interfaces_t> &previous);
