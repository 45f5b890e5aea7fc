#pragma once

#include <QByteArray>
#include <QString>
#include <QUdpSocket>
#include <QVector>

#include <optional>

// A UDP socket of the workstation, for tests that look at bare datagrams: what comes back, from which
// address and port. It waits without an event loop and drops nothing in a burst of thousands.
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
    explicit UdpProbe(const QString &address, quint16 port = 0);

    void send(const QByteArray &bytes, const QString &to, quint16 port);

    // The next datagram, or nothing within the time.
    std::optional<Reply> receive(int timeoutMs = replyTimeoutMs);

    // As many as have come when `count` have, or when none has come for a while.
    QVector<Reply> receiveAll(int count);

    // Everything that comes before the lab's answer to a second question, "Quorvex Dev?" to `fence`,
    // an instrument of this cable that answers at once: what the lab had to say by then. Without the
    // fence's own replies, of which `fenceReplies` are expected in all; nothing if these did not come,
    // since then silence says nothing about the others.
    std::optional<QVector<Reply>> receiveUntil(const QString &fence, int fenceReplies);

private:
    QUdpSocket m_socket;
};
