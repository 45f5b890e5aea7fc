#pragma once

#include "device.h"
#include "interfaces.h"
#include "scanwait.h"
#include "versionquery.h"

#include <QHash>
#include <QHostAddress>
#include <QList>
#include <QMutex>
#include <QObject>
#include <QSet>
#include <QStringList>
#include <QVector>

#include <algorithm>
#include <memory>
#include <vector>

class QUdpSocket;

// The scan: finds the instruments on the local networks and gives one record of each. It asks by
// broadcast on every chosen interface and, if wanted, by unicast along a range of addresses, takes
// replies for a fixed time, and then asks the serial servers among them over TCP what is behind them.
// Owned by the window. What crosses the wire is described in docs/wire-protocols.md.
//
// A scan runs in the thread that calls it and handles that thread's events meanwhile. The Client
// must not be destroyed while isScanning().
class Client : public QObject
{
    Q_OBJECT

public:
    // A scan takes the first so many, and leaves out what a host invents that answers for ever new ones.
    static constexpr int mostSerialServers = 1000;

    explicit Client(QObject *parent = nullptr);
    ~Client() override;

    void setScanTime(int ms) { m_scanTime = ms; } // taken in 80 steps of ms / 80 each
    void setSendUnicast(bool send) { m_sendUnicast = send; }
    void setStartIp(const QHostAddress &address) { m_startIp = address; }
    void setEndIp(const QHostAddress &address) { m_endIp = address; }
    void setTcpThreads(int count); // of the process-wide pool
    void setTcpWaitWritten(int ms) { m_waits.written = std::max(0, ms); }
    void setTcpWaitRead(int ms) { m_waits.read = std::max(0, ms); }
    void setTcpWaitConnected(int ms) { m_waits.connected = std::max(0, ms); }

    // Scans on the selected interfaces and returns every instrument that was found, one record for
    // each MAC address, the first reply's. What earlier scans found is part of the result until
    // clearDevices(). While a scan runs another one returns an empty list and changes nothing. When
    // the application quits meanwhile, the scan ends and returns what it has.
    QList<Device_t> scan(const QList<interfaces_t> &interfaces);
    bool isScanning() const { return m_scanning; }

    // Ends a running scan within a tenth of a second or two, whatever it is about; it then returns what
    // it has. Serial servers that were not asked any more are in it as they answered. Without a running
    // scan it does nothing. To be called in the Client's thread, also from what a signal of a scan calls.
    void requestStop();

    // Whether the last scan was ended early: instruments that it did not find may be there.
    bool wasStopped() const { return m_wasStopped; }

    void clearDevices();

    // Out of how many interfaces the last scan's question left.
    int interfacesQueried() const { return m_interfacesQueried; }

    // What kept the last scan from asking or hearing everyone (a port is taken, an interface is down,
    // the network takes no more datagrams, too many serial servers answer, it was stopped), for the user
    // to read; empty when nothing did.
    QString problem() const { return m_problems.join(QStringLiteral("; ")); }

public slots:
    void onNewResponse();
    void onHandleUnicastResponse();

    // Asks each of these serial servers in a task of its own what is behind it, and adds all of
    // them to the result. Returns when every task has ended.
    void processRovanDevices(const QVector<Device_t> &devices);

signals:
    // 0 when a scan begins, 1 after each of its 80 steps, 100 when it ends.
    void signalUpdateProgressBar(int value);

private:
    void openSockets();
    void stopListening();
    void closeSockets();

    void queryRange();
    bool queryAddress(quint32 address);
    void queryInterface(const interfaces_t &interface);
    bool broadcastQuery(const QString &name, const QHostAddress &address);
    void querySerialServers(const QString &name, const QHostAddress &address, const QHostAddress &broadcast);
    void addProblem(const QString &where, const QUdpSocket &socket);
    void addProblem(const QString &problem);
    void collectReplies();
    void queryRovanDevices();
    QVector<Device_t> serialServersBut(QSet<QString> &asked);

    void readReplies(QUdpSocket &socket, int atMost);
    void readUnicastReplies(int atMost);
    void takeDiscoveryReply(const QByteArray &datagram);
    void takeSerialServerReply(const QByteArray &datagram, const QHostAddress &sender);
    void appendDevice(const Device_t &device);

    int m_scanTime = 200;
    bool m_sendUnicast = false;
    QHostAddress m_startIp;
    QHostAddress m_endIp;
    TcpWaits m_waits;

    std::unique_ptr<QUdpSocket> m_broadcastSocket;
    std::unique_ptr<QUdpSocket> m_listenSocket;
    std::unique_ptr<QUdpSocket> m_unicastSocket;
    std::vector<std::unique_ptr<QUdpSocket>> m_serialServerSockets;
    QSet<quint32> m_answeredUnicast; // senders whose first datagram has been taken
    QStringList m_problems;
    int m_interfacesQueried = 0;

    QMutex m_devicesMutex; // the follow-up queries append from the pool's threads
    QList<Device_t> m_devices;
    QMutex m_serialServersMutex;
    QHash<QString, Device_t> m_serialServers; // by MAC

    ScanWait m_wait;
    bool m_scanning = false;
    bool m_wasStopped = false;
};
