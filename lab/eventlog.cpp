#include "eventlog.h"

#include <QJsonDocument>

EventLog::EventLog(QObject *parent, std::FILE *out) : QObject(parent), m_out(out) {}

void EventLog::report(const QString &event, const QString &mac, QJsonObject fields)
{
    fields.insert(QStringLiteral("event"), event);
    if (!mac.isEmpty()) {
        fields.insert(QStringLiteral("mac"), mac);
    }
    const QByteArray line = QJsonDocument(fields).toJson(QJsonDocument::Compact) + '\n';
    std::fwrite(line.constData(), 1, static_cast<std::size_t>(line.size()), m_out);
    std::fflush(m_out);
    emit reported(fields);
}
