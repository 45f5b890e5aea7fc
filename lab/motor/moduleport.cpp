#include "moduleport.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

namespace {

int handle(const QTcpSocket &socket)
{
    return static_cast<int>(socket.socketDescriptor());
}

// The other side has said that nothing more will come, even if not all of it was read yet.
bool hasEnded(const QTcpSocket &socket)
{
    pollfd end{handle(socket), POLLRDHUP, 0};
    return poll(&end, 1, 0) > 0;
}

void breakConnection(QTcpSocket &socket)
{
    const linger never{1, 0};
    setsockopt(handle(socket), SOL_SOCKET, SO_LINGER, &never, sizeof never);
    socket.abort();
}

void keepAlive(const QTcpSocket &socket, int seconds)
{
    const int on = seconds > 0 ? 1 : 0;
    const int interval = qMax(1, seconds);
    const int probes = 1;
    setsockopt(handle(socket), SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
    setsockopt(handle(socket), IPPROTO_TCP, TCP_KEEPIDLE, &interval, sizeof interval);
    setsockopt(handle(socket), IPPROTO_TCP, TCP_KEEPINTVL, &interval, sizeof interval);
    setsockopt(handle(socket), IPPROTO_TCP, TCP_KEEPCNT, &probes, sizeof probes);
}

} // namespace

ModulePort::ModulePort(QObject *parent) : QObject(parent)
{
    connect(&m_server, &QTcpServer::newConnection, this, &ModulePort::accept);
}

ModulePort::~ModulePort()
{
    blockSignals(true); // whoever listens may be half gone
    close();
}

bool ModulePort::open(const QHostAddress &address, quint16 port, int keepaliveS)
{
    m_port = port;
    m_keepaliveS = keepaliveS;
    return m_server.listen(address, port);
}

void ModulePort::close()
{
    m_server.close();
    reset();
}

void ModulePort::accept()
{
    while (m_server.hasPendingConnections()) {
        if (m_client == nullptr) {
            serve(m_server.nextPendingConnection());
        } else if (hasEnded(*m_client)) {
            return; // the caller waits until endClient() comes back here
        } else {
            const std::unique_ptr<QTcpSocket> second(m_server.nextPendingConnection());
            report(QStringLiteral("refused"), *second);
            breakConnection(*second);
        }
    }
}

void ModulePort::serve(QTcpSocket *client)
{
    if (client->state() != QAbstractSocket::ConnectedState && client->bytesAvailable() == 0) {
        client->deleteLater(); // hung up while it waited, without a word
        return;
    }
    m_client = client;
    m_client->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    keepAlive(*m_client, m_keepaliveS);
    connect(m_client, &QTcpSocket::readyRead, this, [this] { emit received(m_client->readAll()); });
    connect(m_client, &QTcpSocket::disconnected, this, &ModulePort::endClient);
    report(QStringLiteral("connected"), *m_client);
    emit clientArrived();
    if (client == m_client && client->bytesAvailable() > 0) {
        emit received(client->readAll()); // said while it waited
    }
    if (client == m_client && client->state() == QAbstractSocket::UnconnectedState) {
        endClient();
    }
}

void ModulePort::send(const QByteArray &bytes)
{
    if (m_client != nullptr) {
        m_client->write(bytes);
        m_client->flush(); // a restart may follow, which takes what still waits
    }
}

void ModulePort::hangUp()
{
    if (m_client != nullptr) {
        m_client->disconnectFromHost();
    }
}

void ModulePort::reset()
{
    if (m_client != nullptr) {
        breakConnection(*m_client);
    }
}

void ModulePort::endClient()
{
    QTcpSocket *client = m_client;
    m_client = nullptr;
    client->deleteLater(); // it is the sender
    emit clientLeft();
    report(QStringLiteral("disconnected"), *client);
    accept();
}

void ModulePort::report(const QString &event, const QTcpSocket &client)
{
    emit happened(
        event, {{QStringLiteral("peer"), client.peerAddress().toString()}, {QStringLiteral("port"), m_port}});
}
