#pragma once

#include <QString>

#include <chrono>

class QTcpSocket;

// Whether a request to interrupt the running thread ends a wait. It does while nothing is lost by
// stopping; once a flash is being erased it does not, because a timer must not leave it half-written.
enum class Interruption { Honoured, Ignored };

// The blocking waits of an update. Every one of them ends: with what it waits for, at its bound, when
// the connection is gone, or, where that is honoured, about 100 ms after the thread was asked to stop.
namespace waits {

using milliseconds = std::chrono::milliseconds;

// Was the running thread asked to stop, and does that count at this point?
bool interrupted(Interruption rule);

// Logged wherever a run ends because it was asked to.
QString timedOutText();

// True when the connection stands. The ports of an XPort serve one client at a time and refuse the
// next one until they have noticed that the last one left, so a refusal is no answer before the bound
// is over. A socket that did not connect is unconnected afterwards.
bool forConnection(QTcpSocket &socket, const QString &host, quint16 port, milliseconds bound,
                   Interruption rule);

// True when bytes arrived during this call. Bytes that the socket already held do not count.
bool forNewData(QTcpSocket &socket, milliseconds bound, Interruption rule);

// True when the socket holds bytes to read, new or not.
bool forData(QTcpSocket &socket, milliseconds bound, Interruption rule);

// True when everything that was written to the socket has left it.
bool forWritten(QTcpSocket &socket, milliseconds bound, Interruption rule);

void pause(milliseconds duration, Interruption rule);

// Takes notice of a connection that the other side has closed meanwhile.
bool stillConnected(QTcpSocket &socket);

// Ends the connection at once; bytes that could not be written by now are given up.
void close(QTcpSocket &socket);

} // namespace waits
