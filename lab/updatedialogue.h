#pragma once

#include "serialpartner.h"
#include "updatespec.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QJsonObject>
#include <QTimer>

class EventLog;

// What an instrument without a serial server says on its own TCP port 10001. Every instrument knows
//   "VER\r\n", "MVER\r\n"  ->  "#VER:QPS1100:2.1.04\r\n", "#MVER:..."
// and answers "#NAK\r\n" to what it does not know; those that take firmware derive from this class and
// know more. After the command that asks for it comes the image: bytes without any length before them,
// so a pause of imageSilenceMs ends it. Faults and times are the scenario's (updatespec.h).
//
// Owned by the tunnel that carries it; the bytes of a line are taken one at a time, so that none of an
// image is taken for a line's.
//
// Events: "lineReceived"; "imageStored" with bytes and sha256 of what is stored; "imageRefused" and
// "imageAborted" (its connection ended first) with bytes.
class UpdateDialogue : public SerialPartner
{
    Q_OBJECT

public:
    UpdateDialogue(const UpdateSpec &spec, EventLog &log, const QString &mac);

    // What VER says, from now on.
    void introduce(const QString &name, const QString &version);

    void receive(const QByteArray &bytes) override;
    void clientLeft() override;
    int appetite() const override;
    int window() const override;

signals:
    // The image is in the memory; the next restart runs it.
    void imageStored();

    void restartWanted();

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
    virtual bool isWholeLine(const QByteArray &received) const;

    // Takes the next bytes of the image, of which `offset` came before. False when it has no room.
    virtual bool takeImage(int offset, const QByteArray &bytes);

    // Keeps the image, which has ended, and answers what is stored now.
    virtual QByteArray keepImage();

    static QByteArray nak();
    const UpdateSpec &spec() const { return m_spec; }
    void send(const QByteArray &bytes);
    void report(const QString &event, const QJsonObject &fields = {}) const;

private:
    enum class State { Line, Busy, Image };

    void takeLine(const QByteArray &line);
    void react(const Reaction &reaction);
    void finishReaction();
    void takePiece(const QByteArray &bytes);
    void pauseInImage();
    Reaction endImage();
    void earnCredit();
    void sendPiece();

    UpdateSpec m_spec;
    EventLog &m_log;
    QString m_mac;
    QByteArray m_version; // "QPS1100:2.1.04"

    State m_state = State::Line;
    QByteArray m_line;     // what has come of one
    Reaction m_reaction;   // the one under way
    int m_imageBytes = 0;  // taken of this image
    bool m_fits = true;    // the image has had room so far
    double m_credit = 0;   // bytes that may be taken now, at a given speed
    QByteArray m_outgoing; // of answers that travel in pieces
    QTimer m_busy;
    QTimer m_silence;
    QTimer m_speed;
    QElapsedTimer m_sinceCredit;
    QTimer m_pieces;
};
