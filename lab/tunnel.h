#pragma once

#include "moduleservice.h"
#include "serialpartner.h"
#include "tunnelspec.h"

#include <QTcpServer>
#include <QTcpSocket>

#include <memory>

class EventLog;

// A module's serial tunnel, TCP 10001: what a client writes goes to the instrument behind the module,
// and back. An instrument with a network interface of its own has the same port. There is one client at a
// time; while it is there nobody listens, so that a second one is refused, as the module does it.
//
// Events: "connected" and "disconnected" with peer and port, "accepted" when a client is only closed.
class Tunnel : public ModuleService
{
    Q_OBJECT

public:
    static constexpr quint16 usualPort = 10001;

    // `mac` is the module's, for the events.
    Tunnel(std::unique_ptr<SerialPartner> partner, TunnelSpec::Manner manner, EventLog &log,
           const QString &mac, quint16 port = usualPort);
    ~Tunnel() override;

    bool start(quint32 address) override;
    void stop() override;

private:
    void welcome();
    void read();
    void write(const QByteArray &bytes);
    void reset();
    void clientGone();
    bool listen();
    void report(const QString &event, const QTcpSocket &client);

    std::unique_ptr<SerialPartner> m_partner;
    TunnelSpec::Manner m_manner;
    EventLog &m_log;
    QString m_mac;
    quint16 m_port;
    QTcpServer m_server;
    QTcpSocket *m_client = nullptr; // child of the server
    quint32 m_address = 0;
    bool m_started = false;
};
