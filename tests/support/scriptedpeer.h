#pragma once

#include <QByteArray>

#include <atomic>
#include <functional>
#include <mutex>
#include <thread>

class QTcpSocket;

// A device that a test plays: a TCP server on a free loopback port, on a thread of its own so that the
// code under test may block. Each connection runs the script once; when the script returns, the peer
// listens until the connection ends. Everything it receives is kept.
//
// The thread and its lock are the standard library's, whose order the thread sanitizer can see.
class ScriptedPeer
{
public:
    // What a script can do. Nothing blocks for longer than the test lives.
    class Connection
    {
    public:
        // All bytes of this connection up to and with the next `text`; empty when it ends before.
        QByteArray readUntil(const QByteArray &text);
        // Exactly so many further bytes, fewer when the connection ends before.
        QByteArray read(int size);
        void send(const QByteArray &bytes);
        void wait(int ms);
        void close();
        // Ends the connection with a reset instead of in order.
        void reset();

        // First connection of the peer: 1.
        int number() const { return count; }
        bool isOpen() const;

    private:
        friend class ScriptedPeer;
        Connection(ScriptedPeer *owner, QTcpSocket *accepted, int which);
        bool receive();

        ScriptedPeer *peer;
        QTcpSocket *socket;
        QByteArray pending; // received and not yet read by the script
        int count;
    };

    using Script = std::function<void(Connection &)>;

    explicit ScriptedPeer(Script script);
    ~ScriptedPeer();
    ScriptedPeer(const ScriptedPeer &) = delete;
    ScriptedPeer &operator=(const ScriptedPeer &) = delete;

    quint16 port() const { return listenPort; }

    // Of all connections so far.
    QByteArray received() const;
    int connections() const;
    int endedConnections() const; // nothing more is received on them

    // A loopback port on which nobody listens.
    static quint16 closedPort();

private:
    void run(const std::function<void(quint16)> &listening);
    int countConnection();

    Script script;
    quint16 listenPort = 0;
    mutable std::mutex mutex; // guards what follows
    QByteArray bytes;
    int connectionCount = 0;
    int endedCount = 0;

    std::atomic<bool> stopping{false};
    std::thread thread;
};
