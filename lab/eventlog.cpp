#include "eventlog.h"

#include <QJsonDocument>

#include <cstdio>

Fields::Fields(std::initializer_list<std::pair<const char *, QJsonValue>> fields)
{
    for (const auto &[key, value] : fields) {
        insert(QLatin1String(key), value);
    }
}

EventLog::EventLog(const QString &mac)
{
    if (!mac.isEmpty()) {
        m_subject.insert(QStringLiteral("mac"), mac);
    }
}

EventLog EventLog::with(const char *key, const QJsonValue &value) const
{
    EventLog part = *this;
    part.m_subject.insert(QLatin1String(key), value);
    return part;
}

void EventLog::report(const char *event, const Fields &fields) const
{
    // Written in this order, not in that of the keys: a line starts with what happened and to whom.
    QByteArray line = QJsonDocument(Fields{{"event", QLatin1String(event)}}).toJson(QJsonDocument::Compact);
    for (const QJsonObject &part : {m_subject, QJsonObject(fields)}) {
        if (!part.isEmpty()) {
            line.chop(1);
            line += ',' + QJsonDocument(part).toJson(QJsonDocument::Compact).mid(1);
        }
    }
    line += '\n';
    std::fwrite(line.constData(), 1, static_cast<std::size_t>(line.size()), stdout);
    std::fflush(stdout);
}

QString hexDigits(const QByteArray &bytes)
{
    return QString::fromLatin1(bytes.toHex());
}
