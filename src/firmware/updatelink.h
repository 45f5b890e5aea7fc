#pragma once

#include "pacing.h"
#include "waits.h"

#include <QByteArray>
#include <QString>
#include <QTcpSocket>

#include <functional>
#include <optional>

// The connection to an instrument that takes its firmware on its own TCP port: command lines out,
// answer lines back, then the image in pieces. Owned by one update procedure, on its thread. Every
// wait ends; what the instrument sends without end is not collected past longestLine.
class UpdateLink
{
public:
    static constexpr int longestLine = 64 * 1024;                    // bytes of an answer
    static constexpr qint64 largestImage = qint64{64} * 1024 * 1024; // bytes of a firmware file

    explicit UpdateLink(const Pacing &pacing) : m_pacing(pacing) {}

    // The whole file; nothing when it is missing, empty, unreadable or larger than largestImage.
    static std::optional<QByteArray> readImage(const QString &path);

    bool open(const QString &host, quint16 port, std::chrono::milliseconds bound, Interruption rule);
    // True when the connection is closed afterwards.
    bool close();

    // Sends a command as it stands and gives the answer up to its line feed, or what came of it when the
    // bound was over. White space around it is gone.
    QString ask(const QByteArray &command, std::chrono::milliseconds bound, Interruption rule);

    // True when everything was handed over.
    bool send(const QByteArray &bytes);

    // The next whole line of what has come, waiting for it up to `silence` behind the last byte that
    // came. Nothing when there was none. Without a wait (0) only what is there already is looked at.
    std::optional<QByteArray> nextLine(std::chrono::milliseconds silence, Interruption rule);

    // Sends the image in pieces of `pieceSize` and calls `afterPiece` with the bytes taken so far after
    // each; false from it ends the sending. The first piece is the point of no return: nothing that
    // follows is interrupted. False when the instrument took less than all.
    bool sendImage(const QByteArray &image, int pieceSize, const std::function<bool(int taken)> &afterPiece);

    bool isConnected() { return waits::stillConnected(m_socket); }

private:
    void collect();

    Pacing m_pacing;
    QTcpSocket m_socket;
    QByteArray m_received; // not yet given out as lines
};

// Turns the bytes of an image that an instrument has taken into single steps of a progress bar that
// runs from 0 to 95.
class ImageProgress
{
public:
    explicit ImageProgress(int imageBytes) : m_bytes(imageBytes) {}

    // How many steps are due now that so many bytes are taken.
    int stepsAt(int taken);

private:
    int m_bytes;
    int m_steps = 0;
};
