#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>

#include <initializer_list>
#include <utility>

// What an event tells besides its name: {{"port", 9999}, {"line", text}}.
struct Fields : QJsonObject
{
    Fields(std::initializer_list<std::pair<const char *, QJsonValue>> fields);
    Fields(const QJsonObject &object) : QJsonObject(object) {} // NOLINT: they are the same thing
};

// What happens to the instruments, told to whoever watches: one compact JSON object a line on standard
// output,
//   {"event":"set","mac":"00:1A:2B:00:00:01",...}
// flushed at once, so that a line is there the moment its event is. A log is a value: each part of an
// instrument has one that names the instrument. A reader that stops reading stops the lab, so a test
// lets it write into a file.
class EventLog
{
public:
    // `mac` is left empty for events that belong to no single instrument.
    explicit EventLog(const QString &mac = {});

    // The log of a part of it, with this field in each event.
    EventLog with(const char *key, const QJsonValue &value) const;

    // `fields` may not hold "event" or what the log adds by itself.
    void report(const char *event, const Fields &fields = {}) const;

private:
    QJsonObject m_subject;
};

// "0d0a"
QString hexDigits(const QByteArray &bytes);
