#include "udpprobe.h"

#include <QHostAddress>
#include <QNetworkDatagram>

#include <sys/socket.h>

namespace {

constexpr int bufferBytes = 4 * 1024 * 1024;
constexpr quint16 discoveryPort = 30719;

} // namespace

UdpProbe::UdpProbe(const QString &address, quint16 port)
{
    m_socket.bind(QHostAddress(address), port);
    // Past the system's limit, which many set so low that a burst of a thousand does not fit.
    setsockopt(static_cast<int>(m_socket.socketDescriptor()), SOL_SOCKET, SO_RCVBUFFORCE, &bufferBytes,
               sizeof bufferBytes);
}

void UdpProbe::send(const QByteArray &bytes, const QString &to, quint16 port)
{
    m_socket.writeDatagram(bytes, QHostAddress(to), port);
}

std::optional<UdpProbe::Reply> UdpProbe::receive(int timeoutMs)
{
    if (!m_socket.hasPendingDatagrams() && !m_socket.waitForReadyRead(timeoutMs)) {
        return std::nullopt;
    }
    const QNetworkDatagram datagram = m_socket.receiveDatagram();
    return Reply{datagram.data(), datagram.senderAddress().toString(),
                 static_cast<quint16>(datagram.senderPort())};
}

QVector<UdpProbe::Reply> UdpProbe::receiveAll(int count)
{
    QVector<Reply> replies;
    while (replies.size() < count) {
        const auto reply = receive();
        if (!reply) {
            break;
        }
        replies.append(*reply);
    }
    return replies;
}

std::optional<QVector<UdpProbe::Reply>> UdpProbe::receiveUntil(const QString &fence, int fenceReplies)
{
    send(QByteArrayLiteral("Quorvex Dev?"), fence, discoveryPort);
    QVector<Reply> replies;
    while (fenceReplies > 0) {
        const auto reply = receive();
        if (!reply) {
            return std::nullopt;
        }
        if (reply->from == fence) {
            --fenceReplies;
        } else {
            replies.append(*reply);
        }
    }
    return replies;
}
