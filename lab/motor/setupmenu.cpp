#include "setupmenu.h"

using namespace setuptexts;

namespace {

constexpr int fieldBytes = 16;
constexpr int baudrateFieldBytes = 6;

constexpr std::array<quint32, 13> rates{38400, 19200,  9600,  4800,   2400,   1200,  600,
                                        300,   115200, 57600, 230400, 460800, 921600};

} // namespace

SetupMenu::SetupMenu(const ModuleSettings &settings, const SetupFaults &faults)
    : m_settings(settings), m_faults(faults)
{}

QByteArray SetupMenu::receive(const QByteArray &bytes)
{
    QByteArray printed;
    for (const char character : bytes) {
        if (m_end == End::Open) {
            printed += take(character);
        }
    }
    return printed;
}

QByteArray SetupMenu::take(char character)
{
    if (character == '\n' || character == '\0') {
        return {};
    }
    if (character == '\r') {
        return enter();
    }
    if (m_screen == Screen::Banner) {
        return {};
    }
    const bool oneKey = m_screen == Screen::Question && m_question < ChannelFields &&
                        setuptexts::answer(m_question) == ChannelPrompt::OneKey;
    return oneKey ? takeKey(character) : type(character);
}

QByteArray SetupMenu::takeKey(char key)
{
    const bool yes = key == 'Y' || key == 'y';
    if (!yes && key != 'N' && key != 'n') {
        return {};
    }
    return QByteArray(1, key) + answer(yes ? "1" : "0");
}

QByteArray SetupMenu::type(char character)
{
    const bool isRate = m_screen == Screen::Question && m_question == Baudrate;
    if (m_typed.size() == (isRate ? baudrateFieldBytes : fieldBytes)) {
        return {};
    }
    m_typed += character;
    return QByteArray(1, character);
}

QByteArray SetupMenu::enter()
{
    const QByteArray typed = m_typed;
    m_typed.clear();
    const QByteArray echo = typed.isEmpty() ? "" : "\n";
    switch (m_screen) {
    case Screen::Banner:
        return setuptexts::listing(m_settings) + showMenu();
    case Screen::Menu:
        return echo + choose(typed);
    case Screen::Question:
        return echo + answer(typed);
    }
    return {};
}

QByteArray SetupMenu::choose(const QByteArray &choice)
{
    if (choice == "1") {
        m_screen = Screen::Question;
        m_question = 0;
        return ask();
    }
    if (choice == "8") {
        m_end = End::Dropped;
        return setuptexts::screen("<N>exiting without save !<L>");
    }
    if (choice == "9") {
        m_end = End::Saved;
        return setuptexts::screen("<N>Parameters stored ...<L>");
    }
    return showMenu();
}

QByteArray SetupMenu::answer(const QByteArray &typed)
{
    if (m_question == Baudrate && isRefused(typed)) {
        return setuptexts::screen("<N>Invalid Baudrate !!!") + ask(); // for ever, if need be
    }
    keep(typed);
    ++m_question;
    return ask();
}

bool SetupMenu::isRefused(const QByteArray &rate) const
{
    bool isKnown = rate.isEmpty(); // as it is
    for (const quint32 known : rates) {
        isKnown = isKnown || rate == QByteArray::number(known);
    }
    return !isKnown || rate == QByteArray::number(m_faults.refusedBaudrate);
}

// What cannot be an answer leaves the value as it is.
void SetupMenu::keep(const QByteArray &typed)
{
    if (m_question >= ChannelFields) {
        return;
    }
    const ChannelPrompt::Answer answer = setuptexts::answer(m_question);
    const bool isHex = answer == ChannelPrompt::Hexadecimal;
    const quint32 most = isHex || answer == ChannelPrompt::Number ? 0xFF
                         : m_question == Baudrate                 ? rates.back()
                                                                  : 0xFFFF;
    bool isNumber = false;
    const quint32 value = typed.toUInt(&isNumber, isHex ? 16 : 10);
    if (isNumber && value <= most) {
        m_settings.channel.at(static_cast<std::size_t>(m_question)) = value;
    }
}

QByteArray SetupMenu::ask()
{
    if (m_question == (m_faults.channelPrompts > 0 ? m_faults.channelPrompts : int{ChannelFields})) {
        return showMenu();
    }
    return m_question < ChannelFields ? setuptexts::prompt(m_question, m_settings)
                                      : setuptexts::screen("<N>Reserved (0) ? ");
}

QByteArray SetupMenu::showMenu()
{
    m_screen = Screen::Menu;
    return setuptexts::mainMenu();
}
