#include "versionquery.h"

#include "devicecatalogue.h"
#include "discoverylog.h"

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QHostAddress>
#include <QNetworkProxy>
#include <QStringList>
#include <QTcpSocket>
#include <QTimer>

#include <algorithm>

namespace {

// What is known of a module before anything is asked over TCP. It says nothing of its mask and
// gateway, so they carry what the modules leave the factory with.
Device_t moduleRecord(const Device_t &module)
{
    Device_t device;
    device[Code] = QStringLiteral("4100");
    device[Mac] = module[Mac].toUpper();
    device[Ip] = module[Ip];
    device[Netmask] = QStringLiteral("255.255.255.0");
    device[Gateway] = QStringLiteral("192.168.0.1");
    device[Dhcp] = QStringLiteral("NA");
    return device;
}

// One conversation with the instrument behind a module: we send a command line, it answers a line.
class Conversation
{
public:
    Conversation(const TcpWaits &waits, const std::atomic_bool &stopped) : m_waits(waits), m_stopped(stopped)
    {
        m_socket.setProxy(QNetworkProxy::NoProxy);
        m_socket.setReadBufferSize(maxLineSize);
    }

    // In an event loop: the socket's own wait cannot be taken in turns, it gives up after the first one.
    bool open(const QHostAddress &address, quint16 port)
    {
        QEventLoop loop;
        QTimer timer;
        QObject::connect(&timer, &QTimer::timeout, &loop, &QEventLoop::quit);
        QObject::connect(&m_socket, &QAbstractSocket::stateChanged, &loop, &QEventLoop::quit);
        const QDeadlineTimer patience(m_waits.connected);
        m_socket.connectToHost(address, port);
        while (m_socket.state() == QAbstractSocket::ConnectingState && !patience.hasExpired() && !m_stopped) {
            timer.start(static_cast<int>(std::min(turn, patience.remainingTime())));
            loop.exec();
        }
        return m_socket.state() == QAbstractSocket::ConnectedState;
    }

    QString ask(const QByteArray &command)
    {
        m_socket.write(command);
        m_socket.waitForBytesWritten(m_waits.written);
        const QByteArray reply = readLine();
        qCDebug(discoveryLog) << m_socket.peerAddress() << "was asked" << command << "and answered"
                              << reply.left(200);
        return QString::fromLatin1(reply.constData()).trimmed(); // up to the first NUL
    }

private:
    // A wait is taken in turns of so many milliseconds, so that a stop is noticed.
    static constexpr qint64 turn = 100;

    // Whatever came with the carriage return or, when a wait ran out, without one.
    QByteArray readLine()
    {
        QByteArray line;
        QElapsedTimer clock;
        clock.start();
        const qint64 lineWait = qint64(lineWaits) * m_waits.read;
        while (!line.contains('\r') && line.size() < maxLineSize) {
            const qint64 left = lineWait - clock.elapsed();
            if (!waitForBytes(std::min<qint64>(m_waits.read, left))) {
                break;
            }
            line += m_socket.read(maxLineSize - line.size());
        }
        return line;
    }

    bool waitForBytes(qint64 ms)
    {
        QElapsedTimer clock;
        clock.start();
        while (m_socket.bytesAvailable() == 0) {
            const qint64 left = ms - clock.elapsed();
            if (left <= 0 || m_stopped || m_socket.state() != QAbstractSocket::ConnectedState) {
                return false;
            }
            m_socket.waitForReadyRead(static_cast<int>(std::min(turn, left)));
        }
        return true;
    }

    const TcpWaits &m_waits;
    const std::atomic_bool &m_stopped;
    QTcpSocket m_socket;
};

// #MVER:ROVAN-MOTOR:x:1.07 is a motor driver with firmware 1.07.
bool isMotorDriver(const QStringList &parts)
{
    return parts.size() == 4 && parts.at(0) == QLatin1String("#MVER") &&
           parts.at(1) == QLatin1String("ROVAN-MOTOR");
}

} // namespace

Device_t queryVersion(const Device_t &module, const TcpWaits &waits, const std::atomic_bool &stopped,
                      quint16 port)
{
    Device_t device = moduleRecord(module);
    if (stopped) {
        return device;
    }
    Conversation conversation(waits, stopped);
    if (!conversation.open(QHostAddress(device[Ip]), port)) {
        qCDebug(discoveryLog) << device[Ip] << "does not connect";
        return device;
    }
    const QString version = conversation.ask(QByteArrayLiteral("MVER\r\n"));
    if (!version.startsWith(QLatin1String("#MVER"))) {
        return device;
    }
    const QStringList parts = version.split(QLatin1Char(':'), Qt::SkipEmptyParts);
    if (isMotorDriver(parts)) {
        device[Code] = QStringLiteral("4200");
        device[Fw] = parts.at(3);
        const QString serial = conversation.ask(QByteArrayLiteral("MRG:22\r\n"));
        device[Sn] = serial;
        device[Id] = serial;
    }
    device[Family] = devicecatalogue::group(device[Code]);
    device[Device] = devicecatalogue::desc(device[Code]);
    return device;
}
