#pragma once

#include "networkidentity.h"

#include <QByteArray>
#include <QString>

// What instruments answer to "Quorvex Dev?" in binary. Every such reply has 248 bytes:
//
//    0  12  "Quorvex Dev:"          32   4  unused
//   12   2  product code            36   4  module identifier of beamline instruments
//   14   6  MAC address             40   4  unused
//   20   4  IPv4 address            44   4  firmware characters, or start of the text block
//   24   4  netmask                 48   4  serial number, or text block
//   28   4  gateway                 52 196  text, or rest of the text block; ends with a NUL
//
// Numbers and addresses stand most significant byte first. What is unused is filled with a pattern,
// so that a reader that looks at the wrong place shows it.

constexpr int binaryReplySize = 248;
constexpr int textBlockSize = 204; // bytes 44 to 247
constexpr int textSize = 196;      // bytes 52 to 247

// Power supplies join their texts with CR LF over bytes 44 to 247: firmware, serial number, module
// identifier, a note, the DHCP state ("1" or "0"), the site. Older firmware sends the first four or
// five of them.
struct PowerSupplyTexts
{
    QString firmware;
    QString serial;
    QString module;
    QString note;
    QString site;
    int parts = 6; // 4 to 6
};

// Beamline instruments, and the 1600, a power supply with a beamline instrument's interface.
struct BeamlineTexts
{
    QByteArray firmware; // four characters
    QByteArray module;   // four characters
    quint32 serial = 0;
};

// Current transducers and tools.
struct TransducerTexts
{
    QByteArray firmware; // four characters
    QByteArray serial;   // four bytes
    QString module;
};

// The lines of a power supply as they stand in its reply.
QByteArray textBlock(const NetworkIdentity &identity, const PowerSupplyTexts &texts);

QByteArray encodeReply(const NetworkIdentity &identity, const PowerSupplyTexts &texts);
QByteArray encodeReply(const NetworkIdentity &identity, const BeamlineTexts &texts);
QByteArray encodeReply(const NetworkIdentity &identity, const TransducerTexts &texts);
