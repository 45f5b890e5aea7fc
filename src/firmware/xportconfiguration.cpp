#include "xportconfiguration.h"

#include "firmwarelog.h"

#include <QDeadlineTimer>

namespace {

// A menu has about twenty prompts; whoever does not show the expected text by then never will.
constexpr int maxAttempts = 60;

const char bannerPrompt[] = "Press Enter for Setup Mode";
const char menuPrompt[] = "Your choice ?";
const char baudratePrompt[] = "Baudrate";

const char channelItem[] = "1";
const char saveItem[] = "9";

const char rateQuestion[] = "Baudrate ("; // with what it is now

// What the module says instead of taking a rate. It asks for the rate again, the next Enter keeps the
// old one, and the rest of the menu looks as if all were well.
constexpr const char *refusals[] = {"Invalid Baudrate !!!", "Requires CPU high performance!"};

} // namespace

xPortConfiguration::xPortConfiguration(QObject *parent, Interruption interruption, const Pacing &pacing,
                                       const XPortPorts &ports)
    : QObject(parent), m_interruption(interruption), m_pacing(pacing), m_ports(ports)
{}

xPortConfiguration::~xPortConfiguration()
{
    waits::close(m_socket);
}

bool xPortConfiguration::setBaudrate(const QString &host, int baud)
{
    m_baudRate = QByteArray::number(baud);
    m_warned = false;
    m_refused = false;
    if (!connectTo(host)) {
        return false;
    }

    // The module speaks first: its banner, then what it is set to and the main menu.
    m_sendFirst = false;
    if (!exchange("\n\r", bannerPrompt) || !exchange(QByteArray(), menuPrompt)) {
        return false;
    }

    // From here on we do: open the channel, type the rate, go through the rest of its questions.
    m_sendFirst = true;
    m_sendText = true;
    if (!exchange(channelItem, baudratePrompt)) {
        return false;
    }
    m_sendText = true;
    if (!exchange(m_baudRate, menuPrompt)) {
        return false;
    }

    // The module stores what it holds and restarts, which ends the connection.
    m_sendText = true;
    if (!exchange(saveItem, QByteArray())) {
        return false;
    }
    waits::pause(m_pacing.menuStore, m_interruption);
    waits::close(m_socket);
    return true;
}

QString xPortConfiguration::readBannerWord(const QString &host)
{
    if (!connectTo(host)) {
        return QString();
    }
    m_sendFirst = false;
    exchange("\n\r", bannerPrompt);
    const QList<QByteArray> words = m_received.split('\n').value(1).split(' ');
    waits::close(m_socket);
    return QString::fromLatin1(words.value(2));
}

bool xPortConfiguration::connectTo(const QString &host)
{
    waits::close(m_socket);
    return waits::forConnection(m_socket, host, m_ports.setup, m_pacing.menuConnect, m_interruption);
}

void xPortConfiguration::sendCommand(const QByteArray &text)
{
    if (!text.isEmpty()) {
        const QByteArray line = (m_sendText ? text : QByteArray()) + "\r\n";
        m_sendText = false;
        waits::pause(m_pacing.menuKey, m_interruption);
        qCDebug(firmwareLog) << "menu <" << line;
        m_socket.write(line);
        waits::forWritten(m_socket, m_pacing.written, m_interruption);
    }
    emit signalIncreaseProgressBar();
}

void xPortConfiguration::readAnswer()
{
    m_received.clear();
    const QDeadlineTimer patience(m_pacing.longestAnswer);
    while (waits::forData(m_socket, m_pacing.menuSilence, m_interruption)) {
        m_received += m_socket.readAll();
        if (patience.hasExpired()) {
            waits::close(m_socket); // not a menu
            return;
        }
    }
    qCDebug(firmwareLog) << "menu >" << m_received;
    lookForRefusal();
}

// The answer is there, or another Enter may bring it.
bool xPortConfiguration::expectText(const QByteArray &text)
{
    for (int attempt = 1;; ++attempt) {
        m_found = m_received.contains(text);
        if (m_found || attempt == maxAttempts || m_socket.state() != QAbstractSocket::ConnectedState ||
            waits::interrupted(m_interruption)) {
            return m_found;
        }
        sendCommand("\r\n");
        readAnswer();
    }
}

bool xPortConfiguration::exchange(const QByteArray &command, const QByteArray &expected)
{
    if (m_socket.state() != QAbstractSocket::ConnectedState || waits::interrupted(m_interruption)) {
        return false;
    }
    if (m_sendFirst) {
        sendCommand(command);
    }
    readAnswer();
    if (!expectText(expected)) {
        return false;
    }
    if (!m_sendFirst) {
        sendCommand(command);
    }
    return true;
}

// A module may take the rate all the same, once it has been asked to run faster: only its asking for the
// rate again tells that it did not.
void xPortConfiguration::lookForRefusal()
{
    int behind = 0;
    for (const char *refusal : refusals) {
        const int at = m_received.indexOf(refusal);
        if (!m_warned && at >= 0) {
            m_warned = true;
            behind = at;
            emit signalPrintMessage(QStringLiteral("WARNING: the module does not take %1 baud (%2)")
                                        .arg(QString::fromLatin1(m_baudRate), QLatin1String(refusal)));
        }
    }
    m_refused = m_refused || (m_warned && m_received.indexOf(rateQuestion, behind) >= 0);
}
