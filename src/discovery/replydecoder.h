#pragma once

#include "device.h"

#include <QByteArray>
#include <QHostAddress>

#include <optional>

// What instruments say of themselves during a scan: pure functions from the bytes of one datagram
// to one record. Nothing here fails loudly: what is not a reply gives no record, and a field that
// cannot be read becomes "Unknown" or empty.

// Bytes beyond this are not read; a shorter datagram reads as if zero bytes followed it.
namespace replydecoder {
constexpr int maxReplySize = 2048;
}

// A reply that arrived on UDP 30719, binary ("Quorvex Dev:") or JSON ("Quorvex MS2:") by its first
// twelve bytes. No record for any other datagram, nor for JSON that is not one object.
std::optional<Device_t> decodeDiscoveryReply(const QByteArray &datagram);

// A reply to the serial-server query (UDP 30718): a record with "CODE" "4100", "MAC" and the
// sender's "IP". No record when the datagram is too short to hold the MAC address.
std::optional<Device_t> decodeSerialServerReply(const QByteArray &datagram, const QHostAddress &sender);
