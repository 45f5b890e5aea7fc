#pragma once

#include "pacing.h"
#include "waits.h"

#include <QByteArray>
#include <QDeadlineTimer>
#include <QString>
#include <QTcpSocket>

#include <optional>
#include <utility>

// The connection to an instrument that takes its firmware on its own TCP port: command lines out,
// answer lines back. Owned by one update procedure, on its thread. Every wait ends; a line that does not
// end is cut off at longestLine.
class UpdateLink
{
public:
    static constexpr int longestLine = 64 * 1024;                    // bytes of an answer
    static constexpr qint64 largestImage = qint64{64} * 1024 * 1024; // bytes of a firmware file

    // What is made of an answer that has no line feed when the bound is over.
    enum class Unfinished { IsNoAnswer, IsAnswer };

    explicit UpdateLink(const Pacing &pacing);

    // The whole file; nothing when it is missing, empty, unreadable, larger than largestImage or no regular
    // file, which could give bytes for ever or none.
    static std::optional<QByteArray> readImage(const QString &path);

    bool open(const QString &host, quint16 port, std::chrono::milliseconds bound, Interruption rule);
    // True when the connection is closed afterwards.
    bool close();

    // Sends a command as it stands and gives the line that answers it, without the white space around it;
    // empty when none came. What came before is dropped.
    QString ask(const QByteArray &command, std::chrono::milliseconds bound, Interruption rule,
                Unfinished unfinished = Unfinished::IsNoAnswer);

    // True when everything was handed over.
    bool send(const QByteArray &bytes);

    // Takes in what has come, without waiting.
    void receive();

    // The next line of what was taken in, with its line feed.
    std::optional<QByteArray> takeLine();

    // The same, waiting for it up to `silence` behind the last byte that came, until `deadline` at most.
    std::optional<QByteArray> nextLine(std::chrono::milliseconds silence, const QDeadlineTimer &deadline);

    // What was taken in behind the last line; it is gone afterwards.
    QByteArray takeRest() { return std::exchange(m_received, {}); }
    bool holdsPartOfLine() const { return !m_received.isEmpty(); }

    bool isConnected() { return waits::stillConnected(m_socket); }

private:
    void collect();

    Pacing m_pacing;
    QTcpSocket m_socket;
    QByteArray m_received; // not yet given out as lines
};
