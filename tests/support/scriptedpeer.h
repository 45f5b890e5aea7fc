#pragma once

#include <QByteArray>
#include <QMutex>
#include <QSemaphore>
#include <QThread>

#include <functional>

class QTcpSocket;

// A device that a test plays: a TCP server on a free loopback port, on a thread of its own so that the
// code under test may block. Each connection runs the script once; when the script returns, the peer
// listens until the connection ends. Everything it receives is kept.
class ScriptedPeer : public QThread
{
    Q_OBJECT

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
    ~ScriptedPeer() override;

    quint16 port() const { return listenPort; }

    // Of all connections so far.
    QByteArray received() const;
    int connections() const;

    // A loopback port on which nobody listens.
    static quint16 closedPort();

protected:
    void run() override;

private:
    Script script;
    QSemaphore listening;
    quint16 listenPort = 0;
    mutable QMutex mutex;
    QByteArray bytes;
    int connectionCount = 0;
};
