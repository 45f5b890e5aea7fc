#pragma once

#include <QMap>
#include <QString>

class JsonReader;

// How an instrument's TCP port 10001 takes new firmware: its times, and its ways to fail. A step is
// named by its command, "EPCSER" or, for one sector, "EPCSER:3"; "MRP" means the DC-link question in
// both its forms, and "image" the firmware's bytes with the answer at their end.
struct UpdateSpec
{
    bool enabled = false; // nobody listens otherwise

    QString newFirmware;        // after an update; empty: the version counts up
    QString newCode;            // after an update; empty: unchanged
    bool keepsFirmware = false; // takes everything and comes back as it was

    int imageSilenceMs = 500; // so long a pause ends the image
    int bytesPerSecond = 0;   // taken of an image; 0: as they come
    int eraseMs = 0;          // for one sector
    int storeMs = 0;          // from the image's end to the answer
    int progressBytes = 65536;

    QString nakAt;                  // refused, not done
    QString nakText;                // after "#NAK:"; empty: a bare "#NAK"
    QString silentAt;               // neither done nor answered
    QMap<QString, QString> wrongAt; // done, but with this answer
    int cutAfterBytes = 0;          // of the image, then the connection is reset; 0: never
    int pieceBytes = 0;             // answers travel so many bytes at a time; 0: whole
    int pieceMs = 50;
};

// Reads the key "update" of an instrument: true, false or an object. Without it, the instrument takes
// updates in good health.
UpdateSpec readUpdateSpec(JsonReader &reader);
