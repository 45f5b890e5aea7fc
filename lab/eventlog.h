#pragma once

#include <QJsonObject>
#include <QObject>
#include <QString>

// What happens to the instruments, told to whoever watches: one compact JSON object a line on standard
// output,
//   {"event":"set","mac":"00:1A:2B:00:00:01",...}
// flushed at once, so that a line is there the moment its event is. `mac` is left out of events that
// belong to no single instrument. The program owns one and hands it to everything that can report;
// a reader that stops reading stops the lab, so a test lets it write into a file.
class EventLog : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    // `fields` may not hold "event" or "mac".
    void report(const QString &event, const QString &mac, const QJsonObject &fields = {});
};
