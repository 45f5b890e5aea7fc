#pragma once

#include <QByteArray>
#include <QHostAddress>
#include <QObject>
#include <QSocketNotifier>
#include <QTcpSocket>

#include <memory>
#include <thread>

// A TCP port of the module that serves one client at a time: while one is connected, a second one is
// refused, as by a port where nobody listens. Whoever hangs up and calls again at once must get
// through, though, so a thread waits in the kernel for the client's end and opens the port the moment
// it comes, not when the event loop has time for it. A client that vanishes without a word holds the
// port until the keepalive gives it up.
class ModulePort : public QObject
{
    Q_OBJECT

public:
    explicit ModulePort(QObject *parent = nullptr);
    ~ModulePort() override;

    // Listens. False, with the reason in errno, when the port is not to be had.
    bool open(const QHostAddress &address, quint16 port, int keepaliveS = 45);

    // Resets the client's connection and listens no more.
    void close();

    bool isOpen() const { return m_listener >= 0; }
    bool hasClient() const { return m_client != nullptr; }
    void send(const QByteArray &bytes); // nowhere when there is no client
    void hangUp();                      // what was sent still arrives
    void reset();                       // the client finds its connection broken

signals:
    void clientArrived();
    void received(const QByteArray &bytes);
    void clientLeft();

private:
    void accept();
    void readClient();
    void endClient();
    void watch(int client);
    void stopWatching();

    int m_listener = -1;
    int m_keepaliveS = 45;
    std::unique_ptr<QSocketNotifier> m_calls;
    std::unique_ptr<QTcpSocket> m_client;
    int m_stopWatching = -1; // written to end the watcher
    std::thread m_watcher;
};
