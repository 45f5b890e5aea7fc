#include "gpioport.h"

GpioPort::GpioPort(GpioPins &pins, int wrongAnswerAt, QObject *parent)
    : QObject(parent), m_pins(pins), m_wrongAnswerAt(wrongAnswerAt)
{
    connect(&m_server, &QTcpServer::newConnection, this, &GpioPort::accept);
}

GpioPort::~GpioPort()
{
    blockSignals(true); // whoever listens may be half gone
    close();
}

bool GpioPort::open(const QHostAddress &address, quint16 port)
{
    m_port = port;
    return m_server.listen(address, port);
}

void GpioPort::close()
{
    m_server.close();
    const QList<QTcpSocket *> sockets = m_clients.keys();
    for (QTcpSocket *const socket : sockets) {
        socket->abort();
    }
}

void GpioPort::accept()
{
    while (QTcpSocket *const socket = m_server.nextPendingConnection()) {
        m_clients.insert(socket, {});
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] { read(socket); });
        connect(socket, &QTcpSocket::disconnected, this, [this, socket] { forget(socket); });
        report(QStringLiteral("connected"), *socket);
    }
}

void GpioPort::forget(QTcpSocket *socket)
{
    m_clients.remove(socket);
    socket->deleteLater();
    report(QStringLiteral("disconnected"), *socket);
}

void GpioPort::report(const QString &event, const QTcpSocket &socket)
{
    emit happened(
        event, {{QStringLiteral("peer"), socket.peerAddress().toString()}, {QStringLiteral("port"), m_port}});
}

void GpioPort::read(QTcpSocket *socket)
{
    Client &client = m_clients[socket];
    client.received += socket->readAll();
    while (client.received.size() >= GpioPins::commandBytes) {
        const QByteArray command = client.received.left(GpioPins::commandBytes);
        client.received.remove(0, command.size());
        socket->write(answer(command, ++client.commands));
    }
}

QByteArray GpioPort::answer(const QByteArray &command, int number)
{
    const bool wrong = number == m_wrongAnswerAt;
    GpioPins disobedient = m_pins;
    QByteArray reply = (wrong ? disobedient : m_pins).obey(command);
    if (wrong && reply.size() > 1) {
        reply[1] = char(reply.at(1) ^ 0x07);
    }
    emit happened(QStringLiteral("gpioCommand"),
                  {{QStringLiteral("bytes"), QString::fromLatin1(command.toHex())},
                   {QStringLiteral("answer"), QString::fromLatin1(reply.toHex())}});
    emit changed();
    return reply;
}
