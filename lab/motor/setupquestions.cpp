#include "setupquestions.h"

#include <algorithm>
#include <array>

namespace {

using S = ModuleSettings;
using Q = SetupQuestion;

constexpr std::array<quint32, 13> rates{38400, 19200,  9600,  4800,   2400,   1200,  600,
                                        300,   115200, 57600, 230400, 460800, 921600};
constexpr quint32 highestRegularRate = 230400;
constexpr const char *asks = " ? ";

bool isTcp(const S &s)
{
    return !s.isUdp();
}

bool isUdp(const S &s)
{
    return s.isUdp();
}

bool hasHostList(const S &s)
{
    return s.hasHostList();
}

bool hasRemote(const S &s)
{
    return !s.isUdp() && !s.hasHostList();
}

bool hasPackControl(const S &s)
{
    return s.isUdp() || (s.flushMode & 0x80) != 0;
}

bool hasTerminal(const S &s)
{
    return !s.isUdp() && s.isTelnet();
}

bool hasGateway(const S &s)
{
    return s.hasGateway != 0;
}

bool changesPassword(const S &s)
{
    return s.changesPassword != 0;
}

QVector<Q> address(const char *before, quint32 S::*number, Q::Condition applies = nullptr)
{
    return {{Q::FirstOctet, before, " ", number, nullptr, applies},
            {Q::SecondOctet, ".", " ", number, nullptr, applies},
            {Q::ThirdOctet, ".", " ", number, nullptr, applies},
            {Q::FourthOctet, ".", " ", number, nullptr, applies}};
}

QVector<Q> serverQuestions()
{
    return address("IP Address : ", &S::ip) +
           QVector<Q>{{Q::OneKey, "Set Gateway IP Address ", asks, &S::hasGateway}} +
           address("Gateway IP addr ", &S::gateway, hasGateway) +
           QVector<Q>{
               {Q::Decimal, "Netmask: Number of Bits for Host Part (0=default) ", " ", &S::hostBits},
               {Q::OneKey, "Change telnet config password ", asks, &S::changesPassword},
               {Q::Secret, "Enter new Password: ", "", nullptr, &S::password, changesPassword},
           };
}

QVector<Q> channelQuestions()
{
    const QVector<Q> line{
        {Q::Baudrate, "Baudrate ", asks, &S::baudrate},
        {Q::Hexadecimal, "I/F Mode ", asks, &S::interfaceMode},
        {Q::Hexadecimal, "Flow ", asks, &S::flow},
        {Q::Decimal, "Port No ", asks, &S::port},
        {Q::Hexadecimal, "ConnectMode ", asks, &S::connectMode},
        {Q::Hexadecimal, "Datagram Type ", asks, &S::datagramType, nullptr, isUdp},
        {Q::OneKey, "Send as Broadcast  ", asks, &S::sendsBroadcast, nullptr, isUdp},
        {Q::OneKey, "Send '+++' in Modem Mode  ", asks, &S::sendsPlus, nullptr, isTcp},
        {Q::OneKey, "Show IP addr after 'RING'  ", asks, &S::showsAddress, nullptr, isTcp},
        {Q::OneKey, "Auto increment source port  ", asks, &S::incrementsPort, nullptr, isTcp},
        {Q::OneKey, "Change Hostlist ? ", asks, &S::changesHostList, nullptr, hasHostList},
        {Q::Decimal, "Hostlist Retrycounter  ", asks, &S::hostListRetries, nullptr, hasHostList},
        {Q::Decimal, "Hostlist Retrytimeout  ", asks, &S::hostListTimeout, nullptr, hasHostList},
    };
    const QVector<Q> connection{
        {Q::Decimal, "Remote Port  ", asks, &S::remotePort, nullptr,
         [](const S &s) { return !s.hasHostList(); }},
        {Q::Hexadecimal, "DisConnMode ", asks, &S::disconnectMode, nullptr, isTcp},
        {Q::Hexadecimal, "FlushMode   ", asks, &S::flushMode, nullptr, isTcp},
        {Q::Hexadecimal, "Pack Cntrl ", asks, &S::packControl, nullptr, hasPackControl},
        {Q::Minutes, "DisConnTime ", " ?", &S::disconnectMinutes, nullptr, isTcp},
        {Q::Seconds, ":", "", &S::disconnectSeconds, nullptr, isTcp},
        {Q::Hexadecimal, "SendChar 1  ", asks, &S::sendCharacter1},
        {Q::Hexadecimal, "SendChar 2  ", asks, &S::sendCharacter2},
        {Q::Text, "Terminal name ", " ?", nullptr, &S::terminal, hasTerminal},
    };
    return line + address("Remote IP Address : ", &S::remoteIp, hasRemote) + connection;
}

QVector<Q> expertQuestions()
{
    return {
        {Q::Decimal, "TCP Keepalive time in s (1s - 65s; 0s=disable):  ", asks, &S::keepaliveS},
        {Q::Decimal, "ARP Cache timeout in s (1s - 600s) :  ", asks, &S::arpTimeoutS},
        {Q::Decimal, "CPU performance (0=Regular, 1=Low, 2=High):  ", asks, &S::cpu},
        {Q::OneKey, "Disable Monitor Mode @ bootup ", asks, &S::monitorModeDisabled},
        {Q::Decimal, "RS485 tx enable active level (0=low; 1=high):  ", asks, &S::rs485ActiveHigh},
        {Q::Decimal, "HTTP Port Number :  ", asks, &S::httpPort},
        {Q::Decimal, "SMTP Port Number :  ", asks, &S::smtpPort},
        {Q::Decimal, "MTU Size (512 - 1400):  ", asks, &S::mtu},
        {Q::OneKey, "Enable alternate MAC ", asks, &S::alternateMac},
        {Q::Decimal, "Ethernet connection type:  ", asks, &S::ethernetType},
    };
}

QVector<Q> securityQuestions()
{
    return {
        {Q::OneKey, "Disable SNMP ", asks, &S::snmpDisabled},
        {Q::Text, "SNMP Community Name ", ": ", nullptr, &S::snmpCommunity},
        {Q::OneKey, "Disable Telnet Setup ", asks, &S::telnetSetupDisabled},
        {Q::OneKey, "Disable TFTP Firmware Update ", asks, &S::tftpDisabled},
        {Q::OneKey, "Disable Port 77FEh ", asks, &S::port77feDisabled},
        {Q::OneKey, "Disable Web Server ", asks, &S::webServerDisabled},
        {Q::OneKey, "Disable Web Setup ", asks, &S::webSetupDisabled},
        {Q::OneKey, "Disable ECHO ports ", asks, &S::echoDisabled},
        {Q::OneKey, "Enable Enhanced Password ", asks, &S::enhancedPassword},
        {Q::OneKey, "Disable Port 77F0h ", asks, &S::port77f0Disabled},
    };
}

int octetShift(Q::Answer answer)
{
    return 24 - 8 * (answer - Q::FirstOctet);
}

bool isOctet(Q::Answer answer)
{
    return answer >= Q::FirstOctet && answer <= Q::FourthOctet;
}

QByteArray decimal(quint32 value, int width = 1)
{
    return QByteArray::number(value).rightJustified(width, '0');
}

QByteArray shownValue(const Q &question, const S &settings)
{
    if (question.text != nullptr) {
        return settings.*question.text;
    }
    const quint32 value = settings.*question.number;
    switch (question.answer) {
    case Q::Hexadecimal:
        return QByteArray::number(value, 16).toUpper().rightJustified(2, '0');
    case Q::OneKey:
        return value != 0 ? "Y" : "N";
    case Q::Minutes:
        return decimal(value, 2) + ':' + decimal(settings.disconnectSeconds, 2);
    default:
        return isOctet(question.answer) ? decimal((value >> octetShift(question.answer)) & 0xFF, 3)
                                        : decimal(value);
    }
}

} // namespace

const QVector<SetupQuestion> &setupQuestions(const QByteArray &choice)
{
    static const QVector<Q> none;
    static const QVector<Q> server = serverQuestions();
    static const QVector<Q> channel = channelQuestions();
    static const QVector<Q> expert = expertQuestions();
    static const QVector<Q> security = securityQuestions();
    if (choice == "0") {
        return server;
    }
    if (choice == "1") {
        return channel;
    }
    if (choice == "5") {
        return expert;
    }
    return choice == "6" ? security : none;
}

const SetupQuestion &highPerformanceQuestion()
{
    static const Q question{Q::OneKey, "Enable High Performance ", asks, &S::enablesHighPerformance};
    return question;
}

QByteArray setupPrompt(const SetupQuestion &question, const ModuleSettings &settings)
{
    const bool bracket = question.answer != Q::Seconds && question.answer != Q::Secret;
    return question.before + (bracket ? '(' + shownValue(question, settings) + ')' : QByteArray()) +
           question.after;
}

void takeSetupAnswer(const SetupQuestion &question, const QByteArray &typed, ModuleSettings &settings)
{
    if (question.text != nullptr) {
        settings.*question.text = typed;
        return;
    }
    const bool isHex = question.answer == Q::Hexadecimal;
    const quint32 most = isHex || isOctet(question.answer) ? 0xFF
                         : question.answer == Q::Baudrate  ? rates.back()
                                                           : 0xFFFF;
    bool isNumber = false;
    const quint32 value = typed.toUInt(&isNumber, isHex ? 16 : 10);
    if (!isNumber || value > most) {
        return;
    }
    quint32 &number = settings.*question.number;
    if (isOctet(question.answer)) {
        const int shift = octetShift(question.answer);
        number = (number & ~(0xFFU << shift)) | value << shift;
    } else {
        number = value;
    }
    if (question.number == &S::flow && (value & 3) == 3) {
        number &= ~3U; // both kinds of flow control at once: the module takes neither
    }
}

bool isSetupBaudrate(const QByteArray &typed)
{
    return std::any_of(rates.cbegin(), rates.cend(),
                       [&typed](quint32 rate) { return typed == QByteArray::number(rate); });
}

bool needsHighPerformance(quint32 baudrate)
{
    return baudrate > highestRegularRate;
}
