#pragma once

#include "clientport.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QMap>
#include <QObject>
#include <QString>
#include <QTimer>

class JsonReader;

// How an instrument's TCP port 10001 takes new firmware: its times, and its ways to fail. A step is
// named by its command, "EPCSER" or, for one sector, "EPCSER:3"; "MRP" means the DC-link question in
// both its forms, and "image" the firmware's bytes with the answer at their end.
struct UpdateSpec
{
    bool enabled = true; // nobody listens otherwise

    QString newFirmware;        // after an update; empty: the version counts up
    QString newCode;            // after an update; empty: unchanged
    bool keepsFirmware = false; // takes everything and comes back as it was

    int imageSilenceMs = 500; // so long a pause ends the image
    int bytesPerSecond = 0;   // taken of an image; 0: as they come
    int eraseMs = 0;          // for one sector
    int storeMs = 0;          // from the image's end to the answer

    QString nakAt;                  // refused, not done
    QString nakText;                // after "#NAK:"; empty: a bare "#NAK"
    QString silentAt;               // neither done nor answered
    QMap<QString, QString> wrongAt; // done, but with this answer
    int cutAfterBytes = 0;          // of the image, then the connection is reset; 0: never
    Pace replies{0, 50};            // how answers travel; at once and whole unless it has bytes
};

// Reads the key "update" of an instrument: true, false or an object. Without it, the instrument takes
// updates in good health.
UpdateSpec readUpdateSpec(JsonReader &reader);

// What an instrument without a serial server says on its own TCP port 10001. Every instrument knows
//   "VER\r\n", "MVER\r\n"  ->  "#VER:QPS1100:2.1.04\r\n", "#MVER:..."
// and answers "#NAK\r\n" to what it does not know; those that take firmware derive from this class and
// know more. After the command that asks for it comes the image: bytes without any length before them,
// so a pause of imageSilenceMs ends it. The bytes of a line are taken one at a time, so that none of an
// image is taken for a line's. Owned by the instrument.
//
// Events: "lineReceived"; "imageStored" with bytes and sha256 of what is stored; "imageRefused" and
// "imageAborted" (its connection ended first) with bytes.
class UpdateDialogue : public QObject
{
    Q_OBJECT

public:
    UpdateDialogue(const UpdateSpec &spec, const EventLog &log);

    // Listens at an address, a host-order number; VER tells of this module and firmware. False when it
    // cannot.
    bool start(quint32 address, const QString &module, const QString &firmware);

    void stop() { m_port.close(); }

signals:
    // The image is in the memory; the next restart runs it.
    void imageStored();

    void restartWanted();
    void hungry(); // more bytes can be taken

protected:
    enum class Next { Line, Image, Restart };

    struct Reaction
    {
        QByteArray answer; // without line end; empty: none
        Next next = Next::Line;
        int afterMs = 0;
    };

    // Carries out a command. What is unknown gets the base class's answer.
    virtual Reaction obey(const QByteArray &line);

    // Whether what has come of a line is all of it. The base class wants CR LF.
    virtual bool isWholeLine(const QByteArray &received) const { return received.endsWith("\r\n"); }

    // Takes the next bytes of the image, of which `offset` came before. False when it has no room.
    virtual bool takeImage(int /*offset*/, const QByteArray & /*bytes*/) { return false; }

    // Keeps the image, which has ended, and answers what is stored now.
    virtual QByteArray keepImage() { return {}; }

    virtual void clientLeft();

    static QByteArray nak() { return QByteArrayLiteral("#NAK"); }
    const UpdateSpec &spec() const { return m_spec; }
    const EventLog &log() const { return m_log; }
    void send(const QByteArray &bytes) { m_port.send(bytes); }

private:
    enum class State { Line, Busy, Image };

    int appetite() const;
    void receive(const QByteArray &bytes);
    void takeLine(const QByteArray &line);
    void react(const Reaction &reaction);
    void finishReaction();
    void startImage();
    void takePiece(const QByteArray &bytes);
    void pauseInImage();
    Reaction endImage();
    void earnCredit();

    UpdateSpec m_spec;
    EventLog m_log;
    ClientPort m_port;
    QByteArray m_version; // "QPS1100:2.1.04"

    State m_state = State::Line;
    QByteArray m_line;    // what has come of one
    Reaction m_reaction;  // the one under way
    int m_imageBytes = 0; // taken of this image
    bool m_fits = true;   // the image has had room so far
    double m_credit = 0;  // bytes that may be taken now, at a given speed
    QTimer m_busy;
    QTimer m_silence;
    QTimer m_speed;
    QElapsedTimer m_sinceCredit;
};
