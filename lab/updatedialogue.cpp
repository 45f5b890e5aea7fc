#include "updatedialogue.h"

#include "eventlog.h"

#include <QCryptographicHash>

#include <algorithm>
#include <utility>

namespace {

constexpr int longestLine = 4096;
constexpr int mostAtOnce = 64 * 1024;
constexpr int narrowWindow = 16 * 1024; // an instrument that is slow lets no more wait
constexpr int speedTickMs = 10;
constexpr double longestSavingS = 0.1; // of credit not used

// The names under which a scenario knows a line's step: the whole line, its command, and the one name
// of both forms of the DC-link question.
bool isStep(const QByteArray &line, const QString &step)
{
    if (step.isEmpty()) {
        return false;
    }
    const QByteArray name = step.toLatin1();
    const QByteArray command = line.left(line.indexOf(':'));
    return name == line || name == command || (name == "MRP" && line == "MRG:83");
}

constexpr const char *imageStep = "image";

// Takes away the line's own end, and what the end before it has left.
QByteArray withoutEnds(QByteArray line)
{
    while (line.endsWith('\r') || line.endsWith('\n')) {
        line.chop(1);
    }
    return line.startsWith('\n') ? line.mid(1) : line;
}

} // namespace

UpdateDialogue::UpdateDialogue(const UpdateSpec &spec, EventLog &log, const QString &mac)
    : m_spec(spec), m_log(log), m_mac(mac)
{
    m_busy.setSingleShot(true);
    m_silence.setInterval(spec.imageSilenceMs);
    m_speed.setInterval(speedTickMs);
    m_pieces.setInterval(spec.pieceMs);
    connect(&m_busy, &QTimer::timeout, this, &UpdateDialogue::finishReaction);
    connect(&m_silence, &QTimer::timeout, this, &UpdateDialogue::pauseInImage);
    connect(&m_speed, &QTimer::timeout, this, &UpdateDialogue::earnCredit);
    connect(&m_pieces, &QTimer::timeout, this, &UpdateDialogue::sendPiece);
}

void UpdateDialogue::introduce(const QString &name, const QString &version)
{
    m_version = QStringLiteral("%1:%2").arg(name, version).toLatin1();
}

int UpdateDialogue::window() const
{
    return m_spec.bytesPerSecond > 0 ? narrowWindow : mostAtOnce;
}

int UpdateDialogue::appetite() const
{
    switch (m_state) {
    case State::Line:
        return 1;
    case State::Busy:
        return 0;
    case State::Image:
        break;
    }
    const int paced = m_spec.bytesPerSecond > 0 ? static_cast<int>(m_credit) : mostAtOnce;
    const int untilCut = m_spec.cutAfterBytes > 0 ? m_spec.cutAfterBytes - m_imageBytes : mostAtOnce;
    return std::min({paced, untilCut, mostAtOnce});
}

void UpdateDialogue::receive(const QByteArray &bytes)
{
    if (m_state == State::Image) {
        takePiece(bytes);
        return;
    }
    m_line += bytes;
    if (isWholeLine(m_line)) {
        const QByteArray line = withoutEnds(std::exchange(m_line, {}));
        if (!line.isEmpty()) {
            takeLine(line);
        }
    } else if (m_line.size() > longestLine) {
        m_line.clear();
    }
}

bool UpdateDialogue::isWholeLine(const QByteArray &received) const
{
    return received.endsWith("\r\n");
}

void UpdateDialogue::takeLine(const QByteArray &line)
{
    report(QStringLiteral("lineReceived"), {{QStringLiteral("line"), QString::fromLatin1(line)}});
    if (isStep(line, m_spec.silentAt)) {
        return;
    }
    if (isStep(line, m_spec.nakAt)) {
        const QByteArray text = m_spec.nakText.toLatin1();
        send((text.isEmpty() ? nak() : nak() + ':' + text) + "\r\n");
        return;
    }
    Reaction reaction = obey(line);
    for (auto wrong = m_spec.wrongAt.constBegin(); wrong != m_spec.wrongAt.constEnd(); ++wrong) {
        if (isStep(line, wrong.key())) {
            reaction.answer = wrong->toLatin1();
        }
    }
    react(reaction);
}

UpdateDialogue::Reaction UpdateDialogue::obey(const QByteArray &line)
{
    if (line == "VER" || line == "MVER") {
        return {'#' + line + ':' + m_version};
    }
    return {nak()};
}

QByteArray UpdateDialogue::nak()
{
    return QByteArrayLiteral("#NAK");
}

void UpdateDialogue::react(const Reaction &reaction)
{
    m_reaction = reaction;
    if (reaction.afterMs == 0) {
        finishReaction();
    } else {
        m_state = State::Busy;
        m_busy.start(reaction.afterMs);
    }
}

void UpdateDialogue::finishReaction()
{
    m_state = m_reaction.next == Next::Image ? State::Image : State::Line;
    if (m_state == State::Image) {
        m_imageBytes = 0;
        m_fits = true;
        m_credit = 0;
        if (m_spec.bytesPerSecond > 0) {
            m_sinceCredit.start();
            m_speed.start();
        }
    }
    if (!m_reaction.answer.isEmpty()) {
        send(m_reaction.answer + "\r\n");
    }
    if (m_reaction.next == Next::Restart) {
        emit restartWanted();
    }
    emit hungry();
}

void UpdateDialogue::takePiece(const QByteArray &bytes)
{
    m_fits = m_fits && takeImage(m_imageBytes, bytes);
    m_imageBytes += bytes.size();
    m_credit -= bytes.size();
    m_silence.start();
    if (m_spec.cutAfterBytes > 0 && m_imageBytes >= m_spec.cutAfterBytes) {
        emit resetConnection(); // ends in clientLeft()
    }
}

bool UpdateDialogue::takeImage(int /*offset*/, const QByteArray & /*bytes*/)
{
    return false;
}

QByteArray UpdateDialogue::keepImage()
{
    return {};
}

void UpdateDialogue::earnCredit()
{
    const bool wasFull = appetite() == 0;
    const double speed = m_spec.bytesPerSecond;
    m_credit += speed * static_cast<double>(m_sinceCredit.restart()) / 1000;
    m_credit = std::min(m_credit, std::max(speed * longestSavingS, 1.0));
    if (appetite() == 0) {
        return;
    }
    if (wasFull && m_silence.isActive()) {
        m_silence.start(); // what waited could not come earlier
    }
    emit hungry();
}

void UpdateDialogue::pauseInImage()
{
    if (appetite() == 0) {
        return; // the pause is the instrument's own: bytes may be waiting
    }
    m_silence.stop();
    m_speed.stop();
    react(endImage());
}

// Stores or refuses the image that has ended.
UpdateDialogue::Reaction UpdateDialogue::endImage()
{
    const QJsonObject size{{QStringLiteral("bytes"), m_imageBytes}};
    if (isStep(imageStep, m_spec.silentAt)) {
        report(QStringLiteral("imageRefused"), size);
        return {{}, Next::Line, m_spec.storeMs};
    }
    if (isStep(imageStep, m_spec.nakAt) || !m_fits) {
        report(QStringLiteral("imageRefused"), size);
        const QByteArray reason =
            m_spec.nakText.isEmpty() ? QByteArrayLiteral("image refused") : m_spec.nakText.toLatin1();
        return {nak() + ':' + reason, Next::Line, m_spec.storeMs};
    }
    const QByteArray stored = keepImage();
    const QByteArray digest = QCryptographicHash::hash(stored, QCryptographicHash::Sha256).toHex();
    report(QStringLiteral("imageStored"), {{QStringLiteral("bytes"), stored.size()},
                                           {QStringLiteral("sha256"), QString::fromLatin1(digest)}});
    emit imageStored();
    const QString wrong = m_spec.wrongAt.value(QString::fromLatin1(imageStep), QStringLiteral("#ACK"));
    return {wrong.toLatin1(), Next::Line, m_spec.storeMs};
}

void UpdateDialogue::clientLeft()
{
    if (m_state == State::Image && m_imageBytes > 0) {
        report(QStringLiteral("imageAborted"), {{QStringLiteral("bytes"), m_imageBytes}});
    }
    for (QTimer *timer : {&m_busy, &m_silence, &m_speed, &m_pieces}) {
        timer->stop();
    }
    m_state = State::Line;
    m_line.clear();
    m_outgoing.clear();
}

void UpdateDialogue::send(const QByteArray &bytes)
{
    if (m_spec.pieceBytes == 0) {
        emit transmit(bytes);
        return;
    }
    m_outgoing += bytes;
    if (!m_pieces.isActive()) {
        m_pieces.start();
        sendPiece();
    }
}

void UpdateDialogue::sendPiece()
{
    const QByteArray piece = m_outgoing.left(m_spec.pieceBytes);
    m_outgoing.remove(0, m_spec.pieceBytes);
    if (m_outgoing.isEmpty()) {
        m_pieces.stop();
    }
    emit transmit(piece);
}

void UpdateDialogue::report(const QString &event, const QJsonObject &fields) const
{
    m_log.report(event, m_mac, fields);
}
