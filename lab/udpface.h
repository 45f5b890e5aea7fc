#pragma once

#include <QByteArray>
#include <QObject>
#include <QQueue>
#include <QSocketNotifier>
#include <QString>

#include <memory>

// One UDP datagram with everything that decides who hears it. Addresses are host-order numbers.
struct Datagram
{
    QByteArray bytes;
    quint32 from = 0;
    quint16 fromPort = 0;
    quint32 to = 0;
    quint16 toPort = 0;
    int interfaceIndex = 0; // of the cable it comes from or leaves by
};

// All instruments' UDP socket of one port. It is bound to every address of the lab host and learns
// from the kernel at which address and on which cable each datagram came; what it sends leaves from
// the address and by the cable that the sender names. A plain socket rather than Qt's, because a send
// that the kernel has no room for must wait its turn instead of being lost.
class UdpFace : public QObject
{
    Q_OBJECT

public:
    explicit UdpFace(quint16 port, QObject *parent = nullptr);
    ~UdpFace() override;

    // False, and `error` says why, when the port is not to be had.
    bool open(QString *error);

    quint16 port() const { return m_port; }

    // From `from` and this port. Order is kept; what the kernel refuses for good is reported by
    // sendFailed.
    void send(const Datagram &datagram);

signals:
    void received(const Datagram &datagram);
    void sendFailed(const Datagram &datagram, const QString &reason);

private:
    enum class Sent { Yes, Later, Never };

    void readPending();
    void sendWaiting();
    Sent trySend(const Datagram &datagram);

    quint16 m_port;
    int m_socket = -1;
    std::unique_ptr<QSocketNotifier> m_readable;
    std::unique_ptr<QSocketNotifier> m_writable;
    QQueue<Datagram> m_waiting;
};
