#include "dsp.h"

namespace {

constexpr int normalBaudrate = 921600;
constexpr int programmingBaudrate = 38400;
constexpr int longestLine = 256;

} // namespace

Dsp::Dsp(const QString &name, const DspSpec &spec, QObject *parent)
    : QObject(parent), m_name(name), m_spec(spec)
{
    if (spec.blank) {
        m_flash.erase("ABCD");
    }
}

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
    report(QStringLiteral("dspState"),
           {{QStringLiteral("state"), this->state().value(QStringLiteral("state"))}});
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
    report(QStringLiteral("lineReceived"), {{QStringLiteral("line"), command}});
    emit sends(m_spec.answers.value(command, QStringLiteral("#NAK")).toLatin1() + "\r\n");
}

void Dsp::lock(char character)
{
    if (!m_spec.autobaud || (character != 'a' && character != 'A')) {
        return;
    }
    m_state = State::Loading;
    report(QStringLiteral("autobaud"));
    emit sends(QByteArray(1, character));
}

void Dsp::load(char character)
{
    emit sends(QByteArray(1, character));
    switch (m_bootloader.take(character)) {
    case BootloaderText::State::Reading:
        break;
    case BootloaderText::State::Complete:
        endLoading(m_bootloader.dataRecords() > 0 || !m_spec.requireBootloaderCode,
                   QStringLiteral("bootloaderLoaded"));
        break;
    case BootloaderText::State::Broken:
        endLoading(false, QStringLiteral("bootloaderBroken"));
        break;
    }
}

void Dsp::endLoading(bool running, const QString &event)
{
    m_state = running ? State::Kernel : State::Lost;
    if (running) {
        m_kernel = std::make_unique<FlashKernel>(m_spec.kernel, m_flash);
        connect(m_kernel.get(), &FlashKernel::sends, this, &Dsp::sends);
        connect(m_kernel.get(), &FlashKernel::happened, this, &Dsp::report);
    }
    report(event,
           {{QStringLiteral("records"), m_bootloader.dataRecords()}, {QStringLiteral("running"), running}});
}

QJsonObject Dsp::state() const
{
    static const QMap<State, QString> names{
        {State::Reset, QStringLiteral("reset")},          {State::Normal, QStringLiteral("normal")},
        {State::Autobaud, QStringLiteral("programming")}, {State::Loading, QStringLiteral("loading")},
        {State::Kernel, QStringLiteral("bootloader")},    {State::Lost, QStringLiteral("lost")}};
    return {{QStringLiteral("state"), names.value(m_state)}, {QStringLiteral("blank"), m_flash.isBlank()}};
}

void Dsp::report(const QString &event, QJsonObject fields)
{
    fields.insert(QStringLiteral("dsp"), m_name);
    emit happened(event, fields);
}
