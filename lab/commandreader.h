#pragma once

#include "eventlog.h"

#include <QByteArray>
#include <QJsonObject>
#include <QObject>
#include <QSocketNotifier>
#include <QString>

#include <functional>

// Commands to the lab, one JSON object a line: {"command":"reboot","mac":"00:1A:2B:00:00:01"}. A line
// that is no command, or a command that cannot be carried out, becomes an event "commandFailed" with
// the line and the reason.
class CommandReader : public QObject
{
    Q_OBJECT

public:
    // Gets the whole object; answers why it cannot be done, or nothing when it was.
    using Handler = std::function<QString(const QJsonObject &)>;

    // Reads from this file descriptor (0 is standard input).
    CommandReader(int descriptor, const Handler &handler);

signals:
    void ended(); // nothing more will come

private:
    void read();
    void take(const QByteArray &line);

    Handler m_handler;
    QSocketNotifier m_readable;
    QByteArray m_received;
};

// Writes what a command has asked for. Why it could not; nothing when it did.
QString writeFile(const QString &path, const QByteArray &bytes);
