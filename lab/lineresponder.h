#pragma once

#include "serialpartner.h"
#include "tunnelspec.h"

#include <QByteArray>
#include <QTimer>

class EventLog;

// An instrument behind a module that knows a few commands: a line, ended by CR LF, gets the reply that
// the scenario gives for it, also ended by CR LF; any other gets none. How the reply travels is the
// scenario's too, the ways of a failing instrument included (tunnelspec.h).
//
// Event "lineReceived" with the line.
class LineResponder : public SerialPartner
{
    Q_OBJECT

public:
    LineResponder(const TunnelSpec &spec, EventLog &log, const QString &mac);

    void receive(const QByteArray &bytes) override;
    void clientLeft() override;

private:
    void takeLine(const QByteArray &line);
    void respond(const QByteArray &reply);
    void sendPiece();

    TunnelSpec m_spec;
    EventLog &m_log;
    QString m_mac;
    QByteArray m_received; // of a line that has not ended
    QByteArray m_waiting;  // of replies that travel late, in pieces or without end
    QTimer m_pace;
};
