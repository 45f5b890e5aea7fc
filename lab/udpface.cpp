#include "udpface.h"

#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <cstring>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int bufferBytes = 4 * 1024 * 1024;
constexpr std::size_t largestDatagram = 65536;
constexpr int datagramsPerTurn = 512; // then timers and other sockets get their turn

// The "force" options pass the system's limit; they need the right to administer the network, which
// the lab host gives. Where it does not, the limit has to do.
void enlarge(int socket, int force, int polite)
{
    if (setsockopt(socket, SOL_SOCKET, force, &bufferBytes, sizeof bufferBytes) != 0) {
        setsockopt(socket, SOL_SOCKET, polite, &bufferBytes, sizeof bufferBytes);
    }
}

sockaddr_in socketAddress(quint32 address, quint16 port)
{
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_addr.s_addr = htonl(address);
    result.sin_port = htons(port);
    return result;
}

// Room for one IP_PKTINFO message, aligned as its header wants.
struct alignas(cmsghdr) ControlSpace
{
    std::array<char, CMSG_SPACE(sizeof(in_pktinfo))> bytes{};
};

struct Message
{
    Message(sockaddr_in *peer, void *data, std::size_t size) : part{data, size}
    {
        header.msg_name = peer;
        header.msg_namelen = sizeof *peer;
        header.msg_iov = &part;
        header.msg_iovlen = 1;
        header.msg_control = control.bytes.data();
        header.msg_controllen = control.bytes.size();
    }

    iovec part;
    ControlSpace control;
    msghdr header{};
};

void readPacketInfo(msghdr &header, Datagram &datagram)
{
    for (cmsghdr *info = CMSG_FIRSTHDR(&header); info != nullptr; info = CMSG_NXTHDR(&header, info)) {
        if (info->cmsg_level == IPPROTO_IP && info->cmsg_type == IP_PKTINFO) {
            in_pktinfo packet{};
            std::memcpy(&packet, CMSG_DATA(info), sizeof packet);
            datagram.to = ntohl(packet.ipi_addr.s_addr);
            datagram.interfaceIndex = packet.ipi_ifindex;
        }
    }
}

void writePacketInfo(msghdr &header, const Datagram &datagram)
{
    in_pktinfo packet{};
    packet.ipi_ifindex = datagram.interfaceIndex;
    packet.ipi_spec_dst.s_addr = htonl(datagram.from);
    cmsghdr *info = CMSG_FIRSTHDR(&header);
    info->cmsg_level = IPPROTO_IP;
    info->cmsg_type = IP_PKTINFO;
    info->cmsg_len = CMSG_LEN(sizeof packet);
    std::memcpy(CMSG_DATA(info), &packet, sizeof packet);
}

QString systemError()
{
    return QString::fromLocal8Bit(std::strerror(errno));
}

} // namespace

UdpFace::UdpFace(quint16 port, QObject *parent) : QObject(parent), m_port(port) {}

UdpFace::~UdpFace()
{
    m_readable.reset();
    m_writable.reset();
    if (m_socket >= 0) {
        ::close(m_socket);
    }
}

bool UdpFace::open(QString *error)
{
    constexpr int on = 1;
    m_socket = ::socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    const sockaddr_in any = socketAddress(INADDR_ANY, m_port);
    // Not shared: a second lab on this host would take half of the datagrams.
    if (m_socket < 0 || setsockopt(m_socket, IPPROTO_IP, IP_PKTINFO, &on, sizeof on) != 0 ||
        ::bind(m_socket, reinterpret_cast<const sockaddr *>(&any), sizeof any) != 0) {
        *error = QStringLiteral("UDP port %1: %2").arg(m_port).arg(systemError());
        return false;
    }
    enlarge(m_socket, SO_RCVBUFFORCE, SO_RCVBUF);
    enlarge(m_socket, SO_SNDBUFFORCE, SO_SNDBUF);
    m_readable = std::make_unique<QSocketNotifier>(m_socket, QSocketNotifier::Read);
    m_writable = std::make_unique<QSocketNotifier>(m_socket, QSocketNotifier::Write);
    m_writable->setEnabled(false);
    connect(m_readable.get(), &QSocketNotifier::activated, this, &UdpFace::readPending);
    connect(m_writable.get(), &QSocketNotifier::activated, this, &UdpFace::sendWaiting);
    return true;
}

void UdpFace::readPending()
{
    static std::array<char, largestDatagram> buffer;
    for (int i = 0; i < datagramsPerTurn; ++i) {
        sockaddr_in peer{};
        Message message(&peer, buffer.data(), buffer.size());
        const ssize_t size = ::recvmsg(m_socket, &message.header, 0);
        if (size < 0) {
            if (errno == EINTR) {
                continue;
            }
            return;
        }
        Datagram datagram{QByteArray(buffer.data(), static_cast<int>(size)),
                          ntohl(peer.sin_addr.s_addr),
                          ntohs(peer.sin_port),
                          0,
                          m_port,
                          0};
        readPacketInfo(message.header, datagram);
        emit received(datagram);
    }
}

void UdpFace::send(const Datagram &datagram)
{
    if (!m_waiting.isEmpty() || trySend(datagram) == Sent::Later) {
        m_waiting.enqueue(datagram);
        m_writable->setEnabled(true);
    }
}

void UdpFace::sendWaiting()
{
    while (!m_waiting.isEmpty() && trySend(m_waiting.head()) != Sent::Later) {
        m_waiting.dequeue();
    }
    m_writable->setEnabled(!m_waiting.isEmpty());
}

UdpFace::Sent UdpFace::trySend(const Datagram &datagram)
{
    sockaddr_in peer = socketAddress(datagram.to, datagram.toPort);
    QByteArray bytes = datagram.bytes;
    Message message(&peer, bytes.data(), static_cast<std::size_t>(bytes.size()));
    writePacketInfo(message.header, datagram);
    while (::sendmsg(m_socket, &message.header, 0) < 0) {
        if (errno == EAGAIN || errno == EWOULDBLOCK || errno == ENOBUFS) {
            return Sent::Later;
        }
        if (errno != EINTR) {
            emit sendFailed(datagram, systemError());
            return Sent::Never;
        }
    }
    return Sent::Yes;
}
