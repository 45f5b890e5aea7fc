#include "clientport.h"

#include <algorithm>
#include <memory>
#include <poll.h>
#include <sys/socket.h>

namespace {

// A serial line has no flow control: what a client does not read in time is lost, not kept for ever.
constexpr int mostUnread = 4 * 1024 * 1024;

int handle(const QTcpSocket &socket)
{
    return static_cast<int>(socket.socketDescriptor());
}

// Whether the client has ended the connection, even if bytes that it sent before still wait: Qt sees an
// end only behind the last of them.
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

} // namespace

ClientPort::ClientPort(Second second, const EventLog &log) : m_second(second), m_log(log)
{
    connect(&m_server, &QTcpServer::newConnection, this, &ClientPort::accept);
    connect(&m_output, &PacedBytes::passed, this, &ClientPort::write);
}

ClientPort::~ClientPort()
{
    blockSignals(true); // whoever listens may be half gone
    close();
}

void ClientPort::setCut(int afterBytes, int connection)
{
    m_cutAfter = afterBytes;
    m_cutConnection = connection;
}

void ClientPort::setAppetite(const std::function<int()> &appetite, int window)
{
    m_appetite = appetite;
    m_window = window;
}

bool ClientPort::open(quint32 address, quint16 port)
{
    m_address = address;
    m_port = port;
    m_isOpen = true;
    return listen();
}

void ClientPort::close()
{
    m_isOpen = false;
    m_server.close();
    reset();
}

void ClientPort::accept()
{
    while (m_server.hasPendingConnections()) {
        if (m_client == nullptr) {
            serve(m_server.nextPendingConnection());
        } else if (hasEnded(*m_client)) {
            return pull(); // the caller waits until endClient() comes back here
        } else {
            const std::unique_ptr<QTcpSocket> second(m_server.nextPendingConnection());
            report("refused", *second);
            breakConnection(*second);
        }
    }
}

void ClientPort::serve(QTcpSocket *client)
{
    if (client->state() != QAbstractSocket::ConnectedState && client->bytesAvailable() == 0) {
        client->deleteLater(); // hung up while it waited, without a word
        return;
    }
    if (m_second == Second::Refused) {
        m_server.close();
    }
    m_client = client;
    ++m_connection;
    m_received = 0;
    m_client->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    if (m_window > 0) {
        m_client->setReadBufferSize(m_window);
        m_client->setSocketOption(QAbstractSocket::ReceiveBufferSizeSocketOption, m_window);
    }
    connect(m_client, &QTcpSocket::readyRead, this, &ClientPort::pull);
    connect(m_client, &QTcpSocket::disconnected, this, &ClientPort::endClient);
    report("connected", *m_client);
    emit clientArrived();
    if (client == m_client) {
        pull(); // said while it waited
    }
    if (client == m_client && client->state() == QAbstractSocket::UnconnectedState) {
        endClient();
    }
}

void ClientPort::pull()
{
    // Whoever takes the bytes may end the connection at any of them.
    while (m_client != nullptr && m_client->bytesAvailable() > 0) {
        const auto waiting = static_cast<int>(m_client->bytesAvailable());
        const int most = m_appetite ? m_appetite() : waiting;
        if (most > 0) {
            take(m_client->read(std::min(most, waiting)));
        } else {
            if (hasEnded(*m_client)) {
                reset(); // a slow instrument need not take what nobody waits for
            }
            return;
        }
    }
}

void ClientPort::take(const QByteArray &bytes)
{
    m_received += bytes.size();
    const bool meant = m_cutConnection == 0 || m_cutConnection == m_connection;
    if (!meant || m_cutAfter == 0 || m_received < m_cutAfter) {
        emit received(bytes);
        return;
    }
    m_log.report("connectionCut", {{"port", m_port}, {"bytes", m_cutAfter}});
    emit received(bytes.chopped(m_received - m_cutAfter));
    reset();
}

void ClientPort::send(const QByteArray &bytes)
{
    if (m_client != nullptr) {
        m_output.push(bytes);
    }
}

void ClientPort::write(const QByteArray &bytes)
{
    if (m_client != nullptr && m_client->bytesToWrite() < mostUnread) {
        m_client->write(bytes);
        m_client->flush(); // a restart may follow, which takes what still waits
    }
}

void ClientPort::hangUp()
{
    if (m_client != nullptr) {
        m_client->disconnectFromHost();
    }
}

void ClientPort::reset()
{
    if (m_client != nullptr) {
        breakConnection(*m_client); // ends in endClient()
    }
}

void ClientPort::endClient()
{
    QTcpSocket *client = m_client;
    m_client = nullptr;
    client->deleteLater(); // it is the sender
    m_output.clear();
    emit clientLeft();
    if (m_isOpen && m_second == Second::Refused) {
        listen();
    }
    report("disconnected", *client); // a new client is welcome from here on
    accept();
}

void ClientPort::report(const char *event, const QTcpSocket &client) const
{
    m_log.report(event, {{"peer", client.peerAddress().toString()}, {"port", m_port}});
}
