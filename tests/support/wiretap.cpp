#include "wiretap.h"

#include <QHostAddress>
#include <QtEndian>

#include <arpa/inet.h>
#include <array>
#include <linux/if_packet.h>
#include <net/ethernet.h>
#include <net/if.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int udp = 17;
constexpr int udpHeaderSize = 8;
constexpr int firstChosenPort = 32768;

// Where the parts of a packet are that carries UDP; no size for one that does not.
struct Layout
{
    int headerSize = 0;
    int from = 0;
    int to = 0;
    bool isIpv6 = false;
};

Layout layoutOf(const QByteArray &packet)
{
    const int version = packet.size() < 20 ? 0 : (packet.at(0) & 0xF0) >> 4;
    if (version == 4 && packet.at(9) == udp) {
        return {(packet.at(0) & 0x0F) * 4, 12, 16, false};
    }
    return version == 6 && packet.at(6) == udp ? Layout{40, 8, 24, true} : Layout{};
}

QString endpoint(const QByteArray &packet, const Layout &layout, int addressAt, int portAt)
{
    const char *bytes = packet.constData() + addressAt;
    const QHostAddress address = layout.isIpv6 ? QHostAddress(reinterpret_cast<const quint8 *>(bytes))
                                               : QHostAddress(qFromBigEndian<quint32>(bytes));
    const int port = qFromBigEndian<quint16>(packet.constData() + portAt);
    const QString shown = port < firstChosenPort ? QString::number(port) : QStringLiteral("*");
    return (layout.isIpv6 ? QStringLiteral("[%1]:%2") : QStringLiteral("%1:%2"))
        .arg(address.toString(), shown);
}

// Empty for a packet that does not carry UDP.
QString describe(const QByteArray &packet, const QString &interface)
{
    const Layout layout = layoutOf(packet);
    const int header = layout.headerSize;
    if (header == 0 || packet.size() < header + udpHeaderSize) {
        return {};
    }
    return QStringLiteral("%1 %2 > %3 %4")
        .arg(interface, endpoint(packet, layout, layout.from, header),
             endpoint(packet, layout, layout.to, header + 2),
             QString::fromLatin1(packet.mid(header + udpHeaderSize).toHex()));
}

} // namespace

WireTap::WireTap() : m_socket(socket(AF_PACKET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, htons(ETH_P_ALL)))
{}

WireTap::~WireTap()
{
    if (isOpen()) {
        close(m_socket);
    }
}

QStringList WireTap::take()
{
    QStringList heard;
    std::array<char, 65536> buffer{};
    sockaddr_ll from{};
    socklen_t size = sizeof from;
    ssize_t length = 0;
    while ((length = recvfrom(m_socket, buffer.data(), buffer.size(), 0, reinterpret_cast<sockaddr *>(&from),
                              &size)) >= 0) {
        std::array<char, IF_NAMESIZE> name{};
        if_indextoname(static_cast<unsigned>(from.sll_ifindex), name.data());
        const QString text =
            describe(QByteArray(buffer.data(), static_cast<int>(length)), QString::fromLatin1(name.data()));
        if (from.sll_pkttype == PACKET_OUTGOING && !text.isEmpty()) {
            heard.append(text);
        }
        size = sizeof from;
    }
    return heard;
}
