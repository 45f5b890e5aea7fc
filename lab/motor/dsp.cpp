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
    m_line.clear();
    m_records = 0;
    m_state = state;
    static const QMap<State, const char *> names{{State::Reset, "reset"},
                                                 {State::Normal, "normal"},
                                                 {State::Autobaud, "programming"},
                                                 {State::Lost, "lost"}};
    m_log.report("dspState", {{"state", QLatin1String(names.value(state))}});
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

// The image is Intel HEX text. A record is complete with its last digit, so that line ends of any kind
// and a last line without one make no difference.
void Dsp::load(char character)
{
    emit sends(QByteArray(1, character));
    const auto letter = static_cast<unsigned char>(character);
    if (m_line.isEmpty() && std::isspace(letter) != 0) {
        return;
    }
    if (m_line.isEmpty() ? character != ':' : std::isxdigit(letter) == 0) {
        return endLoading(false, "bootloaderBroken");
    }
    m_line.append(character);
    if (m_line.size() < 3) {
        return;
    }
    const int count = static_cast<unsigned char>(QByteArray::fromHex(m_line.mid(1, 2)).at(0));
    if (m_line.size() < 1 + 2 * (count + overheadBytes)) {
        return;
    }
    const QByteArray record = QByteArray::fromHex(m_line.mid(1));
    m_line.clear();
    if ((std::accumulate(record.cbegin(), record.cend(), 0) & 0xFF) != 0) {
        return endLoading(false, "bootloaderBroken");
    }
    m_records += record.at(3) == dataRecord ? 1 : 0;
    if (record.at(3) == endOfFileRecord) {
        endLoading(m_records > 0 || !m_spec.requireBootloaderCode, "bootloaderLoaded");
    }
}

void Dsp::endLoading(bool running, const char *event)
{
    m_state = running ? State::Kernel : State::Lost;
    if (running) {
        m_kernel = std::make_unique<FlashKernel>(m_spec.kernel, m_flash, m_log);
        connect(m_kernel.get(), &FlashKernel::sends, this, &Dsp::sends);
    }
    m_log.report(event, {{"records", m_records}, {"running", running}});
}
