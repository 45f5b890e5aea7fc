#pragma once

#include <QByteArray>
#include <QHostAddress>

#include <functional>
#include <memory>

class QUdpSocket;

// UDP sockets as a scan uses them: bound to a port that others share, with room for a rack that
// answers at once, and read so that no datagram silences the ones behind it.
namespace scansocket {

using DatagramHandler = std::function<void(const QByteArray &datagram, const QHostAddress &sender)>;

// A reader's limits: one turn inside the event loop, what is left being announced again so that a
// flood does not stop the clock; and everything, which is more than a receive buffer holds.
constexpr int oneTurn = 1024;
constexpr int everything = 64 * 1024;

// One that uses no proxy, not bound yet.
std::unique_ptr<QUdpSocket> make();

// Binds in shared mode, to port 0 for one of the system's choice. False when it cannot be bound;
// the socket's errorString() says why.
bool bind(QUdpSocket &socket, const QHostAddress &address, quint16 port);

// Sends one datagram; to an address that cannot be reached it returns false.
bool send(QUdpSocket &socket, const QByteArray &datagram, const QHostAddress &address, quint16 port);

// Reads what has arrived, no more than `atMost` datagrams, and hands each over. Of a datagram only
// the first maxReplySize bytes are read. The bytes are valid during the call only.
void read(QUdpSocket &socket, int atMost, const DatagramHandler &handle);

} // namespace scansocket
