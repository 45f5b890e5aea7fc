#include "eventlog.h"

#include <QJsonDocument>

#include <cstdio>

void EventLog::report(const QString &event, const QString &mac, const QJsonObject &fields)
{
    // Written in this order, not in that of the keys: a line starts with what happened and to whom.
    QJsonObject subject;
    if (!mac.isEmpty()) {
        subject.insert(QStringLiteral("mac"), mac);
    }
    QByteArray line =
        QJsonDocument(QJsonObject{{QStringLiteral("event"), event}}).toJson(QJsonDocument::Compact);
    for (const QJsonObject &part : {subject, fields}) {
        if (!part.isEmpty()) {
            line.chop(1);
            line += ',' + QJsonDocument(part).toJson(QJsonDocument::Compact).mid(1);
        }
    }
    line += '\n';
    std::fwrite(line.constData(), 1, static_cast<std::size_t>(line.size()), stdout);
    std::fflush(stdout);
}
