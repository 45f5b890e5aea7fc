#include "imagesender.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <utility>

namespace {

constexpr int lastStep = 95; // of the progress bar

} // namespace

ImageSender::ImageSender(LineConversation &link, const Pacing &pacing, Dialogue dialogue)
    : m_link(link),
      m_grace(pacing.sendingGrace),
      m_slowest(pacing.slowestBytesPerSecond),
      m_dialogue(std::move(dialogue))
{}

std::optional<QByteArray> ImageSender::readImage(const QString &path)
{
    QFile file(path);
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly) || file.size() > largestImage) {
        return {};
    }
    const QByteArray image = file.readAll();
    return image.isEmpty() || file.error() != QFile::NoError ? std::nullopt : std::optional(image);
}

ImageSender::Outcome ImageSender::send(const QByteArray &image)
{
    // Each piece has a bound of its own; an instrument that just keeps within it every time could hold a
    // run for days.
    const QDeadlineTimer deadline(m_grace +
                                  std::chrono::milliseconds(image.size() * qint64{1000} / m_slowest));
    for (int taken = 0; taken < image.size();) {
        if (refused()) {
            return Outcome::Refusal;
        }
        const int size = std::min(m_dialogue.pieceBytes, image.size() - taken);
        if (deadline.hasExpired() || !m_link.send(QByteArray::fromRawData(image.constData() + taken, size))) {
            return lost();
        }
        taken += size;
        moveTo(taken, image.size());
    }
    return takesRefusal() ? Outcome::Refusal
                          : listen(); // what was read by now came before the last piece left
}

// Hears what has come so far, without waiting.
bool ImageSender::refused()
{
    m_link.receive();
    return takesRefusal();
}

// Of what was taken in.
bool ImageSender::takesRefusal()
{
    while (const auto line = m_link.takeLine()) {
        if (m_dialogue.listen(*line) == Said::Refusal) {
            return true;
        }
    }
    m_begunEarly = m_link.holdsPartOfLine();
    return false;
}

// It may have said why before it left.
ImageSender::Outcome ImageSender::lost()
{
    return refused() || m_dialogue.listen(m_link.takeRest()) == Said::Refusal ? Outcome::Refusal
                                                                              : Outcome::Lost;
}

ImageSender::Outcome ImageSender::listen()
{
    const QDeadlineTimer bound(m_dialogue.bound);
    while (!bound.hasExpired()) {
        const auto line = m_link.nextLine(m_dialogue.silence, bound, Interruption::Ignored);
        if (!line) {
            break;
        }
        const Said said = m_dialogue.listen(*line);
        const bool early = std::exchange(m_begunEarly, false);
        if (said == Said::Refusal || (said == Said::Consent && !early)) {
            return said == Said::Refusal || refused() ? Outcome::Refusal : Outcome::Consent;
        }
    }
    const bool connected = m_link.isConnected();
    const QByteArray rest = m_link.takeRest();
    if (bound.hasExpired() && rest.contains('\n')) {
        return Outcome::Silence; // it talks on and on
    }
    // Nothing more comes, so a line without its end is all that was meant.
    const Said said = m_dialogue.listen(rest);
    if (said == Said::Refusal) {
        return Outcome::Refusal;
    }
    if (said == Said::Consent && !m_begunEarly) {
        return Outcome::Consent;
    }
    return connected ? Outcome::Silence : Outcome::Lost;
}

void ImageSender::moveTo(qint64 taken, qint64 all)
{
    for (const qint64 due = lastStep * taken / all; m_steps < due; ++m_steps) {
        m_dialogue.step();
    }
}
