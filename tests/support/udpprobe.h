#pragma once

#include <QByteArray>
#include <QString>
#include <QUdpSocket>

#include <optional>

// A UDP socket of the workstation, for tests that look at bare datagrams: what comes back, from which
// address and port. It waits without an event loop.
class UdpProbe
{
public:
    static constexpr int replyTimeoutMs = 5000;

    struct Reply
    {
        QByteArray bytes;
        QString from;
        quint16 port = 0;
    };

    // Bound to an address of the workstation, which also chooses the cable of its broadcasts.
    explicit UdpProbe(const QString &address);

    void send(const QByteArray &bytes, const QString &to, quint16 port);

    // The next datagram, or nothing within the time.
    std::optional<Reply> receive();

private:
    QUdpSocket m_socket;
};
