#include "moduleport.h"

#include <array>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int queueLength = 1;

void setOption(int socket, int level, int option, int value)
{
    setsockopt(socket, level, option, &value, sizeof value);
}

bool bindTo(int socket, const QHostAddress &address, quint16 port)
{
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_port = htons(port);
    place.sin_addr.s_addr = htonl(address.toIPv4Address());
    return bind(socket, reinterpret_cast<const sockaddr *>(&place), sizeof place) == 0;
}

// The other side has said that nothing more will come.
bool hasEnded(int client)
{
    pollfd end{client, POLLRDHUP, 0};
    return poll(&end, 1, 0) > 0;
}

// The watcher's whole life: `client`, its own handle, ends or `stop` is written to.
void listenAfter(int client, int stop, int listener)
{
    std::array<pollfd, 2> ends{{{client, POLLRDHUP, 0}, {stop, POLLIN, 0}}};
    while (poll(ends.data(), ends.size(), -1) < 0) {
    }
    if (ends[1].revents == 0) {
        listen(listener, queueLength);
    }
    ::close(client);
}

} // namespace

ModulePort::ModulePort(QObject *parent) : QObject(parent) {}

ModulePort::~ModulePort()
{
    blockSignals(true); // whoever listens may be half gone
    close();
}

bool ModulePort::open(const QHostAddress &address, quint16 port, int keepaliveS)
{
    close();
    m_keepaliveS = keepaliveS;
    m_listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    setOption(m_listener, SOL_SOCKET, SO_REUSEADDR, 1);
    if (!bindTo(m_listener, address, port) || listen(m_listener, queueLength) != 0) {
        close();
        return false;
    }
    m_calls = std::make_unique<QSocketNotifier>(m_listener, QSocketNotifier::Read);
    connect(m_calls.get(), &QSocketNotifier::activated, this, &ModulePort::accept);
    return true;
}

void ModulePort::close()
{
    reset();
    m_calls.reset();
    if (m_listener >= 0) {
        ::close(m_listener);
        m_listener = -1;
    }
}

void ModulePort::accept()
{
    const int client = accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
    if (client < 0) {
        return;
    }
    m_calls->setEnabled(false);
    if (!hasEnded(client)) {
        shutdown(m_listener, SHUT_RD); // keeps the port and refuses whoever calls
    }
    setOption(client, SOL_SOCKET, SO_KEEPALIVE, m_keepaliveS > 0 ? 1 : 0);
    setOption(client, IPPROTO_TCP, TCP_KEEPIDLE, qMax(1, m_keepaliveS));
    setOption(client, IPPROTO_TCP, TCP_KEEPINTVL, qMax(1, m_keepaliveS));
    setOption(client, IPPROTO_TCP, TCP_KEEPCNT, 1);
    m_client = std::make_unique<QTcpSocket>();
    connect(m_client.get(), &QTcpSocket::readyRead, this, &ModulePort::readClient);
    connect(m_client.get(), &QTcpSocket::disconnected, this, &ModulePort::endClient);
    m_client->setSocketDescriptor(client);
    m_client->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    watch(client);
    emit clientArrived();
}

void ModulePort::watch(int client)
{
    m_stopWatching = eventfd(0, EFD_CLOEXEC);
    m_watcher = std::thread(listenAfter, dup(client), m_stopWatching, m_listener);
}

void ModulePort::stopWatching()
{
    if (m_watcher.joinable()) {
        eventfd_write(m_stopWatching, 1);
        m_watcher.join();
        ::close(m_stopWatching);
    }
}

void ModulePort::readClient()
{
    emit received(m_client->readAll());
}

void ModulePort::send(const QByteArray &bytes)
{
    if (m_client) {
        m_client->write(bytes);
    }
}

void ModulePort::hangUp()
{
    if (m_client) {
        stopWatching(); // its handle would keep the connection
        m_client->disconnectFromHost();
    }
}

void ModulePort::reset()
{
    if (m_client) {
        stopWatching();
        const linger never{1, 0};
        setsockopt(int(m_client->socketDescriptor()), SOL_SOCKET, SO_LINGER, &never, sizeof never);
        m_client->abort();
    }
}

void ModulePort::endClient()
{
    stopWatching();
    m_client.release()->deleteLater(); // it is the sender
    listen(m_listener, queueLength);
    m_calls->setEnabled(true);
    emit clientLeft();
}
