#include "commandreader.h"

#include "eventlog.h"

#include <QJsonDocument>

#include <array>
#include <cerrno>
#include <unistd.h>

CommandReader::CommandReader(EventLog &log, QObject *parent) : QObject(parent), m_log(log) {}

void CommandReader::add(const QString &name, const Handler &handler)
{
    m_handlers.insert(name, handler);
}

void CommandReader::listen(int descriptor)
{
    m_readable = std::make_unique<QSocketNotifier>(descriptor, QSocketNotifier::Read);
    connect(m_readable.get(), &QSocketNotifier::activated, this, &CommandReader::read);
}

void CommandReader::read()
{
    std::array<char, 65536> buffer{};
    const ssize_t size = ::read(static_cast<int>(m_readable->socket()), buffer.data(), buffer.size());
    if (size < 0 && (errno == EINTR || errno == EAGAIN)) {
        return;
    }
    if (size <= 0) {
        m_readable->setEnabled(false);
        emit ended();
        return;
    }
    m_received.append(buffer.data(), static_cast<int>(size));
    for (int end = m_received.indexOf('\n'); end >= 0; end = m_received.indexOf('\n')) {
        const QByteArray line = m_received.left(end).trimmed();
        m_received.remove(0, end + 1);
        if (!line.isEmpty()) {
            take(line);
        }
    }
}

void CommandReader::take(const QByteArray &line)
{
    const QString problem = carryOut(line);
    if (!problem.isEmpty()) {
        m_log.report(
            QStringLiteral("commandFailed"), {},
            {{QStringLiteral("line"), QString::fromUtf8(line)}, {QStringLiteral("reason"), problem}});
    }
}

QString CommandReader::carryOut(const QByteArray &line)
{
    const QJsonDocument document = QJsonDocument::fromJson(line);
    if (!document.isObject()) {
        return QStringLiteral("not a JSON object");
    }
    const auto handler = m_handlers.constFind(document.object().value(QStringLiteral("command")).toString());
    if (handler == m_handlers.constEnd()) {
        return QStringLiteral("no such command");
    }
    return (*handler)(document.object());
}
