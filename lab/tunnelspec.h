#pragma once

#include <QMap>
#include <QString>

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

    QString behind;                 // which kind of instrument; "lines" knows its answers from the scenario
    QMap<QString, QString> answers; // command to reply, both without line end
    Manner manner = Prompt;
    int delayMs = 0;
    int pieceBytes = 1;
};

TunnelSpec readTunnelSpec(JsonReader &reader);
