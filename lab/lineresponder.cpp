#include "lineresponder.h"

#include "eventlog.h"

#include <utility>

namespace {

constexpr int longestLine = 4096;
constexpr int megabyte = 1024 * 1024;
constexpr int endlessBytes = 4096; // at a time

} // namespace

LineResponder::LineResponder(const TunnelSpec &spec, EventLog &log, const QString &mac)
    : m_spec(spec), m_log(log), m_mac(mac)
{
    m_pace.setInterval(spec.delayMs);
    connect(&m_pace, &QTimer::timeout, this, &LineResponder::sendPiece);
}

void LineResponder::receive(const QByteArray &bytes)
{
    for (const char byte : bytes) {
        if (byte != '\r' && byte != '\n') {
            m_received.append(byte);
        } else if (!m_received.isEmpty()) {
            takeLine(std::exchange(m_received, {}));
        }
    }
    if (m_received.size() > longestLine) {
        m_received.clear();
    }
}

void LineResponder::clientLeft()
{
    m_pace.stop();
    m_waiting.clear();
    m_received.clear();
}

void LineResponder::takeLine(const QByteArray &line)
{
    const QString text = QString::fromLatin1(line);
    m_log.report(QStringLiteral("lineReceived"), m_mac, {{QStringLiteral("line"), text}});
    const auto reply = m_spec.answers.constFind(text);
    if (reply != m_spec.answers.constEnd()) {
        respond(reply->toLatin1() + "\r\n");
    }
}

void LineResponder::respond(const QByteArray &reply)
{
    switch (m_spec.manner) {
    case TunnelSpec::Late:
    case TunnelSpec::Pieces:
    case TunnelSpec::Endless:
        m_waiting += reply;
        if (!m_pace.isActive()) {
            m_pace.start();
        }
        break;
    case TunnelSpec::Megabyte:
        emit transmit(QByteArray(megabyte, 'x') + "\r\n");
        break;
    case TunnelSpec::ResetInLine:
        emit transmit(reply.left(reply.size() / 2));
        emit resetConnection();
        break;
    default:
        emit transmit(reply);
    }
}

void LineResponder::sendPiece()
{
    if (m_spec.manner == TunnelSpec::Endless) {
        emit transmit(QByteArray(endlessBytes, 'x'));
        return;
    }
    const int size = m_spec.manner == TunnelSpec::Late ? m_waiting.size() : m_spec.pieceBytes;
    const QByteArray piece = m_waiting.left(size);
    m_waiting.remove(0, size);
    if (m_waiting.isEmpty()) {
        m_pace.stop();
    }
    emit transmit(piece);
}
