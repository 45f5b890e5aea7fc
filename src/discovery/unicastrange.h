#pragma once

#include "ipv4address.h"

#include <QHostAddress>
#include <QVector>

// The addresses of a unicast scan. From `start` to `end` inclusive, ascending, in host byte order,
// and none at all unless both are IPv4 and start <= end. Left out are those of addressesNotAsked().

// Calls visit(quint32 address) for each; a visitor that returns false ends the walk. A range has no
// upper bound (it may be all of IPv4), so nothing is collected on the way.
template <typename Visitor>
void visitUnicastAddresses(const QHostAddress &start, const QHostAddress &end, Visitor visit)
{
    if (start.protocol() != QAbstractSocket::IPv4Protocol ||
        end.protocol() != QAbstractSocket::IPv4Protocol) {
        return;
    }
    const quint32 first = start.toIPv4Address();
    const auto [network, broadcast] = addressesNotAsked(first);
    const quint64 last = end.toIPv4Address(); // wider than an address, so that counting past it works
    for (quint64 next = first; next <= last; ++next) {
        const auto address = static_cast<quint32>(next);
        if (address != network && address != broadcast && !visit(address)) {
            return;
        }
    }
}

// All of them; for ranges that are known to be small.
QVector<quint32> unicastAddresses(const QHostAddress &start, const QHostAddress &end);
