#pragma once

#include <QJsonObject>
#include <QObject>
#include <QString>

#include <cstdio>

// What happens to the instruments, told to whoever watches: one compact JSON object a line,
//   {"event":"set","mac":"00:1A:2B:00:00:01",...}
// flushed at once, so that a line is there the moment its event is. `mac` is left out of events that
// belong to no single instrument. The program owns one and hands it to everything that can report;
// a reader that stops reading stops the lab, so a test lets it write into a file.
class EventLog : public QObject
{
    Q_OBJECT

public:
    explicit EventLog(QObject *parent = nullptr, std::FILE *out = stdout);

    void report(const QString &event, const QString &mac, QJsonObject fields = {});

signals:
    // The same object that was written, for listeners in this process.
    void reported(const QJsonObject &line);

private:
    std::FILE *m_out;
};
