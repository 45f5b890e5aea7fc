#include "scansocket.h"

#include "discoverylog.h"
#include "replydecoder.h"

#include <QNetworkProxy>
#include <QUdpSocket>

#include <array>

namespace {

constexpr int receiveBufferSize = 4 * 1024 * 1024;

} // namespace

namespace scansocket {

std::unique_ptr<QUdpSocket> make()
{
    auto socket = std::make_unique<QUdpSocket>();
    socket->setProxy(QNetworkProxy::NoProxy);
    return socket;
}

bool bind(QUdpSocket &socket, const QHostAddress &address, quint16 port)
{
    if (!socket.bind(address, port, QUdpSocket::ShareAddress | QUdpSocket::ReuseAddressHint)) {
        qCDebug(discoveryLog) << "cannot bind" << address << port << socket.errorString();
        return false;
    }
    socket.setSocketOption(QAbstractSocket::ReceiveBufferSizeSocketOption, receiveBufferSize);
    return true;
}

bool send(QUdpSocket &socket, const QByteArray &datagram, const QHostAddress &address, quint16 port)
{
    const bool sent = socket.writeDatagram(datagram, address, port) == datagram.size();
    qCDebug(discoveryLog) << socket.localAddress() << (sent ? "sent" : "could not send") << datagram << "to"
                          << address << port;
    return sent;
}

void read(QUdpSocket &socket, int atMost, const DatagramHandler &handle)
{
    if (socket.state() == QAbstractSocket::UnconnectedState) {
        return; // not bound
    }
    // At least one read, whatever is said to be pending: a socket that was announced and not read
    // is never announced again.
    std::array<char, replydecoder::maxReplySize> buffer;
    do {
        QHostAddress sender;
        const qint64 size = socket.readDatagram(buffer.data(), buffer.size(), &sender);
        if (size >= 0) {
            const auto datagram = QByteArray::fromRawData(buffer.data(), static_cast<int>(size));
            qCDebug(discoveryLog) << sender << "sent" << size << "bytes:" << datagram.left(200);
            handle(datagram, sender);
        }
    } while (--atMost > 0 && socket.hasPendingDatagrams());
}

} // namespace scansocket
