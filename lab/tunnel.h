#pragma once

#include "clientport.h"
#include "moduleservice.h"

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QTimer>

class JsonReader;

// How a module's TCP port 10001 behaves, and what is behind it.
struct TunnelSpec
{
    enum Manner {
        Prompt,      // each answer at once and whole
        Late,        // each answer after delayMs
        Pieces,      // pieceBytes at a time, delayMs apart
        Endless,     // bytes without a carriage return, for as long as the client stays
        Megabyte,    // a line of a megabyte
        ResetInLine, // half an answer, then a reset connection
        Silent,      // takes everything, says nothing
        CloseAtOnce, // accepts and closes
        Refuse       // nobody listens
    };

    QMap<QString, QString> answers{// command to reply, both without line end
                                   {QStringLiteral("MVER"), QStringLiteral("#MVER:ROVAN-MOTOR:x:1.07")},
                                   {QStringLiteral("MRG:22"), QStringLiteral("21Y08W0131")}};
    Manner manner = Prompt;
    int delayMs = 0;
    int pieceBytes = 3;
};

// Reads a scenario's "tunnel" object.
TunnelSpec readTunnelSpec(JsonReader &reader);

// A module's serial tunnel, TCP 10001, with an instrument behind it that knows a few commands: a line,
// ended by CR LF, gets the reply that the scenario gives for it, also ended by CR LF; any other gets none.
// How the reply travels is the scenario's too, the ways of a failing instrument included.
//
// Event "lineReceived" with the line.
class Tunnel : public ModuleService
{
    Q_OBJECT

public:
    static constexpr quint16 port = 10001;

    Tunnel(const TunnelSpec &spec, const EventLog &log);

    bool start(const NetworkIdentity &identity) override;
    void stop() override { m_port.close(); }

private:
    void receive(const QByteArray &bytes);
    void takeLine(const QByteArray &line);
    void respond(const QByteArray &reply);

    TunnelSpec m_spec;
    EventLog m_log;
    ClientPort m_port;
    QByteArray m_received; // of a line that has not ended
    QTimer m_endless;
};
