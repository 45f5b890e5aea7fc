#pragma once

#include "networkidentity.h"

#include <QByteArray>
#include <QJsonObject>
#include <QString>

// What instruments answer to "Quorvex Dev?". In binary, a reply has 248 bytes:
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
//
// Power supplies join their texts with CR LF over bytes 44 to 247: firmware, serial number, module
// identifier, a note, the DHCP state ("1" or "0"), the site. Older firmware sends the first four or
// five of them. Newer instruments, and power supplies in recovery mode, answer with the twelve characters
// "Quorvex MS2:" and one JSON object.

namespace replytexts {
constexpr int textBlockSize = 204; // bytes 44 to 247
constexpr int textSize = 196;      // bytes 52 to 247
} // namespace replytexts

struct InstrumentTexts
{
    enum Form {
        TextBlock,  // power supplies
        Beamline,   // and the 1600, a power supply with a beamline instrument's interface
        Transducer, // and tools
        Json
    };

    Form form = TextBlock;
    QString firmware;  // four characters for Beamline and Transducer
    QByteArray serial; // as it stands on the wire: a text, or four bytes
    QString module;    // four characters for Beamline
    QString note;
    QString site;
    int parts = 6;    // of a text block, 4 to 6
    QJsonObject keys; // more keys, or other values for those that every JSON has; null takes a key away

    // As an engineer reads it: "2.1.04", "1.2.03".
    QString firmwareVersion() const;

    // With the version that follows: the number at the end counted up, at the same width.
    QString nextFirmware() const;
};

// The lines of a power supply as they stand in its reply.
QByteArray textBlock(const NetworkIdentity &identity, const InstrumentTexts &texts);

QByteArray encodeReply(const NetworkIdentity &identity, const InstrumentTexts &texts);
