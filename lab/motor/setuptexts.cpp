#include "setuptexts.h"

namespace {

// Kept as text with short marks for the two line ends, so that a screen can be read here as it looks.
QByteArray screen(const char *text)
{
    QByteArray bytes(text);
    bytes.replace("<N>", setuptexts::crLf());
    bytes.replace("<L>", setuptexts::lfCr());
    return bytes;
}

QByteArray dotted(quint32 address)
{
    QByteArray text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        text += QByteArray::number((address >> shift) & 0xFF) + (shift > 0 ? "." : "");
    }
    return text;
}

QByteArray hex(quint32 value)
{
    return QByteArray::number(value, 16).toUpper().rightJustified(2, '0');
}

QByteArray padded(quint32 value, int width)
{
    return QByteArray::number(value).rightJustified(width, '0');
}

QByteArray enabled(bool is)
{
    return is ? "enabled" : "disabled";
}

QByteArray basics(const ModuleSettings &s)
{
    QByteArray text = "<N>\n*** basic parameters <L>Hardware: Ethernet TPI<N>IP addr " + dotted(s.ip);
    if (s.hasGateway != 0) {
        text += ", gateway " + dotted(s.gateway) + ",netmask " + dotted(s.netmask());
    } else {
        text += ", no gateway set";
    }
    return text + (s.password.isEmpty() ? "<N>" : "<N>Telnet config password set<N>");
}

QByteArray security(const ModuleSettings &s)
{
    return "<N>*** Security<N>"
           "SNMP is              " +
           enabled(s.snmpDisabled == 0) + "<N>SNMP Community Name: " + s.snmpCommunity +
           "<N>Telnet Setup is      " + enabled(s.telnetSetupDisabled == 0) + "<N>TFTP Download is     " +
           enabled(s.tftpDisabled == 0) + "<N>Port 77FEh is        " + enabled(s.port77feDisabled == 0) +
           "<N>Web Server is        " + enabled(s.webServerDisabled == 0) + "<N>Web Setup is         " +
           enabled(s.webSetupDisabled == 0) + "<N>ECHO is              " + enabled(s.echoDisabled == 0) +
           "<N>Enhanced Password is " + enabled(s.enhancedPassword != 0) + "<N>Port 77F0h is        " +
           enabled(s.port77f0Disabled == 0) + "<N>";
}

QByteArray connection(const ModuleSettings &s)
{
    if (s.isUdp()) {
        return "Datagram Type " + hex(s.datagramType) + "<N>Pack Cntrl:   " + hex(s.packControl) + "<N>";
    }
    QByteArray text = hex(s.connectMode) + "<N>Send '+++' in Modem Mode " + enabled(s.sendsPlus != 0) +
                      "<N>Show IP addr after 'RING' " + enabled(s.showsAddress != 0) +
                      "<N>Auto increment source port " + enabled(s.incrementsPort != 0) +
                      "<N>Remote IP Adr: " + (s.remoteIp == 0 ? "--- none ---" : dotted(s.remoteIp)) +
                      ", Port " + padded(s.remotePort, 5) + "<N>Disconn Mode : " + hex(s.disconnectMode);
    if (s.disconnectMinutes != 0 || s.disconnectSeconds != 0) {
        text += "  Disconn Time: " + padded(s.disconnectMinutes, 2) + ':' + padded(s.disconnectSeconds, 2);
    }
    text += "<N>Flush   Mode : " + hex(s.flushMode) + "<N>";
    if (s.sendCharacter1 != 0 || s.sendCharacter2 != 0) {
        text += "SendChars    : " + hex(s.sendCharacter1) + ' ' + hex(s.sendCharacter2) + " <N>";
    }
    return text;
}

QByteArray channel(const ModuleSettings &s)
{
    return "<N>*** Channel 1<L>Baudrate " + QByteArray::number(s.baudrate) + ", I/F Mode " +
           hex(s.interfaceMode) + ", Flow " + hex(s.flow) + "<L>Port " + padded(s.port, 5) +
           "<N>Connect Mode : " + connection(s);
}

QByteArray expert(const ModuleSettings &s)
{
    const QByteArray cpu = s.cpu == ModuleSettings::cpuRegular ? "Regular"
                           : s.cpu == ModuleSettings::cpuHigh  ? "High"
                                                               : "Low";
    return "<N>*** Expert<N>TCP Keepalive    : " + QByteArray::number(s.keepaliveS) +
           "s<L>ARP cache timeout: " + QByteArray::number(s.arpTimeoutS) + "s<N>CPU performance: " + cpu +
           "<N>Monitor Mode @ bootup : " + enabled(s.monitorModeDisabled == 0) +
           "<N>RS485 tx enable  : active " + (s.rs485ActiveHigh != 0 ? "high" : "low") +
           "<N>HTTP Port Number : " + QByteArray::number(s.httpPort) +
           "<N>SMTP Port Number : " + QByteArray::number(s.smtpPort) +
           "<N>MTU Size: " + QByteArray::number(s.mtu) + "<N>Alternate MAC: " + enabled(s.alternateMac != 0) +
           "<N>Ethernet connection type: auto-negotiate<L>";
}

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

} // namespace

QByteArray setuptexts::crLf()
{
    return QByteArray("\r\0\n", lineEndBytes);
}

QByteArray setuptexts::lfCr()
{
    return QByteArray("\n\r\0", lineEndBytes);
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
    return screen(basics(settings) + security(settings) + channel(settings) + expert(settings) + mail());
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
