#include "tunnel.h"

#include "eventlog.h"
#include "networkidentity.h"

#include <QHostAddress>

#include <algorithm>
#include <poll.h>
#include <sys/socket.h>

namespace {

// A serial line has no flow control: what a client does not read in time is lost, not kept for ever.
constexpr int mostUnread = 4 * 1024 * 1024;

// Makes the next close of the socket send a reset.
void armReset(const QTcpSocket &socket)
{
    const linger now{1, 0};
    setsockopt(static_cast<int>(socket.socketDescriptor()), SOL_SOCKET, SO_LINGER, &now, sizeof now);
}

// Lets no more than about so many bytes wait unread.
void narrow(QTcpSocket &socket, int window)
{
    if (window > 0) {
        socket.setReadBufferSize(window);
        socket.setSocketOption(QAbstractSocket::ReceiveBufferSizeSocketOption, window);
    }
}

// Whether the client has ended the connection, even if bytes that it sent before still wait: Qt sees an
// end only behind the last of them.
bool hasLeft(const QTcpSocket &client)
{
    pollfd end{static_cast<int>(client.socketDescriptor()), POLLRDHUP, 0};
    return poll(&end, 1, 0) == 1 && (end.revents & (POLLRDHUP | POLLHUP | POLLERR)) != 0;
}

} // namespace

Tunnel::Tunnel(std::unique_ptr<SerialPartner> partner, TunnelSpec::Manner manner, EventLog &log,
               const QString &mac, quint16 port)
    : m_partner(std::move(partner)), m_manner(manner), m_log(log), m_mac(mac), m_port(port)
{
    connect(&m_server, &QTcpServer::newConnection, this, &Tunnel::welcome);
    connect(m_partner.get(), &SerialPartner::transmit, this, &Tunnel::write);
    connect(m_partner.get(), &SerialPartner::resetConnection, this, &Tunnel::reset);
    connect(m_partner.get(), &SerialPartner::hungry, this, &Tunnel::read, Qt::QueuedConnection);
}

Tunnel::~Tunnel()
{
    m_server.disconnect(this);
    if (m_client != nullptr) {
        m_client->disconnect(this);
    }
}

bool Tunnel::start(quint32 address)
{
    m_address = address;
    m_started = true;
    return listen();
}

bool Tunnel::listen()
{
    return m_manner == TunnelSpec::Refuse || m_server.listen(QHostAddress(m_address), m_port);
}

void Tunnel::stop()
{
    m_started = false;
    m_server.close();
    reset();
}

void Tunnel::welcome()
{
    QTcpSocket *client = m_server.nextPendingConnection();
    if (m_manner == TunnelSpec::CloseAtOnce) {
        report(QStringLiteral("accepted"), *client);
        connect(client, &QTcpSocket::disconnected, client, &QObject::deleteLater);
        client->disconnectFromHost();
        return;
    }
    m_server.close();
    m_client = client;
    narrow(*client, m_partner->window());
    connect(m_client, &QTcpSocket::readyRead, this, &Tunnel::read);
    connect(m_client, &QTcpSocket::disconnected, this, &Tunnel::clientGone);
    report(QStringLiteral("connected"), *m_client);
    m_partner->clientArrived();
}

void Tunnel::read()
{
    // The partner may end the connection at any byte.
    while (m_client != nullptr && m_client->bytesAvailable() > 0 && m_partner->appetite() > 0) {
        const QByteArray bytes =
            m_client->read(std::min<qint64>(m_partner->appetite(), m_client->bytesAvailable()));
        if (m_manner != TunnelSpec::Silent) {
            m_partner->receive(bytes);
        }
    }
    if (m_client != nullptr && m_client->bytesAvailable() > 0 && hasLeft(*m_client)) {
        reset(); // a slow partner need not take what nobody waits for
    }
}

void Tunnel::write(const QByteArray &bytes)
{
    if (m_client != nullptr && m_client->bytesToWrite() < mostUnread) {
        m_client->write(bytes);
        m_client->flush();
    }
}

void Tunnel::reset()
{
    if (m_client != nullptr) {
        armReset(*m_client);
        m_client->abort(); // ends in clientGone()
    }
}

void Tunnel::clientGone()
{
    QTcpSocket *client = m_client;
    m_client = nullptr;
    client->deleteLater();
    m_partner->clientLeft();
    if (m_started) {
        listen();
    }
    report(QStringLiteral("disconnected"), *client); // a new client is welcome from here on
}

void Tunnel::report(const QString &event, const QTcpSocket &client)
{
    m_log.report(
        event, m_mac,
        {{QStringLiteral("peer"), client.peerAddress().toString()}, {QStringLiteral("port"), m_port}});
}
