#include "lineconversation.h"

#include <algorithm>

namespace {

// The system would take megabytes at once, and the progress and every bound of a wait would count what the
// instrument has yet to get. Linux doubles this; the slowest instrument takes it in half of the wait for its
// verdict.
constexpr int sendBufferBytes = 8 * 1024;

} // namespace

// A socket that fails to write forgets what it has read, so nothing is left in it: the reason for the end
// of a connection may be among that.
LineConversation::LineConversation(char lineEnd, milliseconds written)
    : m_lineEnd(lineEnd), m_written(written)
{
    m_socket.setReadBufferSize(longestLine); // whoever talks without a pause waits
    QObject::connect(&m_socket, &QTcpSocket::readyRead, &m_socket, [this] { collect(); });
}

bool LineConversation::open(const QString &host, quint16 port, milliseconds bound, const StopCondition &stop,
                            WhenRefused refusal)
{
    if (!waits::forConnection(m_socket, host, port, bound, stop, refusal)) {
        return false;
    }
    m_socket.setSocketOption(QAbstractSocket::SendBufferSizeSocketOption, sendBufferBytes);
    m_socket.setSocketOption(QAbstractSocket::LowDelayOption, 1); // else small pieces wait for each other
    return true;
}

bool LineConversation::close()
{
    waits::close(m_socket);
    return m_socket.state() == QAbstractSocket::UnconnectedState;
}

QString LineConversation::ask(const QByteArray &command, const Patience &patience, const StopCondition &stop,
                              Answer answer)
{
    receive();
    while (takeLine()) { // what came unasked is no answer
    }
    m_received.clear();
    if (stop.isMet() || !send(command)) {
        return {};
    }
    const auto line = nextLine(patience.silence, QDeadlineTimer(patience.whole), stop);
    const bool whole = line && line->endsWith(m_lineEnd);
    if (!whole && answer == Answer::WholeLine) {
        return {};
    }
    QByteArray bytes = line ? *line : takeRest();
    if (answer == Answer::WhateverCame) {
        bytes += takeRest();
    }
    return QString::fromLatin1(bytes.constData()).trimmed(); // up to the first NUL
}

bool LineConversation::send(const QByteArray &bytes)
{
    return m_socket.write(bytes) == bytes.size() &&
           waits::forWritten(m_socket, m_written, Interruption::Ignored);
}

void LineConversation::receive()
{
    waits::stillConnected(m_socket); // reads
    collect();
}

std::optional<QByteArray> LineConversation::takeLine()
{
    const int end = m_received.indexOf(m_lineEnd);
    if (end < 0 && m_received.size() < longestLine) {
        return {};
    }
    const QByteArray line = end < 0 ? m_received : m_received.left(end + 1);
    m_received.remove(0, line.size());
    collect();
    return line;
}

std::optional<QByteArray> LineConversation::nextLine(milliseconds silence, const QDeadlineTimer &deadline,
                                                     const StopCondition &stop)
{
    receive();
    auto line = takeLine();
    while (!line && !deadline.hasExpired() && !stop.isMet() &&
           waits::forData(m_socket, std::min(silence, milliseconds(deadline.remainingTime())), stop)) {
        collect();
        line = takeLine();
    }
    return line;
}

void LineConversation::collect()
{
    if (m_socket.isOpen()) {
        m_received += m_socket.read(longestLine - std::min(longestLine, m_received.size()));
    }
}
