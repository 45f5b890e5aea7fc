#include "setuptexts.h"

#include <QHostAddress>

using namespace setuptexts;

namespace {

using P = ChannelPrompt;

QByteArray hexByte(quint32 value)
{
    return QByteArray::number(value, 16).toUpper().rightJustified(2, '0');
}

QByteArray padded(quint32 value, int width)
{
    return QByteArray::number(value).rightJustified(width, '0');
}

QByteArray dotted(quint32 address)
{
    return QHostAddress(address).toString().toLatin1();
}

QByteArray enabled(quint32 is)
{
    return is != 0 ? "enabled" : "disabled";
}

QByteArray basics(const ModuleSettings &s)
{
    return "<N>\n*** basic parameters <L>Hardware: Ethernet TPI<N>IP addr " + dotted(s.ip) +
           (s.gateway == 0 ? QByteArray(", no gateway set")
                           : ", gateway " + dotted(s.gateway) + ",netmask " + dotted(s.netmask)) +
           "<N>";
}

const char security[] = "<N>*** Security<N>"
                        "SNMP is              enabled<N>"
                        "SNMP Community Name: public<N>"
                        "Telnet Setup is      enabled<N>"
                        "TFTP Download is     enabled<N>"
                        "Port 77FEh is        enabled<N>"
                        "Web Server is        enabled<N>"
                        "Web Setup is         enabled<N>"
                        "ECHO is              disabled<N>"
                        "Enhanced Password is disabled<N>"
                        "Port 77F0h is        enabled<N>";

QByteArray channelListing(const std::array<quint32, ChannelFields> &c)
{
    const quint32 remote = c[Remote1] << 24 | c[Remote2] << 16 | c[Remote3] << 8 | c[Remote4];
    QByteArray text = "<N>*** Channel 1<L>Baudrate " + padded(c[Baudrate], 1) + ", I/F Mode " +
                      hexByte(c[InterfaceMode]) + ", Flow " + hexByte(c[Flow]) + "<L>Port " +
                      padded(c[Port], 5) + "<N>Connect Mode : " + hexByte(c[ConnectMode]) +
                      "<N>Send '+++' in Modem Mode " + enabled(c[SendsPlus]) +
                      "<N>Show IP addr after 'RING' " + enabled(c[ShowsAddress]) +
                      "<N>Auto increment source port " + enabled(c[IncrementsPort]) +
                      "<N>Remote IP Adr: " + (remote == 0 ? "--- none ---" : dotted(remote)) + ", Port " +
                      padded(c[RemotePort], 5) + "<N>Disconn Mode : " + hexByte(c[DisconnectMode]);
    if (c[DisconnectMinutes] != 0 || c[DisconnectSeconds] != 0) {
        text += "  Disconn Time: " + padded(c[DisconnectMinutes], 2) + ':' + padded(c[DisconnectSeconds], 2);
    }
    text += "<N>Flush   Mode : " + hexByte(c[FlushMode]) + "<N>";
    if (c[SendCharacter1] != 0 || c[SendCharacter2] != 0) {
        text += "SendChars    : " + hexByte(c[SendCharacter1]) + ' ' + hexByte(c[SendCharacter2]) + " <N>";
    }
    return text;
}

const char expert[] = "<N>*** Expert<N>"
                      "TCP Keepalive    : 45s<L>"
                      "ARP cache timeout: 600s<N>"
                      "CPU performance: High<N>"
                      "Monitor Mode @ bootup : enabled<N>"
                      "RS485 tx enable  : active low<N>"
                      "HTTP Port Number : 80<N>"
                      "SMTP Port Number : 25<N>"
                      "MTU Size: 1400<N>"
                      "Alternate MAC: disabled<N>"
                      "Ethernet connection type: auto-negotiate<L>";

QByteArray mail()
{
    QByteArray text = "<L>*** E-mail<L>Mail server: 0.0.0.0<L>Unit       : <L>Domain     : <L>"
                      "Recipient 1: <L>Recipient 2: <L>";
    for (int trigger = 1; trigger <= 3; ++trigger) {
        text += (trigger == 1 ? "\n- Trigger " : "<N>- Trigger ") + QByteArray::number(trigger) +
                " <N>Serial trigger input: disabled<N>  Channel: 1<N>  Match: 00,00<N>"
                "Trigger input1: X<N>Trigger input2: X<N>Trigger input3: X<N>"
                "Message : <L>Priority: L<N>Min. notification interval: 1 s<N>"
                "Re-notification interval  : 0 s<N>";
    }
    return text;
}

constexpr std::array<ChannelPrompt, ChannelFields> prompts{{
    {P::Decimal, "<N>Baudrate ", " ? "},
    {P::Hexadecimal, "<N>I/F Mode ", " ? "},
    {P::Hexadecimal, "<N>Flow ", " ? "},
    {P::Decimal, "<N>Port No ", " ? "},
    {P::Hexadecimal, "<N>ConnectMode ", " ? "},
    {P::OneKey, "<N>Send '+++' in Modem Mode  ", " ? "},
    {P::OneKey, "<N>Show IP addr after 'RING'  ", " ? "},
    {P::OneKey, "<N>Auto increment source port  ", " ? "},
    {P::Number, "<N>Remote IP Address : ", " "},
    {P::Number, ".", " "},
    {P::Number, ".", " "},
    {P::Number, ".", " "},
    {P::Decimal, "<N>Remote Port  ", " ? "},
    {P::Hexadecimal, "<N>DisConnMode ", " ? "},
    {P::Hexadecimal, "<N>FlushMode   ", " ? "},
    {P::Minutes, "<N>DisConnTime ", " ?"},
    {P::Seconds, ":", ""},
    {P::Hexadecimal, "<N>SendChar 1  ", " ? "},
    {P::Hexadecimal, "<N>SendChar 2  ", " ? "},
}};

QByteArray bracket(int field, const std::array<quint32, ChannelFields> &c)
{
    const quint32 value = c.at(static_cast<std::size_t>(field));
    switch (setuptexts::answer(field)) {
    case P::Decimal:
        return '(' + padded(value, 1) + ')';
    case P::Hexadecimal:
        return '(' + hexByte(value) + ')';
    case P::OneKey:
        return value != 0 ? "(Y)" : "(N)";
    case P::Number:
        return '(' + padded(value, 3) + ')';
    case P::Minutes:
        return '(' + padded(value, 2) + ':' + padded(c[DisconnectSeconds], 2) + ')';
    case P::Seconds:
        break;
    }
    return {};
}

} // namespace

QByteArray setuptexts::screen(QByteArray text)
{
    text.replace("<N>", QByteArray("\r\0\n", 3));
    return text.replace("<L>", QByteArray("\n\r\0", 3));
}

QByteArray setuptexts::banner(const QByteArray &mac)
{
    return "\xFF\xFB\x01\xFF\xFB\x03" + screen("<N>MAC address " + mac.toHex().toUpper() +
                                               "<L>Software version V6.5.0.7 (070919) XPTEXE<N><L>");
}

QByteArray setuptexts::pressEnter()
{
    return screen("Press Enter for Setup Mode <L>");
}

QByteArray setuptexts::listing(const ModuleSettings &settings)
{
    return screen(basics(settings) + security + channelListing(settings.channel) + expert + mail());
}

QByteArray setuptexts::mainMenu()
{
    return screen("<N><L>Change Setup:<L>"
                  "  0 Server<N>"
                  "  1 Channel 1<N>"
                  "  3 E-mail<N>"
                  "  5 Expert<N>"
                  "  6 Security<N>"
                  "  7 Defaults<L>"
                  "  8 Exit without save<N>"
                  "  9 Save and exit            Your choice ? ");
}

QByteArray setuptexts::prompt(int field, const ModuleSettings &settings)
{
    const ChannelPrompt &text = prompts.at(static_cast<std::size_t>(field));
    return screen(text.before + bracket(field, settings.channel) + text.after);
}

ChannelPrompt::Answer setuptexts::answer(int field)
{
    return prompts.at(static_cast<std::size_t>(field)).answer;
}
