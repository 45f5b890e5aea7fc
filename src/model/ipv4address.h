#pragma once

#include <QString>
#include <QtGlobal>

#include <array>
#include <optional>

// The number (host order) of a dotted IPv4 address as people write it: four decimal numbers from 0
// to 255, white space around them ignored. Stricter than QHostAddress, which takes "192.168.5" for
// 192.168.0.5 and "010.1.1.1" for 8.1.1.1: an address that is still being typed, or that could be
// read in two ways, must never reach an instrument.
std::optional<quint32> parseIpv4Address(const QString &text);

// True for an address that an instrument can be given: not 0.0.0.0 and not 255.255.255.255.
bool isUsableIpv4Address(const QString &text);

// The two addresses that a unicast scan from `start` (host order) on does not ask: the first and the
// last of start's own /24 network, .0 and .255. Those of other /24 networks are asked, because whether
// they are hosts is known only to a wider netmask.
constexpr std::array<quint32, 2> addressesNotAsked(quint32 start)
{
    return {start & 0xFFFFFF00U, start | 0x000000FFU};
}
