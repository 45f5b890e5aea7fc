#pragma once

#include "eventlog.h"
#include "pacedbytes.h"

#include <QByteArray>
#include <QHostAddress>
#include <QObject>
#include <QTcpServer>
#include <QTcpSocket>

#include <functional>

// A TCP port that serves one client at a time. What a second one meets is chosen: either nobody listens
// while there is a client, so that it is refused; or it finds its connection reset as soon as it has
// one. In this case whoever hangs up and calls again at once gets through, which is why the port goes
// on listening and asks the kernel whether its client is still there.
//
// Events: "connected", "disconnected" and, a second one, "refused", with peer and port; "connectionCut"
// with port and bytes.
class ClientPort : public QObject
{
    Q_OBJECT

public:
    enum class Second { Refused, Reset };

    ClientPort(Second second, const EventLog &log);
    ~ClientPort() override;

    // How what is sent travels. At once and whole, unless it is said.
    void setPace(const Pace &pace) { m_output.setPace(pace); }

    // Resets a client's connection after so many bytes from it; only the connection of this number,
    // counted from 1, unless that is 0.
    void setCut(int afterBytes, int connection = 0);

    // `appetite` says how many bytes may be taken now; no more than about `window` of the others wait
    // here, so that a client feels how slow it goes. 0: as many as come.
    void setAppetite(const std::function<int()> &appetite, int window);

    // Listens at an address, a host-order number. False when the port is not to be had.
    bool open(quint32 address, quint16 port);

    // Resets the client's connection and listens no more.
    void close();

    bool hasClient() const { return m_client != nullptr; }
    void send(const QByteArray &bytes); // lost when there is no client
    void hangUp();                      // what was written still arrives
    void reset();                       // the client finds its connection broken

    // Takes what waits: the appetite has grown.
    void pull();

signals:
    void clientArrived();
    void received(const QByteArray &bytes);
    void clientLeft();

private:
    bool listen() { return m_server.listen(QHostAddress(m_address), m_port); }
    void accept();
    void serve(QTcpSocket *client);
    void take(const QByteArray &bytes);
    void write(const QByteArray &bytes);
    void endClient();
    void report(const char *event, const QTcpSocket &client) const;

    Second m_second;
    EventLog m_log;
    QTcpServer m_server;
    QTcpSocket *m_client = nullptr; // child of the server
    quint32 m_address = 0;
    quint16 m_port = 0;
    bool m_isOpen = false;
    PacedBytes m_output;
    std::function<int()> m_appetite;
    int m_window = 0;
    int m_cutAfter = 0; // 0: never
    int m_cutConnection = 0;
    int m_connection = 0; // counted from 1
    int m_received = 0;   // bytes of this connection
};
