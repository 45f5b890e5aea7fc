#pragma once

#include "labprocess.h"

#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <QTcpSocket>

// A virtual motor driver for a test, and connections to work it without the program.
namespace motorbench {

extern const char mac[];
extern const char address[];
constexpr quint16 setupPort = 9999;
constexpr quint16 gpioPort = 30704;
constexpr quint16 tunnelPort = 10001;
constexpr int flashBytes = 2 * 0x11000;

QByteArray zeros(int count);

// The instrument, with these keys in its "motor" object.
QJsonObject driver(const QJsonObject &motor, int restartMs = 300);

// A connection to the motor driver, with blocking calls.
class Client
{
public:
    explicit Client(quint16 port, const char *host = address);

    bool isConnected() const { return m_socket.state() == QAbstractSocket::ConnectedState; }
    bool isRefused() const { return m_socket.error() == QAbstractSocket::ConnectionRefusedError; }
    bool isDropped(); // waits for it

    void send(const QByteArray &bytes);

    // Reads until `end` stands at the end of what came since the last call; everything that came,
    // without that end when the connection ended or nothing more came.
    QByteArray until(const QByteArray &end);
    QByteArray exchange(const QByteArray &bytes, const QByteArray &end);
    QByteArray rest(); // what is there

    void hangUp() { m_socket.disconnectFromHost(); }

private:
    QTcpSocket m_socket;
    QByteArray m_received;
};

// The lab with one motor driver that loses no time, unless `motor` says otherwise.
class MotorLab : public LabProcess
{
    Q_OBJECT

public:
    void startDriver(const char *motor = "{}", int restartMs = 300);
    void order(const char *command, QJsonObject fields = {});
    QByteArray dump(const QString &dsp); // its flash; the test fails when there is none to be had

private:
    QTemporaryDir m_dumps;
};

} // namespace motorbench
