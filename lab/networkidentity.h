#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

// What an instrument is on the network: the fields that every one has, whatever else it tells.
// Addresses are host-order numbers, 192.168.0.1 is 0xC0A80001.
struct NetworkIdentity
{
    QString code;   // four hexadecimal digits
    QByteArray mac; // six bytes
    quint32 ip = 0;
    quint32 netmask = 0;
    quint32 gateway = 0;
    bool dhcp = false; // only remembered and reported: there is no DHCP server to ask
};

// "00:1A:2B:3C:4D:5E"
QString macText(const QByteArray &mac);

// Six pairs joined by ":", in either case; nothing when the text is anything else.
std::optional<QByteArray> macFromText(const QString &text);

// `mac` counted up by `steps`, as one 48-bit number.
QByteArray macPlus(const QByteArray &mac, quint64 steps);

// "192.168.0.1"
QString addressText(quint32 address);

// Four decimal numbers; nothing when the text is anything else.
std::optional<quint32> addressFromText(const QString &text);

// True for an address that one host can have: neither of "this network", loopback, multicast nor
// broadcast.
bool isHostAddress(quint32 address);

// The four bytes of a number, most significant first.
QByteArray bigEndian(quint32 number);
