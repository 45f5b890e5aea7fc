#include "waits.h"

#include <QDeadlineTimer>
#include <QEventLoop>
#include <QTcpSocket>
#include <QThread>
#include <QTimer>

#include <algorithm>

namespace {

using waits::milliseconds;

// A request to interrupt a thread wakes nobody, so it is looked for this often.
constexpr milliseconds slice{100};

milliseconds remaining(const QDeadlineTimer &deadline, Interruption rule)
{
    const milliseconds left{deadline.remainingTime()};
    return rule == Interruption::Honoured ? std::min(left, slice) : left;
}

// Calls `wait` for parts of the bound until it succeeds, the connection is gone or time is up.
template <typename Wait>
bool inSlices(const QTcpSocket &socket, milliseconds bound, Interruption rule, Wait wait)
{
    const QDeadlineTimer deadline(bound);
    do {
        if (wait(static_cast<int>(remaining(deadline, rule).count()))) {
            return true;
        }
    } while (socket.state() == QAbstractSocket::ConnectedState && !deadline.hasExpired() &&
             !waits::interrupted(rule));
    return false;
}

// Waits for one attempt to connect: true when the connection stands. waitForConnected() gives an
// attempt up when its time is over, so it cannot be called for parts of the bound; an event loop can.
bool settles(const QTcpSocket &socket, const QDeadlineTimer &deadline, Interruption rule)
{
    QEventLoop loop;
    QTimer look;
    QObject::connect(&look, &QTimer::timeout, &loop, &QEventLoop::quit);
    QObject::connect(&socket, &QAbstractSocket::stateChanged, &loop, &QEventLoop::quit);
    while (socket.state() != QAbstractSocket::ConnectedState &&
           socket.state() != QAbstractSocket::UnconnectedState && !deadline.hasExpired() &&
           !waits::interrupted(rule)) {
        look.start(remaining(deadline, rule));
        loop.exec();
    }
    return socket.state() == QAbstractSocket::ConnectedState;
}

} // namespace

bool waits::interrupted(Interruption rule)
{
    return rule == Interruption::Honoured && QThread::currentThread()->isInterruptionRequested();
}

QString waits::timedOutText()
{
    return QStringLiteral("ERROR: Update timed out!");
}

bool waits::forConnection(QTcpSocket &socket, const QString &host, quint16 port, milliseconds bound,
                          Interruption rule)
{
    const QDeadlineTimer deadline(bound);
    socket.connectToHost(host, port);
    while (!settles(socket, deadline, rule)) {
        const bool refused = socket.error() == QAbstractSocket::ConnectionRefusedError;
        socket.abort();
        if (!refused || deadline.hasExpired() || interrupted(rule)) {
            return false;
        }
        pause(std::min(slice, milliseconds(deadline.remainingTime())), rule);
        socket.connectToHost(host, port);
    }
    return true;
}

bool waits::forNewData(QTcpSocket &socket, milliseconds bound, Interruption rule)
{
    return inSlices(socket, bound, rule, [&socket](int ms) { return socket.waitForReadyRead(ms); });
}

bool waits::forData(QTcpSocket &socket, milliseconds bound, Interruption rule)
{
    return socket.bytesAvailable() > 0 || forNewData(socket, bound, rule);
}

bool waits::forWritten(QTcpSocket &socket, milliseconds bound, Interruption rule)
{
    return inSlices(socket, bound, rule, [&socket](int ms) {
        return socket.bytesToWrite() == 0 || (socket.waitForBytesWritten(ms) && socket.bytesToWrite() == 0);
    });
}

void waits::pause(milliseconds duration, Interruption rule)
{
    const QDeadlineTimer deadline(duration, Qt::PreciseTimer);
    while (!deadline.hasExpired() && !interrupted(rule)) {
        QThread::msleep(static_cast<unsigned long>(remaining(deadline, rule).count()));
    }
}

bool waits::stillConnected(QTcpSocket &socket)
{
    // What was sent before the end of the connection is read first; nobody sends this much here.
    for (int i = 0; i < 16 && socket.waitForReadyRead(0); ++i) {
    }
    return socket.state() == QAbstractSocket::ConnectedState;
}

void waits::close(QTcpSocket &socket)
{
    socket.disconnectFromHost();
    socket.abort();
}
