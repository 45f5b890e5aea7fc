#include "changenetworkconfiguration.h"

#include "ipv4address.h"
#include "macaddress.h"
#include "netconfiglog.h"
#include "networkconfigurationfile.h"
#include "networksettingsrow.h"

#include <QNetworkProxy>
#include <QSaveFile>
#include <QThread>
#include <QUdpSocket>
#include <QtEndian>

namespace {

constexpr int macSize = 6;
constexpr qint32 dhcpOff = 0;

QByteArray bigEndian32(quint32 value)
{
    QByteArray bytes(4, '\0');
    qToBigEndian(value, bytes.data());
    return bytes;
}

bool isRefused(quint32 address)
{
    return address == 0 || address == 0xFFFFFFFFu;
}

quint32 addressOrZero(const QString &text)
{
    return parseIpv4Address(text).value_or(0);
}

} // namespace

changeNetworkConfiguration::changeNetworkConfiguration(QObject *parent) : QObject(parent) {}

bool changeNetworkConfiguration::setConfiguration(const QList<interfaces_t> &interfaces, const QString &mac,
                                                  quint16 port, quint32 ip, quint32 mask, quint32 gateway,
                                                  qint32 dhcp, const QHostAddress &target)
{
    const QByteArray macInOrder = macBytes(mac);
    if (macInOrder.isEmpty()) {
        return false;
    }
    if (m_interfaces != interfaces) {
        m_interfaces = interfaces;
    }
    if (isRefused(ip) || isRefused(mask) || isRefused(gateway) || port == 0) {
        return false;
    }

    // We are the workstation, and nobody answers. The instrument hears us at the address it has now;
    // one whose address does not fit our network hears the broadcasts.
    const QByteArray set = setDatagram(macInOrder, port, ip, mask, gateway, dhcp);
    QUdpSocket socket;
    socket.setProxy(QNetworkProxy::NoProxy); // no proxy knows the way to an instrument
    socket.writeDatagram(set, target, setPort);
    qCDebug(netconfigLog) << "set" << mac << "to" << QHostAddress(ip) << "at" << target << set.toHex();
    broadcast(set, serialServerDatagram(macInOrder, ip));
    return true;
}

void changeNetworkConfiguration::broadcast(const QByteArray &set, const QByteArray &ipSetup) const
{
    for (const interfaces_t &local : m_interfaces) {
        if (!local.selected) {
            continue;
        }
        // A limited broadcast leaves by the interface whose address its socket is bound to.
        QUdpSocket socket;
        socket.setProxy(QNetworkProxy::NoProxy);
        if (!socket.bind(QHostAddress(local.ip), setPort, QAbstractSocket::ShareAddress)) {
            qCWarning(netconfigLog) << "passed over" << local.name << local.ip << socket.errorString();
            continue;
        }
        socket.writeDatagram(set, QHostAddress(QHostAddress::Broadcast), setPort);
        QThread::msleep(pauseMs);
        socket.writeDatagram(ipSetup, QHostAddress(QHostAddress::Broadcast), serialServerPort);
        socket.close();
        QThread::msleep(pauseMs);
    }
}

bool changeNetworkConfiguration::applyList(const QList<interfaces_t> &interfaces,
                                           const QList<QStringList> &rows, const BeforeRow &beforeRow)
{
    // A row does not say where its instrument is now, so the unicast goes to 0.0.0.0, which Linux takes
    // for this computer: only the broadcasts reach the instruments.
    const QHostAddress nowhere(QStringLiteral("0.0.0.0"));
    bool sent = false;
    for (int i = 0; i < rows.size(); ++i) {
        const QStringList &row = rows.at(i);
        if (row.size() < networkrow::rowLength || (beforeRow && !beforeRow(i))) {
            break;
        }
        sent = setConfiguration(interfaces, row.at(networkrow::MacColumn), devicePort,
                                addressOrZero(row.at(networkrow::IpColumn)),
                                addressOrZero(row.at(networkrow::NetmaskColumn)),
                                addressOrZero(row.at(networkrow::GatewayColumn)), dhcpOff, nowhere);
    }
    return sent;
}

QByteArray changeNetworkConfiguration::setDatagram(const QByteArray &mac, quint16 port, quint32 ip,
                                                   quint32 mask, quint32 gateway, qint32 dhcp)
{
    if (mac.size() < macSize) {
        return {};
    }
    QByteArray portField(2, '\0');
    qToBigEndian(port, portField.data());
    // The one field that instruments read least significant byte first.
    QByteArray dhcpField(4, '\0');
    qToLittleEndian(dhcp, dhcpField.data());
    return QByteArrayLiteral("Quorvex Set:") + mac.left(macSize) + portField + bigEndian32(ip) +
           bigEndian32(mask) + bigEndian32(gateway) + dhcpField;
}

QByteArray changeNetworkConfiguration::serialServerDatagram(const QByteArray &mac, quint32 ip)
{
    if (mac.size() < macSize) {
        return {};
    }
    return bigEndian32(0x000000FC) + QByteArrayLiteral("IP-SETUP") + QByteArray(2, '\0') + mac.mid(4, 2) +
           bigEndian32(ip);
}

bool changeNetworkConfiguration::writeFile(const QList<Device_t> &devices, const QString &path,
                                           QString *reason)
{
    // Written beside the earlier file and put in its place when complete.
    QSaveFile file(path);
    const QByteArray text = networkConfigurationText(devices);
    const bool written = file.open(QIODevice::WriteOnly) && file.write(text) == text.size() && file.commit();
    if (!written && reason) {
        *reason = file.errorString();
    }
    return written;
}

QList<QStringList> changeNetworkConfiguration::readFile(const QString &path)
{
    return readNetworkConfiguration(path).rows;
}
