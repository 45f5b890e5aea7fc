#include "waits.h"

#include <QDeadlineTimer>
#include <QEventLoop>
#include <QNetworkProxy>
#include <QTcpSocket>
#include <QThread>
#include <QTimer>

#include <algorithm>

namespace {

using waits::milliseconds;

// A stop condition wakes nobody, so it is looked at this often.
constexpr milliseconds slice{100};

milliseconds remaining(const QDeadlineTimer &deadline, const StopCondition &stop)
{
    const milliseconds left{deadline.remainingTime()};
    return stop.canBeMet() ? std::min(left, slice) : left;
}

// Calls `wait` for parts of the bound until it succeeds, the connection is gone or time is up.
template <typename Wait>
bool inSlices(const QTcpSocket &socket, milliseconds bound, const StopCondition &stop, Wait wait)
{
    const QDeadlineTimer deadline(bound);
    do {
        if (wait(static_cast<int>(remaining(deadline, stop).count()))) {
            return true;
        }
    } while (socket.state() == QAbstractSocket::ConnectedState && !deadline.hasExpired() && !stop.isMet());
    return false;
}

// Waits for one attempt to connect: true when the connection stands. waitForConnected() gives an
// attempt up when its time is over, so it cannot be called for parts of the bound; an event loop can.
bool settles(const QTcpSocket &socket, const QDeadlineTimer &deadline, const StopCondition &stop)
{
    QEventLoop loop;
    QTimer look;
    QObject::connect(&look, &QTimer::timeout, &loop, &QEventLoop::quit);
    QObject::connect(&socket, &QAbstractSocket::stateChanged, &loop, &QEventLoop::quit);
    while (socket.state() != QAbstractSocket::ConnectedState &&
           socket.state() != QAbstractSocket::UnconnectedState && !deadline.hasExpired() && !stop.isMet()) {
        look.start(remaining(deadline, stop));
        loop.exec();
    }
    return socket.state() == QAbstractSocket::ConnectedState;
}

} // namespace

StopCondition::StopCondition(Interruption rule)
{
    if (rule == Interruption::Honoured) {
        m_predicate = [] { return QThread::currentThread()->isInterruptionRequested(); };
    }
}

bool waits::interrupted(Interruption rule)
{
    return StopCondition(rule).isMet();
}

bool waits::forConnection(QTcpSocket &socket, const QString &host, quint16 port, milliseconds bound,
                          const StopCondition &stop, WhenRefused refusal)
{
    const QDeadlineTimer deadline(bound);
    socket.setProxy(QNetworkProxy::NoProxy); // a desktop's proxy leads elsewhere
    socket.connectToHost(host, port);
    while (!settles(socket, deadline, stop)) {
        const bool refused = socket.error() == QAbstractSocket::ConnectionRefusedError;
        socket.abort();
        if (!refused || refusal == WhenRefused::IsAnswer || deadline.hasExpired() || stop.isMet()) {
            return false;
        }
        pause(std::min(slice, milliseconds(deadline.remainingTime())), stop);
        socket.connectToHost(host, port);
    }
    return true;
}

bool waits::forNewData(QTcpSocket &socket, milliseconds bound, const StopCondition &stop)
{
    return inSlices(socket, bound, stop, [&socket](int ms) { return socket.waitForReadyRead(ms); });
}

bool waits::forData(QTcpSocket &socket, milliseconds bound, const StopCondition &stop)
{
    return socket.bytesAvailable() > 0 || forNewData(socket, bound, stop);
}

bool waits::forWritten(QTcpSocket &socket, milliseconds bound, const StopCondition &stop)
{
    return inSlices(socket, bound, stop, [&socket](int ms) {
        return socket.bytesToWrite() == 0 || (socket.waitForBytesWritten(ms) && socket.bytesToWrite() == 0);
    });
}

void waits::pause(milliseconds duration, const StopCondition &stop)
{
    const QDeadlineTimer deadline(duration, Qt::PreciseTimer);
    while (!deadline.hasExpired() && !stop.isMet()) {
        QThread::msleep(static_cast<unsigned long>(remaining(deadline, stop).count()));
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
