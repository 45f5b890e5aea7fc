#pragma once

#include <QByteArray>

#include <optional>

// The two datagrams that give an instrument new network settings, as the instrument reads them.

// "Quorvex Set:", 36 bytes to UDP 30719: MAC (12-17), a port (18-19), address, netmask and gateway
// (20-31), all most significant byte first; the DHCP flag (32-35) least significant byte first.
struct SetDatagram
{
    QByteArray mac;
    quint16 port = 0;
    quint32 ip = 0;
    quint32 netmask = 0;
    quint32 gateway = 0;
    quint32 dhcp = 0;
};

// "IP-SETUP", 20 bytes to UDP 30718: 00 00 00 FC, the eight characters, 00 00, the last two bytes of
// the MAC (14-15) and the new address (16-19). It names no more of the module than those two bytes.
struct IpSetup
{
    QByteArray macEnd;
    quint32 ip = 0;
};

bool isSetDatagram(const QByteArray &bytes); // by its first twelve characters
bool isIpSetup(const QByteArray &bytes);     // by function and name

// Nothing when the length is wrong.
std::optional<SetDatagram> readSetDatagram(const QByteArray &bytes);
std::optional<IpSetup> readIpSetup(const QByteArray &bytes);
