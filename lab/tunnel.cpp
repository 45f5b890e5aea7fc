#include "tunnel.h"

#include "jsonreader.h"

#include <limits>
#include <utility>

namespace {

constexpr int longestLine = 4096;
constexpr int megabyte = 1024 * 1024;
constexpr int endlessBytes = 4096; // at a time

int usualDelayMs(TunnelSpec::Manner manner)
{
    switch (manner) {
    case TunnelSpec::Late:
        return 1000;
    case TunnelSpec::Pieces:
        return 50;
    case TunnelSpec::Endless:
        return 5;
    default:
        return 0;
    }
}

} // namespace

TunnelSpec readTunnelSpec(JsonReader &reader)
{
    TunnelSpec spec;
    if (reader.has("answers")) {
        spec.answers.clear();
    }
    reader.texts("answers", spec.answers);
    reader.choice("manner", spec.manner,
                  {{"prompt", TunnelSpec::Prompt},
                   {"late", TunnelSpec::Late},
                   {"pieces", TunnelSpec::Pieces},
                   {"endless", TunnelSpec::Endless},
                   {"megabyte", TunnelSpec::Megabyte},
                   {"resetInLine", TunnelSpec::ResetInLine},
                   {"silent", TunnelSpec::Silent},
                   {"closeAtOnce", TunnelSpec::CloseAtOnce},
                   {"refuse", TunnelSpec::Refuse}});
    spec.delayMs = usualDelayMs(spec.manner);
    reader.milliseconds("delayMs", spec.delayMs);
    reader.number("pieceBytes", spec.pieceBytes, 1, longestLine);
    reader.finish();
    return spec;
}

Tunnel::Tunnel(const TunnelSpec &spec, const EventLog &log)
    : m_spec(spec), m_log(log), m_port(ClientPort::Second::Refused, log)
{
    if (spec.manner == TunnelSpec::Late) {
        m_port.setPace({std::numeric_limits<int>::max(), spec.delayMs});
    } else if (spec.manner == TunnelSpec::Pieces) {
        m_port.setPace({spec.pieceBytes, spec.delayMs});
    }
    m_endless.setInterval(spec.delayMs);
    connect(&m_endless, &QTimer::timeout, this, [this] { m_port.send(QByteArray(endlessBytes, 'x')); });
    connect(&m_port, &ClientPort::received, this, &Tunnel::receive);
    connect(&m_port, &ClientPort::clientArrived, this, [this] {
        if (m_spec.manner == TunnelSpec::CloseAtOnce) {
            m_port.hangUp();
        }
    });
    connect(&m_port, &ClientPort::clientLeft, this, [this] {
        m_endless.stop();
        m_received.clear();
    });
}

bool Tunnel::start(const NetworkIdentity &identity)
{
    return m_spec.manner == TunnelSpec::Refuse || m_port.open(identity.ip, port);
}

void Tunnel::receive(const QByteArray &bytes)
{
    if (m_spec.manner == TunnelSpec::Silent) {
        return;
    }
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

void Tunnel::takeLine(const QByteArray &line)
{
    const QString text = QString::fromLatin1(line);
    m_log.report("lineReceived", {{"line", text}});
    const auto reply = m_spec.answers.constFind(text);
    if (reply != m_spec.answers.constEnd()) {
        respond(reply->toLatin1() + "\r\n");
    }
}

void Tunnel::respond(const QByteArray &reply)
{
    switch (m_spec.manner) {
    case TunnelSpec::Endless:
        m_endless.start();
        break;
    case TunnelSpec::Megabyte:
        m_port.send(QByteArray(megabyte, 'x') + "\r\n");
        break;
    case TunnelSpec::ResetInLine:
        m_port.send(reply.left(reply.size() / 2));
        m_port.reset();
        break;
    default:
        m_port.send(reply);
    }
}
