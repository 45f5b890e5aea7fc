#include "updatedialogue.h"

#include "jsonreader.h"

#include <QCryptographicHash>
#include <QStringList>

#include <algorithm>
#include <utility>

namespace {

constexpr quint16 port = 10001;
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

// A misspelt step would be a fault that never happens, so a test on it would pass for nothing.
void checkStep(JsonReader &reader, const char *key, const QString &step)
{
    static const QStringList steps{QStringLiteral("VER"),     QStringLiteral("MVER"),
                                   QStringLiteral("MST"),     QStringLiteral("MRP"),
                                   QStringLiteral("MRG:83"),  QStringLiteral("image"),
                                   QStringLiteral("MREBOOT"), QStringLiteral("EPCSWR")};
    if (!steps.contains(step) && step.section(QLatin1Char(':'), 0, 0) != QLatin1String("EPCSER")) {
        reader.fail(key, QStringLiteral("a step of an update, if it is given"));
    }
}

void readStep(JsonReader &reader, const char *key, QString &step)
{
    reader.text(key, step);
    if (reader.has(key)) {
        checkStep(reader, key, step);
    }
}

// Takes away the line's own end, and what the end before it has left.
QByteArray withoutEnds(QByteArray line)
{
    while (line.endsWith('\r') || line.endsWith('\n')) {
        line.chop(1);
    }
    return line.startsWith('\n') ? line.mid(1) : line;
}

} // namespace

UpdateSpec readUpdateSpec(JsonReader &reader)
{
    UpdateSpec spec;
    if (!reader.hasObject("update")) {
        reader.flag("update", spec.enabled);
        return spec;
    }
    JsonReader part = reader.part("update");
    part.text("newFirmware", spec.newFirmware);
    part.text("newCode", spec.newCode);
    part.flag("keepsFirmware", spec.keepsFirmware);
    part.milliseconds("imageSilenceMs", spec.imageSilenceMs);
    part.count("bytesPerSecond", spec.bytesPerSecond);
    part.milliseconds("eraseMs", spec.eraseMs);
    part.milliseconds("storeMs", spec.storeMs);
    readStep(part, "nakAt", spec.nakAt);
    part.text("nakText", spec.nakText);
    readStep(part, "silentAt", spec.silentAt);
    part.texts("wrongAt", spec.wrongAt);
    for (const QString &step : spec.wrongAt.keys()) {
        checkStep(part, "wrongAt", step);
    }
    part.count("cutAfterBytes", spec.cutAfterBytes);
    part.count("pieceBytes", spec.replies.bytes);
    part.milliseconds("pieceMs", spec.replies.ms);
    part.finish();
    return spec;
}

UpdateDialogue::UpdateDialogue(const UpdateSpec &spec, const EventLog &log)
    : m_spec(spec), m_log(log), m_port(ClientPort::Second::Refused, log)
{
    m_port.setPace(spec.replies);
    m_port.setAppetite([this] { return appetite(); }, spec.bytesPerSecond > 0 ? narrowWindow : mostAtOnce);
    m_busy.setSingleShot(true);
    m_silence.setInterval(spec.imageSilenceMs);
    m_speed.setInterval(speedTickMs);
    connect(&m_port, &ClientPort::received, this, &UpdateDialogue::receive);
    connect(&m_port, &ClientPort::clientLeft, this, &UpdateDialogue::clientLeft);
    // Queued, because it is mostly while bytes are taken that more can be.
    connect(this, &UpdateDialogue::hungry, &m_port, &ClientPort::pull, Qt::QueuedConnection);
    connect(&m_busy, &QTimer::timeout, this, &UpdateDialogue::finishReaction);
    connect(&m_silence, &QTimer::timeout, this, &UpdateDialogue::pauseInImage);
    connect(&m_speed, &QTimer::timeout, this, &UpdateDialogue::earnCredit);
}

bool UpdateDialogue::start(quint32 address, const QString &module, const QString &firmware)
{
    m_version = QStringLiteral("%1:%2").arg(module, firmware).toLatin1();
    return m_port.open(address, port);
}

int UpdateDialogue::appetite() const
{
    if (m_state != State::Image) {
        return m_state == State::Line ? 1 : 0;
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

void UpdateDialogue::takeLine(const QByteArray &line)
{
    m_log.report("lineReceived", {{"line", QString::fromLatin1(line)}});
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
    m_state = State::Line;
    if (m_reaction.next == Next::Image) {
        startImage();
    }
    if (!m_reaction.answer.isEmpty()) {
        send(m_reaction.answer + "\r\n");
    }
    if (m_reaction.next == Next::Restart) {
        emit restartWanted();
    }
    emit hungry();
}

void UpdateDialogue::startImage()
{
    m_state = State::Image;
    m_imageBytes = 0;
    m_fits = true;
    m_credit = 0;
    if (m_spec.bytesPerSecond > 0) {
        m_sinceCredit.start();
        m_speed.start();
    }
}

void UpdateDialogue::takePiece(const QByteArray &bytes)
{
    m_fits = m_fits && takeImage(m_imageBytes, bytes);
    m_imageBytes += bytes.size();
    m_credit -= bytes.size();
    m_silence.start();
    if (m_spec.cutAfterBytes > 0 && m_imageBytes >= m_spec.cutAfterBytes) {
        m_port.reset(); // ends in clientLeft()
    }
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
    const bool isSilent = isStep(imageStep, m_spec.silentAt);
    if (isSilent || isStep(imageStep, m_spec.nakAt) || !m_fits) {
        m_log.report("imageRefused", {{"bytes", m_imageBytes}});
        const QByteArray reason = m_spec.nakText.isEmpty() ? "image refused" : m_spec.nakText.toLatin1();
        return {isSilent ? QByteArray() : nak() + ':' + reason, Next::Line, m_spec.storeMs};
    }
    const QByteArray stored = keepImage();
    const QByteArray digest = QCryptographicHash::hash(stored, QCryptographicHash::Sha256);
    m_log.report("imageStored", {{"bytes", stored.size()}, {"sha256", hexDigits(digest)}});
    emit imageStored();
    const QString answer = m_spec.wrongAt.value(QLatin1String(imageStep), QStringLiteral("#ACK"));
    return {answer.toLatin1(), Next::Line, m_spec.storeMs};
}

void UpdateDialogue::clientLeft()
{
    if (m_state == State::Image && m_imageBytes > 0) {
        m_log.report("imageAborted", {{"bytes", m_imageBytes}});
    }
    for (QTimer *timer : {&m_busy, &m_silence, &m_speed}) {
        timer->stop();
    }
    m_state = State::Line;
    m_line.clear();
}
