#include "udpprobe.h"

#include <QHostAddress>
#include <QNetworkDatagram>

UdpProbe::UdpProbe(const QString &address)
{
    m_socket.bind(QHostAddress(address));
}

void UdpProbe::send(const QByteArray &bytes, const QString &to, quint16 port)
{
    m_socket.writeDatagram(bytes, QHostAddress(to), port);
}

std::optional<UdpProbe::Reply> UdpProbe::receive()
{
    if (!m_socket.hasPendingDatagrams() && !m_socket.waitForReadyRead(replyTimeoutMs)) {
        return std::nullopt;
    }
    const QNetworkDatagram datagram = m_socket.receiveDatagram();
    return Reply{datagram.data(), datagram.senderAddress().toString(),
                 static_cast<quint16>(datagram.senderPort())};
}
