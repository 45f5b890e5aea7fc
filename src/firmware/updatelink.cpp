#include "updatelink.h"

#include <QFile>
#include <QFileInfo>
#include <QNetworkProxy>

#include <algorithm>

namespace {

// The system would take megabytes at once, and the progress and every bound of a wait would count what the
// instrument has yet to get. Linux doubles this; the slowest instrument takes it in half of the wait for its
// verdict.
constexpr int sendBufferBytes = 8 * 1024;

} // namespace

// A socket that fails to write forgets what it has read, so nothing is left in it: the reason for the end
// of a connection may be among that.
UpdateLink::UpdateLink(const Pacing &pacing) : m_pacing(pacing)
{
    m_socket.setReadBufferSize(longestLine); // whoever talks without a pause waits
    QObject::connect(&m_socket, &QTcpSocket::readyRead, &m_socket, [this] { collect(); });
}

std::optional<QByteArray> UpdateLink::readImage(const QString &path)
{
    QFile file(path);
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly) || file.size() > largestImage) {
        return {};
    }
    const QByteArray image = file.readAll();
    return image.isEmpty() || file.error() != QFile::NoError ? std::nullopt : std::optional(image);
}

bool UpdateLink::open(const QString &host, quint16 port, std::chrono::milliseconds bound, Interruption rule)
{
    m_socket.setProxy(QNetworkProxy::NoProxy);
    m_received.clear();
    if (!waits::forConnection(m_socket, host, port, bound, rule)) {
        return false;
    }
    m_socket.setSocketOption(QAbstractSocket::SendBufferSizeSocketOption, sendBufferBytes);
    m_socket.setSocketOption(QAbstractSocket::LowDelayOption, 1); // else small pieces wait for each other
    return true;
}

bool UpdateLink::close()
{
    waits::close(m_socket);
    return m_socket.state() == QAbstractSocket::UnconnectedState;
}

QString UpdateLink::ask(const QByteArray &command, std::chrono::milliseconds bound, Interruption rule,
                        Unfinished unfinished)
{
    receive();
    while (takeLine()) { // what came unasked is no answer
    }
    m_received.clear();
    if (!send(command)) {
        return {};
    }
    const QDeadlineTimer deadline(bound);
    while (!m_received.contains('\n') && m_received.size() < longestLine && !deadline.hasExpired() &&
           waits::forData(m_socket, std::chrono::milliseconds(deadline.remainingTime()), rule)) {
        collect();
    }
    const bool whole = m_received.contains('\n');
    if (!whole && unfinished == Unfinished::IsNoAnswer) {
        return {};
    }
    return QString::fromLatin1(whole ? *takeLine() : takeRest()).trimmed();
}

bool UpdateLink::send(const QByteArray &bytes)
{
    return m_socket.write(bytes) == bytes.size() &&
           waits::forWritten(m_socket, m_pacing.written, Interruption::Ignored);
}

void UpdateLink::receive()
{
    waits::stillConnected(m_socket); // reads
    collect();
}

std::optional<QByteArray> UpdateLink::takeLine()
{
    const int end = m_received.indexOf('\n');
    if (end < 0 && m_received.size() < longestLine) {
        return {};
    }
    const QByteArray line = end < 0 ? m_received : m_received.left(end + 1);
    m_received.remove(0, line.size());
    collect();
    return line;
}

std::optional<QByteArray> UpdateLink::nextLine(std::chrono::milliseconds silence,
                                               const QDeadlineTimer &deadline)
{
    receive();
    auto line = takeLine();
    while (!line && !deadline.hasExpired() &&
           waits::forData(m_socket, std::min(silence, std::chrono::milliseconds(deadline.remainingTime())),
                          Interruption::Ignored)) {
        collect();
        line = takeLine();
    }
    return line;
}

void UpdateLink::collect()
{
    if (m_socket.isOpen()) {
        m_received += m_socket.read(longestLine - std::min(longestLine, m_received.size()));
    }
}
