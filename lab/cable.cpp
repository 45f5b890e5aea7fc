#include "cable.h"

#include <QNetworkInterface>

QVector<Cable> labCables()
{
    constexpr int hostRoute = 32; // instruments' addresses stand alone, the host's own has a network
    QVector<Cable> cables;
    const QList<QNetworkInterface> all = QNetworkInterface::allInterfaces();
    for (const QNetworkInterface &interface : all) {
        if (!interface.name().startsWith(QLatin1String("lab"))) {
            continue;
        }
        const QList<QNetworkAddressEntry> entries = interface.addressEntries();
        for (const QNetworkAddressEntry &entry : entries) {
            if (entry.ip().protocol() == QAbstractSocket::IPv4Protocol && entry.prefixLength() < hostRoute) {
                cables.append({interface.name(), interface.index(), entry.ip().toIPv4Address(),
                               entry.netmask().toIPv4Address()});
                break;
            }
        }
    }
    return cables;
}
