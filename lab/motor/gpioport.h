#pragma once

#include "gpiopins.h"

#include <QHash>
#include <QJsonObject>
#include <QObject>
#include <QTcpServer>
#include <QTcpSocket>

// The module's control port for its pins, TCP 30704, for any number of clients; MotorDriver owns it
// and the pins. A command may come in any number of segments.
//
// Events: "connected" and "disconnected" with peer and port; "gpioCommand" with bytes and answer.
class GpioPort : public QObject
{
    Q_OBJECT

public:
    static constexpr quint16 defaultPort = 30704;

    // `wrongAnswerAt`: which command of a connection, from 1 on, is not obeyed and answered wrong; 0: none.
    GpioPort(GpioPins &pins, int wrongAnswerAt, QObject *parent = nullptr);
    ~GpioPort() override;

    bool open(const QHostAddress &address, quint16 port);
    void close(); // drops all connections

signals:
    void changed(); // the pins may have
    void happened(const QString &event, const QJsonObject &fields);

private:
    struct Client
    {
        QByteArray received;
        int commands = 0;
    };

    void accept();
    void forget(QTcpSocket *socket);
    void report(const QString &event, const QTcpSocket &socket);
    void read(QTcpSocket *socket);
    QByteArray answer(const QByteArray &command, int number);

    GpioPins &m_pins;
    int m_wrongAnswerAt;
    quint16 m_port = 0;
    QTcpServer m_server;
    QHash<QTcpSocket *, Client> m_clients;
};
