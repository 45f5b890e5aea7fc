#pragma once

#include "device.h"

#include <atomic>

// How long a follow-up query waits at most for each thing, in milliseconds.
struct TcpWaits
{
    int connected = 3000;
    int written = 1000;
    int read = 2000; // for more of a reply line; the whole line gets lineWaits times as much
};

namespace versionquery {

// A module may send its line in pieces, each within the read wait; the line as a whole is cut off
// after this many read waits, so that a module which trickles bytes cannot hold a scan up.
constexpr int lineWaits = 3;

// The XPort module's TCP port to the serial line behind it.
constexpr quint16 serialTunnelPort = 10001;

} // namespace versionquery

// Asks the instrument behind `module` (only its "IP" and "MAC" are read) for its
// version and gives the record of what is there: a motor driver with code "4200", or the module
// itself with code "4100" when it does not connect, does not answer, or has something else behind it.
//
// Blocks, for worker threads. A query is over after at most
// connected + 2 * (written + lineWaits * read) milliseconds. When `stopped` becomes true it takes no
// further step; a wait to be connected or for bytes ends within a tenth of a second.
Device_t queryVersion(const Device_t &module, const TcpWaits &waits, const std::atomic_bool &stopped,
                      quint16 port = versionquery::serialTunnelPort);
