#include "dsp.h"

#include <cctype>
#include <numeric>

namespace {

constexpr int normalBaudrate = 921600;
constexpr int programmingBaudrate = 38400;
constexpr int longestLine = 256;
constexpr int overheadBytes = 5; // of a record: count, two of the address, type, checksum
constexpr char dataRecord = 0x00;
constexpr char endOfFileRecord = 0x01;

} // namespace

BootloaderText::State BootloaderText::take(char character)
{
    if (!m_inRecord) {
        m_inRecord = character == ':';
        const bool blank = std::isspace(static_cast<unsigned char>(character)) != 0;
        return m_inRecord || blank ? State::Reading : State::Broken;
    }
    if (std::isxdigit(static_cast<unsigned char>(character)) == 0) {
        return State::Broken;
    }
    m_digits.append(character);
    if (m_digits.size() < 2) {
        return State::Reading;
    }
    const int count = static_cast<unsigned char>(QByteArray::fromHex(m_digits.left(2)).at(0));
    return m_digits.size() == 2 * (count + overheadBytes) ? endRecord() : State::Reading;
}

BootloaderText::State BootloaderText::endRecord()
{
    const QByteArray record = QByteArray::fromHex(m_digits);
    m_digits.clear();
    m_inRecord = false;
    const int sum = std::accumulate(record.cbegin(), record.cend(), 0);
    if ((sum & 0xFF) != 0) {
        return State::Broken;
    }
    m_dataRecords += record.at(3) == dataRecord ? 1 : 0;
    return record.at(3) == endOfFileRecord ? State::Complete : State::Reading;
}

Dsp::Dsp(const QString &name, const DspSpec &spec, const EventLog &log)
    : m_name(name), m_spec(spec), m_log(log.with("dsp", name))
{}

void Dsp::hold()
{
    enter(State::Reset);
}

void Dsp::run()
{
    enter(m_flash.isBlank() ? State::Lost : State::Normal);
}

void Dsp::runForProgramming()
{
    enter(State::Autobaud);
}

void Dsp::enter(State state)
{
    m_kernel.reset(); // an erase under way ends here, half done
    m_bootloader = {};
    m_line.clear();
    m_state = state;
    m_log.report("dspState", {{"state", stateName()}});
}

int Dsp::baudrate() const
{
    switch (m_state) {
    case State::Reset:
    case State::Lost:
        return 0;
    case State::Normal:
        return normalBaudrate;
    default:
        return programmingBaudrate;
    }
}

void Dsp::receive(const QByteArray &bytes)
{
    for (int i = 0; i < bytes.size(); ++i) {
        switch (m_state) {
        case State::Normal:
            takeLine(bytes.at(i));
            break;
        case State::Autobaud:
            lock(bytes.at(i));
            break;
        case State::Loading:
            load(bytes.at(i));
            break;
        case State::Kernel:
            return m_kernel->receive(bytes.mid(i));
        default:
            return;
        }
    }
}

void Dsp::takeLine(char character)
{
    if (character != '\n') {
        m_line = (m_line + character).right(longestLine);
        return;
    }
    const QString command = QString::fromLatin1(m_line).trimmed();
    m_line.clear();
    m_log.report("lineReceived", {{"line", command}});
    emit sends(m_spec.answers.value(command, QStringLiteral("#NAK")).toLatin1() + "\r\n");
}

void Dsp::lock(char character)
{
    if (!m_spec.autobaud || (character != 'a' && character != 'A')) {
        return;
    }
    m_state = State::Loading;
    m_log.report("autobaud");
    emit sends(QByteArray(1, character));
}

void Dsp::load(char character)
{
    emit sends(QByteArray(1, character));
    switch (m_bootloader.take(character)) {
    case BootloaderText::State::Reading:
        break;
    case BootloaderText::State::Complete:
        endLoading(m_bootloader.dataRecords() > 0 || !m_spec.requireBootloaderCode, "bootloaderLoaded");
        break;
    case BootloaderText::State::Broken:
        endLoading(false, "bootloaderBroken");
        break;
    }
}

void Dsp::endLoading(bool running, const char *event)
{
    m_state = running ? State::Kernel : State::Lost;
    if (running) {
        m_kernel = std::make_unique<FlashKernel>(m_spec.kernel, m_flash, m_log);
        connect(m_kernel.get(), &FlashKernel::sends, this, &Dsp::sends);
    }
    m_log.report(event, {{"records", m_bootloader.dataRecords()}, {"running", running}});
}

QString Dsp::stateName() const
{
    static const QMap<State, QString> names{
        {State::Reset, QStringLiteral("reset")},          {State::Normal, QStringLiteral("normal")},
        {State::Autobaud, QStringLiteral("programming")}, {State::Loading, QStringLiteral("loading")},
        {State::Kernel, QStringLiteral("bootloader")},    {State::Lost, QStringLiteral("lost")}};
    return names.value(m_state);
}

QJsonObject Dsp::state() const
{
    return Fields{{"state", stateName()}, {"blank", m_flash.isBlank()}};
}
