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

xPortConfiguration::xPortConfiguration(QObject *parent, Interruption interruptionRule, const Pacing &times,
                                       const XPortPorts &tcpPorts)
    : QObject(parent), interruption(interruptionRule), pacing(times), ports(tcpPorts)
{}

xPortConfiguration::~xPortConfiguration()
{
    waits::close(socket);
}

bool xPortConfiguration::setBaudrate(const QString &host, int baud)
{
    baudRate = QByteArray::number(baud);
    warned = false;
    refused = false;
    if (!connectTo(host)) {
        return false;
    }

    // The module speaks first: its banner, then what it is set to and the main menu.
    sendFirst = false;
    if (!exchange("\n\r", bannerPrompt) || !exchange(QByteArray(), menuPrompt)) {
        return false;
    }

    // From here on we do: open the channel, type the rate, go through the rest of its questions.
    sendFirst = true;
    sendText = true;
    if (!exchange(channelItem, baudratePrompt)) {
        return false;
    }
    sendText = true;
    if (!exchange(baudRate, menuPrompt)) {
        return false;
    }

    // The module stores what it holds and restarts, which ends the connection.
    sendText = true;
    if (!exchange(saveItem, QByteArray())) {
        return false;
    }
    waits::pause(pacing.menuStore, interruption);
    waits::close(socket);
    return true;
}

QString xPortConfiguration::readBannerWord(const QString &host)
{
    if (!connectTo(host)) {
        return QString();
    }
    sendFirst = false;
    exchange("\n\r", bannerPrompt);
    const QList<QByteArray> words = received.split('\n').value(1).split(' ');
    waits::close(socket);
    return QString::fromLatin1(words.value(2));
}

bool xPortConfiguration::connectTo(const QString &host)
{
    waits::close(socket);
    return waits::forConnection(socket, host, ports.setup, pacing.menuConnect, interruption);
}

void xPortConfiguration::sendCommand(const QByteArray &text)
{
    if (!text.isEmpty()) {
        const QByteArray line = (sendText ? text : QByteArray()) + "\r\n";
        sendText = false;
        waits::pause(pacing.menuKey, interruption);
        qCDebug(lcFirmware) << "menu <" << line;
        socket.write(line);
        waits::forWritten(socket, pacing.written, interruption);
    }
    emit signalIncreaseProgressBar();
}

void xPortConfiguration::readAnswer()
{
    received.clear();
    const QDeadlineTimer patience(pacing.longestAnswer);
    while (waits::forData(socket, pacing.menuSilence, interruption)) {
        received += socket.readAll();
        if (patience.hasExpired()) {
            waits::close(socket); // not a menu
            return;
        }
    }
    qCDebug(lcFirmware) << "menu >" << received;
    lookForRefusal();
}

// The answer is there, or another Enter may bring it.
bool xPortConfiguration::expectText(const QByteArray &text)
{
    for (int attempt = 1;; ++attempt) {
        found = received.contains(text);
        if (found || attempt == maxAttempts || socket.state() != QAbstractSocket::ConnectedState ||
            waits::interrupted(interruption)) {
            return found;
        }
        sendCommand("\r\n");
        readAnswer();
    }
}

bool xPortConfiguration::exchange(const QByteArray &command, const QByteArray &expected)
{
    if (socket.state() != QAbstractSocket::ConnectedState || waits::interrupted(interruption)) {
        return false;
    }
    if (sendFirst) {
        sendCommand(command);
    }
    readAnswer();
    if (!expectText(expected)) {
        return false;
    }
    if (!sendFirst) {
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
        const int at = received.indexOf(refusal);
        if (!warned && at >= 0) {
            warned = true;
            behind = at;
            emit signalPrintMessage(QStringLiteral("WARNING: the XPort does not take %1 baud (%2)")
                                        .arg(QString::fromLatin1(baudRate), QLatin1String(refusal)));
        }
    }
    refused = refused || (warned && received.indexOf(rateQuestion, behind) >= 0);
}
