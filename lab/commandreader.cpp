#include "commandreader.h"

#include <QFile>
#include <QJsonDocument>

#include <array>
#include <cerrno>
#include <unistd.h>

CommandReader::CommandReader(int descriptor, const Handler &handler)
    : m_handler(handler), m_readable(descriptor, QSocketNotifier::Read)
{
    connect(&m_readable, &QSocketNotifier::activated, this, &CommandReader::read);
}

void CommandReader::read()
{
    std::array<char, 65536> buffer{};
    const ssize_t size = ::read(static_cast<int>(m_readable.socket()), buffer.data(), buffer.size());
    if (size < 0 && (errno == EINTR || errno == EAGAIN)) {
        return;
    }
    if (size <= 0) {
        m_readable.setEnabled(false);
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
    const QJsonDocument document = QJsonDocument::fromJson(line);
    const QString problem =
        document.isObject() ? m_handler(document.object()) : QStringLiteral("not a JSON object");
    if (!problem.isEmpty()) {
        EventLog().report("commandFailed", {{"line", QString::fromUtf8(line)}, {"reason", problem}});
    }
}

QString writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    const bool done = file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.flush();
    return done ? QString() : path + QStringLiteral(": ") + file.errorString();
}
