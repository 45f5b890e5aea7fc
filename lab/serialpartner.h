#pragma once

#include <QByteArray>
#include <QObject>

#include <limits>

// What is connected to the serial line of a module: it gets the bytes that a TCP client writes and
// gives those that the client reads. It goes on living when no client is there.
class SerialPartner : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    virtual void clientArrived() {}
    virtual void clientLeft() {}

    // Bytes as they come: commands may arrive in pieces and several at once.
    virtual void receive(const QByteArray &bytes) = 0;

    // How many bytes it takes now; the rest waits until it is hungry(). A serial line cannot hold its
    // sender back, so what is behind a module takes all.
    virtual int appetite() const { return std::numeric_limits<int>::max(); }

    // How many bytes may wait for it, so that a client feels how slow it is. 0: as many as come.
    virtual int window() const { return 0; }

signals:
    void hungry();

    // Bytes for the client; lost when there is none.
    void transmit(const QByteArray &bytes);

    // Asks the module to reset the client's connection, as a failing one would.
    void resetConnection();
};
