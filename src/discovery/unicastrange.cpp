#include "unicastrange.h"

QVector<quint32> unicastAddresses(const QHostAddress &start, const QHostAddress &end)
{
    QVector<quint32> addresses;
    visitUnicastAddresses(start, end, [&addresses](quint32 address) {
        addresses.append(address);
        return true;
    });
    return addresses;
}
