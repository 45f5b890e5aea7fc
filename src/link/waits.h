#pragma once

#include <QString>

#include <chrono>
#include <functional>
#include <utility>

class QTcpSocket;

// Whether a request to interrupt the running thread ends a wait. It does while nothing is lost by
// stopping; once a flash is being erased it does not, because a timer must not leave it half-written.
enum class Interruption { Honoured, Ignored };

// What ends a wait before its bound: a request to interrupt the running thread, or whatever a predicate
// tells, which is asked about ten times a second on the thread that waits. A value, handed to each wait.
class StopCondition
{
public:
    StopCondition(Interruption rule); // stands for itself wherever a condition is asked for
    explicit StopCondition(std::function<bool()> predicate) : m_predicate(std::move(predicate)) {}

    bool isMet() const { return m_predicate && m_predicate(); }
    bool canBeMet() const { return m_predicate != nullptr; }

private:
    std::function<bool()> m_predicate;
};

// What is made of a connection that the other side refuses. The ports of a module (XPort) serve one client at
// a time and refuse the next one until they have noticed that the last one left, so to whoever has just hung
// up a refusal is no answer before the bound is over.
enum class WhenRefused { IsAnswer, IsNoAnswer };

// Blocking waits. Every one of them ends: with what it waits for, at its bound, when the connection is
// gone, or about 100 ms after its stop condition was met.
namespace waits {

using milliseconds = std::chrono::milliseconds;

// Was the running thread asked to stop, and does that count at this point?
bool interrupted(Interruption rule);

// The one place where the program opens a TCP connection: always to the instrument itself, past any proxy
// of the desktop. True when the connection stands. A socket that did not connect is unconnected afterwards.
bool forConnection(QTcpSocket &socket, const QString &host, quint16 port, milliseconds bound,
                   const StopCondition &stop, WhenRefused refusal = WhenRefused::IsNoAnswer);

// True when bytes arrived during this call. Bytes that the socket already held do not count.
bool forNewData(QTcpSocket &socket, milliseconds bound, const StopCondition &stop);

// True when the socket holds bytes to read, new or not.
bool forData(QTcpSocket &socket, milliseconds bound, const StopCondition &stop);

// True when everything that was written to the socket has left it.
bool forWritten(QTcpSocket &socket, milliseconds bound, const StopCondition &stop);

void pause(milliseconds duration, const StopCondition &stop);

// Takes notice of a connection that the other side has closed meanwhile.
bool stillConnected(QTcpSocket &socket);

// Ends the connection at once; bytes that could not be written by now are given up.
void close(QTcpSocket &socket);

} // namespace waits
