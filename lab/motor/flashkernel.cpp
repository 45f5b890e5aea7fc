#include "flashkernel.h"

#include <QMap>
#include <QPair>
#include <QtEndian>

#include <algorithm>

namespace {

constexpr char header[] = {0x0C, 0x0E, 0};
constexpr char trailer = 0x0E;
constexpr int headerBytes = 2;
constexpr int overheadBytes = 5;
constexpr int pageBytes = 512;
constexpr int eraseArgument = 0x0B;

enum Command { SetAddress = 0x0A, WritePage, Data, VerifyPage, Erase };

bool hasRightLength(int command, int length)
{
    static const QMap<int, QPair<int, int>> lengths{
        {SetAddress, {4, 4}}, {WritePage, {0, 0}}, {Data, {1, 32}}, {VerifyPage, {0, 0}}, {Erase, {1, 1}}};
    const QPair<int, int> range = lengths.value(command, {1, 0});
    return length >= range.first && length <= range.second;
}

int byteAt(const QByteArray &bytes, int index)
{
    return static_cast<unsigned char>(bytes.at(index));
}

QVector<quint16> wordsOf(const QByteArray &bytes)
{
    QVector<quint16> words;
    for (int i = 0; i < bytes.size(); i += 2) {
        const int low = i + 1 < bytes.size() ? byteAt(bytes, i + 1) : 0xFF; // half a word: the rest stays
        words.append(quint16(byteAt(bytes, i) << 8 | low));
    }
    return words;
}

} // namespace

DspFlash::DspFlash() : m_words(int(end - begin))
{
    for (int i = 0; i < m_words.size(); ++i) {
        m_words[i] = quint16((begin + quint32(i)) ^ 0x5AA5U);
    }
}

int DspFlash::write(quint32 address, const QVector<quint16> &words)
{
    int wrong = 0;
    for (int i = 0; i < words.size(); ++i) {
        quint16 &cell = m_words[int(address - begin) + i];
        cell = quint16(cell & words[i]);
        wrong += cell == words[i] ? 0 : 1;
    }
    return wrong;
}

bool DspFlash::equals(quint32 address, const QVector<quint16> &words) const
{
    return std::equal(words.cbegin(), words.cend(), m_words.cbegin() + int(address - begin));
}

bool DspFlash::isBlank() const
{
    return std::all_of(m_words.cbegin(), m_words.cend(), [](quint16 word) { return word == 0xFFFF; });
}

QByteArray DspFlash::dump() const
{
    QByteArray bytes;
    bytes.reserve(2 * m_words.size());
    for (const quint16 word : m_words) {
        bytes.append(char(word >> 8));
        bytes.append(char(word & 0xFF));
    }
    return bytes;
}

FlashKernel::FlashKernel(const FlashKernelSpec &spec, DspFlash &flash, const EventLog &log)
    : m_spec(spec), m_flash(flash), m_log(log)
{
    m_work.setSingleShot(true);
    connect(&m_work, &QTimer::timeout, this, &FlashKernel::finishWork);
}

void FlashKernel::receive(const QByteArray &bytes)
{
    m_received += bytes;
    while (!m_then && takePacket()) {
    }
    if (m_then) {
        m_lost += m_received.size();
        m_received.clear();
    }
}

bool FlashKernel::takePacket()
{
    int skipped = 0; // nothing that begins a packet; the line end after the image is one such
    while (skipped < m_received.size() && m_received.at(skipped) != header[0]) {
        ++skipped;
    }
    if (skipped > 0) {
        const QByteArray garbage = m_received.left(skipped);
        m_received.remove(0, skipped);
        if (!garbage.trimmed().isEmpty()) {
            m_log.report("packetRejected",
                         {{"bytes", hexDigits(garbage)}, {"reason", QLatin1String("no header")}});
        }
        return true;
    }
    if (m_received.size() < headerBytes + 2) {
        return false;
    }
    const int command = byteAt(m_received, 2);
    const int length = byteAt(m_received, 3);
    if (m_received.at(1) != header[1] || !hasRightLength(command, length)) {
        reject(m_received.left(headerBytes + 2), "no such packet");
        m_received.remove(0, 1); // a packet may begin inside of it
        return true;
    }
    if (m_received.size() < overheadBytes + length) {
        return false;
    }
    const QByteArray packet = m_received.left(overheadBytes + length);
    m_received.remove(0, packet.size());
    if (packet.back() == trailer) {
        obey(command, packet.mid(headerBytes + 2, length));
    } else {
        reject(packet, "no end");
    }
    return true;
}

void FlashKernel::obey(int command, const QByteArray &arguments)
{
    switch (command) {
    case SetAddress:
        return setAddress(arguments);
    case Data:
        return addData(arguments);
    case Erase:
        return erase(byteAt(arguments, 0));
    default:
        return endPage(command == WritePage);
    }
}

void FlashKernel::setAddress(const QByteArray &arguments)
{
    if (!m_page.isEmpty()) {
        reject(m_page, "page not ended");
    }
    m_page.clear();
    m_address = qFromBigEndian<quint32>(arguments.constData());
    if (!DspFlash::holds(*m_address, 1)) {
        m_address.reset();
        reject(arguments, "address outside the flash");
    }
}

void FlashKernel::addData(const QByteArray &arguments)
{
    const int bytes = m_page.size() + arguments.size();
    if (!m_address) {
        reject(arguments, "no address");
    } else if (bytes > pageBytes || !DspFlash::holds(*m_address, (bytes + 1) / 2)) {
        reject(arguments, "past the end of the page or the flash");
    } else {
        m_page += arguments;
    }
}

void FlashKernel::endPage(bool writes)
{
    if (!m_address || m_page.isEmpty()) {
        return reject({}, "empty page");
    }
    const QVector<quint16> words = wordsOf(m_page);
    if (!writes) {
        const bool equal = m_flash.equals(*m_address, words);
        reportPage("pageVerified", words.size(), "equal", equal);
        return answerPage(equal);
    }
    workFor(m_spec.pageWriteMs, [this, words] {
        const int notErased = m_flash.write(*m_address, words);
        reportPage("pageWritten", words.size(), "notErased", notErased);
        answerPage(notErased == 0);
    });
}

void FlashKernel::reportPage(const char *event, int words, const char *key, const QJsonValue &value)
{
    const QString address = QString::number(*m_address, 16).toUpper();
    m_log.report(event, {{"address", address}, {"words", words}, {key, value}});
}

void FlashKernel::answerPage(bool isRight)
{
    m_page.clear();
    m_address.reset();
    emit sends(isRight ? "ACK\n" : "NAK\n");
}

void FlashKernel::erase(int argument)
{
    m_log.report("eraseStarted", {{"argument", argument}});
    if (argument != eraseArgument || m_spec.eraseAnswer == FlashKernelSpec::Nak) {
        m_log.report("eraseRefused", {{"argument", argument}});
        emit sends("NAK\n");
        return;
    }
    if (m_spec.eraseAnswer == FlashKernelSpec::Silent) {
        return;
    }
    m_page.clear();
    m_address.reset();
    m_flash.clear();
    workFor(m_spec.eraseMs, [this] { finishErase(); });
}

void FlashKernel::finishErase()
{
    m_flash.erase();
    m_log.report("erased");
    emit sends(m_spec.eraseAnswer == FlashKernelSpec::AckWithoutNewline ? "ACK" : "ACK\n");
}

void FlashKernel::reject(const QByteArray &bytes, const char *reason)
{
    m_log.report("packetRejected", {{"bytes", hexDigits(bytes)}, {"reason", QLatin1String(reason)}});
    emit sends("NAK\n");
}

void FlashKernel::workFor(int ms, const std::function<void()> &then)
{
    if (ms == 0) {
        return then();
    }
    m_then = then;
    m_work.start(ms);
}

void FlashKernel::finishWork()
{
    if (m_lost > 0) {
        m_log.report("bytesLost", {{"count", m_lost}});
        m_lost = 0;
    }
    const std::function<void()> then = std::move(m_then);
    m_then = nullptr;
    then();
}
