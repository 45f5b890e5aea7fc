#include "scriptedpeer.h"

#include <QDeadlineTimer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>

#include <future>
#include <memory>
#include <sys/socket.h>

namespace {

// How often a waiting peer looks whether the test is over.
constexpr int lookMs = 20;

} // namespace

ScriptedPeer::Connection::Connection(ScriptedPeer *owner, QTcpSocket *accepted, int which)
    : peer(owner), socket(accepted), count(which)
{}

bool ScriptedPeer::Connection::isOpen() const
{
    return socket->state() == QAbstractSocket::ConnectedState && !peer->stopping;
}

// Waits a little for bytes; false when no more can come.
bool ScriptedPeer::Connection::receive()
{
    if (!socket->isOpen()) {
        return false; // reset by the script
    }
    socket->waitForReadyRead(lookMs);
    const QByteArray fresh = socket->readAll();
    pending += fresh;
    const std::lock_guard lock(peer->mutex);
    peer->bytes += fresh;
    return isOpen() || !fresh.isEmpty();
}

QByteArray ScriptedPeer::Connection::readUntil(const QByteArray &text)
{
    int at = pending.indexOf(text);
    while (at < 0 && receive()) {
        at = pending.indexOf(text);
    }
    return at < 0 ? QByteArray() : read(at + text.size());
}

QByteArray ScriptedPeer::Connection::read(int size)
{
    while (pending.size() < size && receive()) {
    }
    QByteArray head = pending.left(size);
    pending.remove(0, size);
    return head;
}

void ScriptedPeer::Connection::send(const QByteArray &answer)
{
    if (isOpen()) {
        socket->write(answer);
        socket->waitForBytesWritten();
    }
}

void ScriptedPeer::Connection::wait(int ms)
{
    const QDeadlineTimer deadline(ms);
    while (!deadline.hasExpired() && !peer->stopping) {
        QThread::msleep(static_cast<unsigned long>(qMin<qint64>(lookMs, deadline.remainingTime())));
    }
}

void ScriptedPeer::Connection::close()
{
    socket->disconnectFromHost();
}

void ScriptedPeer::Connection::reset()
{
    const linger atOnce{1, 0};
    setsockopt(static_cast<int>(socket->socketDescriptor()), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    socket->abort();
}

ScriptedPeer::ScriptedPeer(Script conversation) : script(std::move(conversation))
{
    std::promise<quint16> port;
    thread = std::thread([this, &port] { run([&port](quint16 number) { port.set_value(number); }); });
    listenPort = port.get_future().get();
}

ScriptedPeer::~ScriptedPeer()
{
    stopping = true;
    thread.join();
}

QByteArray ScriptedPeer::received() const
{
    const std::lock_guard lock(mutex);
    return bytes;
}

int ScriptedPeer::connections() const
{
    const std::lock_guard lock(mutex);
    return connectionCount;
}

int ScriptedPeer::endedConnections() const
{
    const std::lock_guard lock(mutex);
    return endedCount;
}

int ScriptedPeer::countConnection()
{
    const std::lock_guard lock(mutex);
    return ++connectionCount;
}

quint16 ScriptedPeer::closedPort()
{
    QTcpServer server;
    server.listen(QHostAddress::LocalHost);
    return server.serverPort();
}

void ScriptedPeer::run(const std::function<void(quint16)> &listening)
{
    QTcpServer server;
    server.listen(QHostAddress::LocalHost);
    listening(server.serverPort());
    while (!stopping) {
        if (!server.waitForNewConnection(lookMs)) {
            continue;
        }
        const std::unique_ptr<QTcpSocket> socket(server.nextPendingConnection());
        Connection connection(this, socket.get(), countConnection());
        script(connection);
        while (connection.receive()) {
        }
        const std::lock_guard lock(mutex);
        ++endedCount;
    }
}
