#pragma once

#include "labprocess.h"

#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <QTcpSocket>

// A virtual motor driver for a test, and hands to work it without the program: its menu, its pins and
// the packets of its flash program.
namespace motorbench {

extern const char mac[];
extern const char address[];
constexpr quint16 setupPort = 9999;
constexpr quint16 gpioPort = 30704;
constexpr quint16 tunnelPort = 10001;
constexpr int flashBytes = 2 * 0x11000;

// A boot loader image with a data record, and so one that a DSP runs.
QByteArray image();

// The last bytes of a screen that ends with a line, and of the main menu.
QByteArray lineEnd();
QByteArray menuEnd();

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
    bool isDropped(int patienceMs = 10000); // waits for it

    void send(const QByteArray &bytes);

    // Reads until `end` stands at the end of what came since the last call; everything that came,
    // without that end when the connection ended or nothing more came.
    QByteArray until(const QByteArray &end);
    QByteArray exchange(const QByteArray &bytes, const QByteArray &end);
    QByteArray rest(); // what is there

    void hangUp() { m_socket.disconnectFromHost(); }
    QString errorText() const { return m_socket.errorString(); }

private:
    QTcpSocket m_socket;
    QByteArray m_received;
};

// A connection to the setup port, in the main menu.
class Setup : public Client
{
public:
    Setup();
    void typeBaudrate(const QByteArray &rate); // and back to the main menu
};

// Through the menu to another speed, as a person in a hurry types it. True when it was stored and the
// module restarts.
bool setBaudrate(const QByteArray &rate);

// Reset, and then these pins: "05" for the Communication DSP, "06" for the Control DSP, "07" to run.
bool setPins(const char *pins);

// 256 words that are all different, other ones for another `page`.
QByteArray pageWords(int page);

QByteArray erasePacket();
QByteArray pagePackets(const char *wordAddress, const QByteArray &words); // six hexadecimal digits

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
