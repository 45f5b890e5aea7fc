#pragma once

#include <QByteArray>
#include <QHash>
#include <QJsonObject>
#include <QObject>
#include <QSocketNotifier>
#include <QString>

#include <functional>
#include <memory>

class EventLog;

// Commands to the lab, one JSON object a line: {"command":"reboot","mac":"00:1A:2B:00:00:01"}. Whoever
// can carry one out registers it by name. A line that is no command, or a command that its handler
// refuses, becomes an event "commandFailed" with the reason.
class CommandReader : public QObject
{
    Q_OBJECT

public:
    // Gets the whole object; answers why it cannot be done, or nothing when it was.
    using Handler = std::function<QString(const QJsonObject &)>;

    explicit CommandReader(EventLog &log, QObject *parent = nullptr);

    void add(const QString &name, const Handler &handler);

    // Starts to read from this file descriptor (0 is standard input).
    void listen(int descriptor);

    // Carries out one line, as if it had been read.
    void take(const QByteArray &line);

signals:
    void ended(); // nothing more will come

private:
    void read();
    QString carryOut(const QByteArray &line);

    EventLog &m_log;
    QHash<QString, Handler> m_handlers;
    std::unique_ptr<QSocketNotifier> m_readable;
    QByteArray m_received;
};
