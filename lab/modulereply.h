#pragma once

#include "networkidentity.h"

#include <QByteArray>

// The answers of a Lantronix XPort on UDP 30718. A query has exactly four bytes, 00, 00 or 01, 00
// and the function; an answer starts with 00 00 00 and the function plus one:
//
//   F6 -> F7   30 bytes: 16 of the firmware image (bytes 8-9 its type, "X5"), 4 of device
//              information, and the MAC address in bytes 24-29
//   F4 -> F5   33 bytes: the version as text from byte 16
//   F8 -> F9  124 bytes: setup record 0, which starts with the module's IPv4 address
//
// Anything else stays without an answer, as the real module keeps silent.
//
// Empty when the module has no answer to `query`.
QByteArray encodeModuleAnswer(const QByteArray &query, const NetworkIdentity &identity);
