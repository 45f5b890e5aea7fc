#include "eventlog.h"

#include <QJsonDocument>

namespace {

QByteArray compact(const QJsonObject &object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

} // namespace

EventLog::EventLog(QObject *parent, std::FILE *out) : QObject(parent), m_out(out) {}

void EventLog::report(const QString &event, const QString &mac, QJsonObject fields)
{
    // Written in this order, not in that of the keys: a line starts with what happened and to whom.
    QByteArray line = compact({{QStringLiteral("event"), event}});
    fields.remove(QStringLiteral("event"));
    fields.remove(QStringLiteral("mac"));
    for (const QJsonObject &rest : {mac.isEmpty() ? QJsonObject() : QJsonObject{{QStringLiteral("mac"), mac}},
                                    static_cast<const QJsonObject &>(fields)}) {
        if (!rest.isEmpty()) {
            line.chop(1);
            line += ',' + compact(rest).mid(1);
        }
    }
    line += '\n';
    std::fwrite(line.constData(), 1, static_cast<std::size_t>(line.size()), m_out);
    std::fflush(m_out);

    fields.insert(QStringLiteral("event"), event);
    fields.insert(QStringLiteral("mac"), mac);
    emit reported(fields);
}
