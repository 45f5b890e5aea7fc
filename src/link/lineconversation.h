#pragma once

#include "waits.h"

#include <QByteArray>
#include <QDeadlineTimer>
#include <QString>
#include <QTcpSocket>

#include <optional>
#include <utility>

// A conversation over TCP with an instrument that takes command lines and answers with lines. Owned by
// the dialogue that leads it, on the thread that waits. Every wait ends, at its bound or where it may be
// stopped; a line that does not end is cut off at longestLine.
class LineConversation
{
public:
    using milliseconds = std::chrono::milliseconds;

    static constexpr int longestLine = 64 * 1024; // bytes

    // How long an answer may take: behind the last byte that came, and altogether.
    struct Patience
    {
        Patience(milliseconds bound) : silence(bound), whole(bound) {}
        Patience(milliseconds pause, milliseconds bound) : silence(pause), whole(bound) {}

        milliseconds silence;
        milliseconds whole;
    };

    // What is taken for the answer to a command.
    enum class Answer {
        WholeLine,   // nothing but a line that has ended
        Line,        // also one that has not when the bound is over
        WhateverCame // the same, with what came at once behind its end
    };

    // `written` is for what is sent to leave this computer, each time.
    LineConversation(char lineEnd, milliseconds written);

    // Once. True when the connection stands.
    bool open(const QString &host, quint16 port, milliseconds bound, const StopCondition &stop,
              WhenRefused refusal = WhenRefused::IsNoAnswer);
    // True when the connection is closed afterwards.
    bool close();

    // Sends a command as it stands and gives what answers it as Latin-1, up to the first NUL and without
    // the white space around it; empty when nothing came or it was stopped before. What came before the
    // command is dropped.
    QString ask(const QByteArray &command, const Patience &patience, const StopCondition &stop,
                Answer answer = Answer::WholeLine);

    // True when everything was handed over. Never stopped.
    bool send(const QByteArray &bytes);

    // Takes in what has come, without waiting.
    void receive();

    // The next line of what was taken in, with its end.
    std::optional<QByteArray> takeLine();

    // The same, waiting for it up to `silence` behind the last byte that came, until `deadline` at most.
    std::optional<QByteArray> nextLine(milliseconds silence, const QDeadlineTimer &deadline,
                                       const StopCondition &stop);

    // What was taken in behind the last line; it is gone afterwards.
    QByteArray takeRest() { return std::exchange(m_received, {}); }
    bool holdsPartOfLine() const { return !m_received.isEmpty(); }

    bool isConnected() { return waits::stillConnected(m_socket); }

private:
    void collect();

    char m_lineEnd;
    milliseconds m_written;
    QTcpSocket m_socket;
    QByteArray m_received; // not yet given out as lines
};
