#pragma once

#include <QByteArray>
#include <QObject>

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

signals:
    // Bytes for the client; lost when there is none.
    void transmit(const QByteArray &bytes);

    // Asks the module to reset the client's connection, as a failing one would.
    void resetConnection();
};
