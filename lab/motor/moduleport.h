#pragma once

#include <QByteArray>
#include <QHostAddress>
#include <QJsonObject>
#include <QObject>
#include <QTcpServer>
#include <QTcpSocket>

#include <memory>

// A TCP port of the module that serves one client at a time: a second one finds its connection reset
// as soon as it has one. Whoever hangs up and calls again at once gets through, though, which is why
// the port goes on listening and asks the kernel whether its client is still there. A client that
// vanishes without a word holds the port until the keepalive gives it up.
//
// Events: "connected", "disconnected" and, a second one, "refused", with peer and port.
class ModulePort : public QObject
{
    Q_OBJECT

public:
    explicit ModulePort(QObject *parent = nullptr);
    ~ModulePort() override;

    // Listens. False when the port is not to be had.
    bool open(const QHostAddress &address, quint16 port, int keepaliveS = 45);

    // Resets the client's connection and listens no more.
    void close();

    bool hasClient() const { return m_client != nullptr; }
    void send(const QByteArray &bytes); // nowhere when there is no client
    void hangUp();                      // what was sent still arrives
    void reset();                       // the client finds its connection broken

signals:
    void clientArrived();
    void received(const QByteArray &bytes);
    void clientLeft();
    void happened(const QString &event, const QJsonObject &fields);

private:
    void accept();
    void serve(QTcpSocket *client);
    void endClient();
    void report(const QString &event, const QTcpSocket &client);

    QTcpServer m_server;
    QTcpSocket *m_client = nullptr; // child of the server
    quint16 m_port = 0;
    int m_keepaliveS = 45;
};
