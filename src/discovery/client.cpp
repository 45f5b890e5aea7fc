#include "client.h"

#include "discoverylog.h"
#include "ipv4address.h"
#include "replydecoder.h"
#include "scansocket.h"
#include "unicastrange.h"

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QMutexLocker>
#include <QScopedValueRollback>
#include <QThreadPool>
#include <QUdpSocket>
#include <QtConcurrent>

#include <algorithm>

namespace {

constexpr quint16 discoveryPort = 30719;
constexpr quint16 serialServerPort = 30718;
constexpr int defaultTcpThreads = 10;
constexpr int waitSteps = 80;

// How often a walk through a range lets events be handled.
constexpr int walkTurnMs = 20;

// Room for the datagrams to about 600 hosts whose hardware address is not known yet: a whole /24
// network goes out at once, and a wider range waits for room instead of overflowing the system's
// table of neighbours (1024 on Linux), which drops datagrams without telling.
constexpr int sendBufferSize = 256 * 1024;

// How long a datagram waits for room on its way out. The system gives up asking for the hardware
// address of a host that is not there after three seconds, and that makes room.
constexpr int roomWaitMs = 6000;

QByteArray discoveryQuery()
{
    return QByteArrayLiteral("Quorvex Dev?");
}

QByteArray serialServerQuery()
{
    return QByteArray::fromHex("000100F6");
}

bool isQueried(const interfaces_t &interface)
{
    return interface.selected && !interface.name.startsWith(QLatin1String("docker")) &&
           interface.ip != QLatin1String("0.0.0.0");
}

// The first record of a MAC address stays.
void removeDuplicates(QList<Device_t> &devices)
{
    QSet<QString> seen;
    const auto isRepeated = [&seen](const Device_t &device) {
        const int before = seen.size();
        seen.insert(device[Mac]);
        return seen.size() == before;
    };
    devices.erase(std::remove_if(devices.begin(), devices.end(), isRepeated), devices.end());
}

} // namespace

Client::Client(QObject *parent)
    : QObject(parent),
      m_startIp(QStringLiteral("192.168.0.1")),
      m_endIp(QStringLiteral("192.168.0.254")),
      m_broadcastSocket(scansocket::make()),
      m_listenSocket(scansocket::make()),
      m_unicastSocket(scansocket::make())
{
    setTcpThreads(defaultTcpThreads);
}

Client::~Client() = default;

void Client::setTcpThreads(int count)
{
    QThreadPool::globalInstance()->setMaxThreadCount(
        std::max(1, count)); // with none, no query would ever run
}

QList<Device_t> Client::scan(const QList<interfaces_t> &interfaces)
{
    if (m_scanning) {
        return {};
    }
    const QScopedValueRollback<bool> scanning(m_scanning, true);
    m_interfacesQueried = 0;
    m_wasStopped = false;
    openSockets();
    if (m_sendUnicast) {
        queryRange();
    }
    for (const interfaces_t &interface : interfaces) {
        if (isQueried(interface) && !m_wait.stopped()) {
            queryInterface(interface);
        }
    }
    collectReplies();
    queryRovanDevices();
    stopListening(); // nothing may be added behind the removal: the last step makes a window handle events
    removeDuplicates(m_devices);
    if (m_wait.stopped()) {
        m_wasStopped = true;
        addProblem(tr("the scan was stopped"));
    }
    emit signalUpdateProgressBar(100);
    closeSockets();
    m_wait.reset();
    return m_devices;
}

void Client::requestStop()
{
    if (m_scanning) {
        m_wait.stop();
    }
}

void Client::clearDevices()
{
    const QMutexLocker lock(&m_devicesMutex);
    m_devices.clear();
}

// The listen socket hears before anything is asked.
void Client::openSockets()
{
    m_listenSocket = scansocket::make();
    m_unicastSocket = scansocket::make();
    m_answeredUnicast.clear();
    m_problems.clear();
    {
        const QMutexLocker lock(&m_serialServersMutex);
        m_serialServers.clear();
    }
    connect(m_listenSocket.get(), &QUdpSocket::readyRead, this, &Client::onNewResponse);
    connect(m_unicastSocket.get(), &QUdpSocket::readyRead, this, &Client::onHandleUnicastResponse);
    emit signalUpdateProgressBar(0);
    if (!scansocket::bind(*m_listenSocket, QHostAddress(QHostAddress::AnyIPv4), discoveryPort)) {
        addProblem(tr("UDP port %1").arg(discoveryPort), *m_listenSocket);
    }
}

void Client::stopListening()
{
    m_listenSocket->disconnect(this);
    m_unicastSocket->disconnect(this);
    for (const auto &socket : m_serialServerSockets) {
        socket->disconnect(this);
    }
}

void Client::closeSockets()
{
    m_listenSocket->close();
    m_unicastSocket->close();
    m_serialServerSockets.clear();
}

// Back to back: nothing but a full send buffer slows the walk down.
void Client::queryRange()
{
    if (!scansocket::bind(*m_unicastSocket, QHostAddress(QHostAddress::AnyIPv4), 0)) {
        addProblem(tr("unicast"), *m_unicastSocket);
        return;
    }
    m_unicastSocket->setSocketOption(QAbstractSocket::SendBufferSizeSocketOption, sendBufferSize);
    QDeadlineTimer turn(walkTurnMs);
    visitUnicastAddresses(m_startIp, m_endIp, [this, &turn](quint32 address) {
        if (turn.hasExpired()) {
            m_wait.run(0);
            turn.setRemainingTime(walkTurnMs);
        }
        return !m_wait.stopped() && queryAddress(address);
    });
}

// False when the network takes no more. An address without a route is passed over.
bool Client::queryAddress(quint32 address)
{
    const QHostAddress to(address);
    const QDeadlineTimer patience(roomWaitMs);
    while (!scansocket::send(*m_unicastSocket, discoveryQuery(), to, discoveryPort)) {
        if (m_unicastSocket->error() != QAbstractSocket::TemporaryError) {
            return true;
        }
        if (patience.hasExpired()) {
            addProblem(tr("unicast from %1 on").arg(to.toString()), *m_unicastSocket);
            return false;
        }
        if (!m_wait.run(1)) {
            return false;
        }
    }
    return true;
}

void Client::queryInterface(const interfaces_t &interface)
{
    const auto address = parseIpv4Address(interface.ip);
    const auto netmask = parseIpv4Address(interface.netmask);
    if (address && broadcastQuery(interface.name, QHostAddress(*address)) && netmask) {
        querySerialServers(interface.name, QHostAddress(*address),
                           QHostAddress((*address & *netmask) | ~*netmask));
    }
}

// Replies come to this very address and port, and a socket bound to it would take them away from
// the listen socket. Connected to the broadcast address it takes datagrams from nobody; what came
// between binding and connecting is read here.
// False when the address cannot be bound.
bool Client::broadcastQuery(const QString &name, const QHostAddress &address)
{
    QUdpSocket &socket = *m_broadcastSocket;
    if (!scansocket::bind(socket, address, discoveryPort)) {
        addProblem(name, socket);
        return false;
    }
    const QHostAddress everyone(QHostAddress::Broadcast);
    socket.connectToHost(everyone, discoveryPort, QIODevice::ReadWrite | QIODevice::Unbuffered);
    if (scansocket::send(socket, discoveryQuery(), everyone, discoveryPort)) {
        ++m_interfacesQueried;
    } else {
        addProblem(name, socket);
    }
    scansocket::read(
        socket, scansocket::everything,
        [this](const QByteArray &datagram, const QHostAddress &) { takeDiscoveryReply(datagram); });
    socket.close();
    return true;
}

void Client::querySerialServers(const QString &name, const QHostAddress &address,
                                const QHostAddress &broadcast)
{
    auto socket = scansocket::make();
    if (!scansocket::bind(*socket, address, serialServerPort) ||
        !scansocket::send(*socket, serialServerQuery(), broadcast, serialServerPort)) {
        addProblem(name, *socket);
        return;
    }
    connect(socket.get(), &QUdpSocket::readyRead, this, &Client::onNewResponse);
    m_serialServerSockets.push_back(std::move(socket));
}

void Client::addProblem(const QString &where, const QUdpSocket &socket)
{
    addProblem(where + QStringLiteral(": ") + socket.errorString());
}

void Client::addProblem(const QString &problem)
{
    if (!m_problems.contains(problem)) {
        m_problems.append(problem);
    }
}

// The steps keep to one clock, so that the time spent on decoding and painting does not add up.
void Client::collectReplies()
{
    const int stepMs = m_scanTime / waitSteps;
    QElapsedTimer clock;
    clock.start();
    for (int step = 1; step <= waitSteps; ++step) {
        const qint64 left = qint64(step) * stepMs - clock.elapsed();
        if (!m_wait.run(static_cast<int>(std::max<qint64>(left, 0)))) {
            break;
        }
        emit signalUpdateProgressBar(1);
    }
    readReplies(*m_listenSocket, scansocket::everything);
    readUnicastReplies(scansocket::everything);
    for (const auto &socket : m_serialServerSockets) {
        readReplies(*socket, scansocket::everything);
    }
}

// Replies still come in while the first round of queries runs; a module found then is asked in a
// second one. A third would let a host that never stops answering for new modules hold the scan up.
void Client::queryRovanDevices()
{
    QSet<QString> asked;
    for (int round = 1; round <= 2; ++round) {
        processRovanDevices(serialServersBut(asked));
    }
}

// Adds them to `asked`.
QVector<Device_t> Client::serialServersBut(QSet<QString> &asked)
{
    QVector<Device_t> modules;
    const QMutexLocker lock(&m_serialServersMutex);
    for (const Device_t &module : qAsConst(m_serialServers)) {
        if (!asked.contains(module[Mac])) {
            asked.insert(module[Mac]);
            modules.append(module);
        }
    }
    return modules;
}

void Client::processRovanDevices(const QVector<Device_t> &devices)
{
    QVector<QFuture<void>> tasks;
    tasks.reserve(devices.size());
    for (const Device_t &module : devices) {
        tasks.append(QtConcurrent::run([this, module, waits = m_waits] {
            appendDevice(queryVersion(module, waits, m_wait.stopped()));
        }));
    }
    for (const QFuture<void> &task : qAsConst(tasks)) {
        m_wait.runUntilFinished(task);
    }
}

void Client::onNewResponse()
{
    auto *socket = qobject_cast<QUdpSocket *>(sender());
    if (socket != nullptr && socket->state() == QAbstractSocket::BoundState) {
        readReplies(*socket, scansocket::oneTurn);
    }
}

void Client::onHandleUnicastResponse()
{
    readUnicastReplies(scansocket::oneTurn);
}

// Instruments answer to the listen socket, serial servers to the socket that asked them.
void Client::readReplies(QUdpSocket &socket, int atMost)
{
    const bool fromInstruments = &socket == m_listenSocket.get();
    scansocket::read(
        socket, atMost, [this, fromInstruments](const QByteArray &datagram, const QHostAddress &sender) {
            fromInstruments ? takeDiscoveryReply(datagram) : takeSerialServerReply(datagram, sender);
        });
}

// Only the first datagram of each sender counts.
void Client::readUnicastReplies(int atMost)
{
    scansocket::read(*m_unicastSocket, atMost,
                     [this](const QByteArray &datagram, const QHostAddress &sender) {
                         const quint32 address = sender.toIPv4Address();
                         if (!m_answeredUnicast.contains(address)) {
                             m_answeredUnicast.insert(address);
                             takeDiscoveryReply(datagram);
                         }
                     });
}

void Client::takeDiscoveryReply(const QByteArray &datagram)
{
    if (const auto device = decodeDiscoveryReply(datagram)) {
        appendDevice(*device);
    }
}

void Client::takeSerialServerReply(const QByteArray &datagram, const QHostAddress &sender)
{
    const auto module = decodeSerialServerReply(datagram, sender);
    if (!module) {
        return;
    }
    const QMutexLocker lock(&m_serialServersMutex);
    const QString mac = (*module)[Mac];
    if (m_serialServers.contains(mac)) {
        return; // the first reply wins
    }
    if (m_serialServers.size() < mostSerialServers) {
        m_serialServers.insert(mac, *module);
    } else {
        addProblem(
            tr("more than %1 serial servers answered, the others are left out").arg(mostSerialServers));
    }
}

// Replies are decoded in the Client's thread, but also while the follow-up queries append from
// theirs.
void Client::appendDevice(const Device_t &device)
{
    const QMutexLocker lock(&m_devicesMutex);
    m_devices.append(device);
}
