#include "setupmenu.h"

#include "setuptexts.h"

namespace {

constexpr char telnetCommand = '\xFF';
constexpr int telnetCommandBytes = 3;
constexpr int fieldBytes = 16;
constexpr int baudrateFieldBytes = 6;

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
    if (m_telnetBytes > 0 || character == telnetCommand) {
        m_telnetBytes = m_telnetBytes > 0 ? m_telnetBytes - 1 : telnetCommandBytes - 1;
        return {}; // the client's wishes are not looked at
    }
    if (character == '\n' || character == '\0') {
        return {};
    }
    if (character == '\r') {
        return enter();
    }
    if (m_screen == Screen::Banner) {
        return {};
    }
    const bool oneKey = m_screen == Screen::Question && question().answer == SetupQuestion::OneKey;
    return oneKey ? takeKey(character) : type(character);
}

QByteArray SetupMenu::takeKey(char key)
{
    const bool yes = key == 'Y' || key == 'y';
    if (!yes && key != 'N' && key != 'n') {
        return {};
    }
    return QByteArray(1, key) + answerQuestion(yes ? "1" : "0");
}

QByteArray SetupMenu::type(char character)
{
    if (character == '\b' || character == '\x7F') {
        if (m_typed.isEmpty()) {
            return {};
        }
        m_typed.chop(1);
        return "\b \b";
    }
    const bool isRate = m_screen == Screen::Question && question().answer == SetupQuestion::Baudrate;
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
        if (!m_settings.password.isEmpty()) {
            m_screen = Screen::Password;
            return setuptexts::crLf() + "Password  :";
        }
        return setuptexts::listing(m_settings) + showMenu();
    case Screen::Password:
        if (typed != m_settings.password) {
            return echo + setuptexts::crLf() + "Password  :";
        }
        return echo + setuptexts::listing(m_settings) + showMenu();
    case Screen::Menu:
        return echo + choose(typed);
    case Screen::Question:
        return echo + answerQuestion(typed);
    }
    return {};
}

QByteArray SetupMenu::choose(const QByteArray &choice)
{
    if (choice == "7") {
        m_settings = m_settings.withDefaults();
        return setuptexts::crLf() + showMenu();
    }
    if (choice == "8") {
        m_end = End::Dropped;
        return setuptexts::crLf() + "exiting without save !" + setuptexts::lfCr();
    }
    if (choice == "9") {
        m_end = End::Saved;
        return setuptexts::crLf() + "Parameters stored ..." + setuptexts::lfCr();
    }
    if (setupQuestions(choice).isEmpty()) {
        return showMenu();
    }
    m_choice = choice;
    m_settings.changesPassword = 0;
    m_settings.changesHostList = 0;
    m_screen = Screen::Question;
    m_question = -1;
    m_asked = 0;
    return askNext();
}

QByteArray SetupMenu::answerQuestion(const QByteArray &typed)
{
    if (m_wantedRate != 0) {
        const bool agreed = typed == "1";
        m_settings.baudrate = agreed ? m_wantedRate : m_settings.baudrate;
        m_settings.cpu = agreed ? ModuleSettings::cpuHigh : m_settings.cpu;
        m_wantedRate = 0;
        return agreed ? askNext() : ask();
    }
    if (question().answer == SetupQuestion::Baudrate) {
        return answerBaudrate(typed);
    }
    if (!typed.isEmpty()) {
        takeSetupAnswer(question(), typed, m_settings);
    }
    return askNext();
}

QByteArray SetupMenu::answerBaudrate(const QByteArray &typed)
{
    if (typed.isEmpty()) {
        return askNext();
    }
    const quint32 rate = typed.toUInt();
    if (!isSetupBaudrate(typed) || m_faults.refusedRates.contains(rate)) {
        return setuptexts::crLf() + "Invalid Baudrate !!!" + ask(); // for ever, if need be
    }
    if (needsHighPerformance(rate) && m_settings.cpu != ModuleSettings::cpuHigh) {
        m_wantedRate = rate;
        return setuptexts::crLf() + "Requires CPU high performance!" + ask();
    }
    m_settings.baudrate = rate;
    return askNext();
}

QByteArray SetupMenu::askNext()
{
    const QVector<SetupQuestion> &questions = setupQuestions(m_choice);
    do {
        ++m_question;
    } while (m_question < questions.size() && questions.at(m_question).applies != nullptr &&
             !questions.at(m_question).applies(m_settings));
    if (isDialogueOver()) {
        return showMenu();
    }
    ++m_asked;
    return ask();
}

bool SetupMenu::isDialogueOver() const
{
    if (m_choice == "1" && m_faults.channelPrompts > 0) {
        return m_asked == m_faults.channelPrompts;
    }
    return m_question >= setupQuestions(m_choice).size();
}

const SetupQuestion &SetupMenu::question() const
{
    // Asked for beyond the dialogue's own end: its changes go where nothing looks.
    static const SetupQuestion extra{SetupQuestion::Decimal, "Reserved ", " ? ", &ModuleSettings::reserved};
    if (m_wantedRate != 0) {
        return highPerformanceQuestion();
    }
    const QVector<SetupQuestion> &questions = setupQuestions(m_choice);
    return m_question < questions.size() ? questions.at(m_question) : extra;
}

QByteArray SetupMenu::ask() const
{
    return (question().continuesLine() ? QByteArray() : setuptexts::crLf()) +
           setupPrompt(question(), m_settings);
}

QByteArray SetupMenu::showMenu()
{
    m_screen = Screen::Menu;
    return setuptexts::mainMenu();
}
