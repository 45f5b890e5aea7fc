#include "interfaces.h"

#include <QHostAddress>
#include <QNetworkInterface>

#include <algorithm>

namespace {

bool wasSelected(const QList<interfaces_t> &previous, const QString &name)
{
    const auto known = std::find_if(previous.cbegin(), previous.cend(),
                                    [&name](const interfaces_t &record) { return record.name == name; });
    return known == previous.cend() || known->selected;
}

bool isScannable(const QHostAddress &address)
{
    return address.protocol() == QAbstractSocket::IPv4Protocol &&
           address != QHostAddress(QHostAddress::AnyIPv4) && address != QHostAddress(QHostAddress::LocalHost);
}

} // namespace

bool operator==(const interfaces_t &left, const interfaces_t &right)
{
    return left.name == right.name && left.ip == right.ip && left.netmask == right.netmask &&
           left.selected == right.selected;
}

QList<interfaces_t> localInterfaces(const QList<interfaces_t> &previous)
{
    QList<interfaces_t> list;
    const QList<QNetworkInterface> all = QNetworkInterface::allInterfaces();
    for (const QNetworkInterface &interface : all) {
        const QList<QNetworkAddressEntry> entries = interface.addressEntries();
        for (const QNetworkAddressEntry &entry : entries) {
            if (isScannable(entry.ip())) {
                const QString name = interface.humanReadableName();
                list.append(
                    {name, entry.ip().toString(), entry.netmask().toString(), wasSelected(previous, name)});
            }
        }
    }
    return list;
}
