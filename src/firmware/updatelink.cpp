#include "updatelink.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QNetworkProxy>

#include <algorithm>

namespace {

constexpr int lastImageStep = 95; // of the progress bar

// The system would take megabytes at once, and the progress and every bound of a wait would count what the
// instrument has yet to get.
constexpr int sendBufferBytes = 32 * 1024;

} // namespace

std::optional<QByteArray> UpdateLink::readImage(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly) || file.size() > largestImage) {
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
    return true;
}

bool UpdateLink::close()
{
    waits::close(m_socket);
    return m_socket.state() == QAbstractSocket::UnconnectedState;
}

QString UpdateLink::ask(const QByteArray &command, std::chrono::milliseconds bound, Interruption rule)
{
    m_received.clear(); // what came unasked is no answer
    m_socket.readAll();
    if (!send(command)) {
        return {};
    }
    const QDeadlineTimer deadline(bound);
    while (!m_received.contains('\n') && m_received.size() < longestLine && !deadline.hasExpired() &&
           waits::forData(m_socket, std::chrono::milliseconds(deadline.remainingTime()), rule)) {
        collect();
    }
    const int end = m_received.indexOf('\n');
    const QByteArray line = end < 0 ? m_received : m_received.left(end);
    m_received.remove(0, end < 0 ? m_received.size() : end + 1);
    return QString::fromLatin1(line).trimmed();
}

bool UpdateLink::send(const QByteArray &bytes)
{
    return m_socket.write(bytes) == bytes.size() &&
           waits::forWritten(m_socket, m_pacing.written, Interruption::Ignored);
}

std::optional<QByteArray> UpdateLink::nextLine(std::chrono::milliseconds silence, Interruption rule)
{
    collect();
    while (!m_received.contains('\n') && m_received.size() < longestLine && silence.count() > 0 &&
           waits::forData(m_socket, silence, rule)) {
        collect();
    }
    const int end = m_received.indexOf('\n');
    if (end < 0) {
        return {};
    }
    const QByteArray line = m_received.left(end + 1);
    m_received.remove(0, end + 1);
    return line;
}

bool UpdateLink::sendImage(const QByteArray &image, int pieceSize,
                           const std::function<bool(int taken)> &afterPiece)
{
    for (int taken = 0; taken < image.size(); taken += pieceSize) {
        const int size = std::min(pieceSize, image.size() - taken);
        if (!send(QByteArray::fromRawData(image.constData() + taken, size)) || !afterPiece(taken + size)) {
            return false;
        }
    }
    return true;
}

void UpdateLink::collect()
{
    m_received += m_socket.read(longestLine - std::min(longestLine, m_received.size()));
}

int ImageProgress::stepsAt(int taken)
{
    const int due = static_cast<int>(qint64(lastImageStep) * taken / m_bytes);
    return due - std::exchange(m_steps, due);
}
