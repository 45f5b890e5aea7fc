#include "labroom.h"
#include "motorbench.h"
#include "udpprobe.h"
#include "updateroom.h"

#include <QTest>

#include <algorithm>

using namespace labroom;
using namespace motorbench;
using updateroom::imageIn;
using updateroom::picoammeter;
using updateroom::powerSupply;
using updateroom::sectorSize;

// One update of each family by hand, the motor driver's setup menu included: what is said at each step,
// and what the flash holds.
class TestLabUpdate : public QObject
{
    Q_OBJECT

private slots:
    void powerSupplyIsUpdated();
    void beamlineFlashOnlyLosesBits();
    void setupScreensAreTheModules();
    void channelOneIsAskedPromptByPrompt();
    void unknownRatesAreAskedForAgain();
    void motorDriverIsUpdated();
    void motorFlashOnlyLosesBits();
    void oneClientIsServedAtATime();
};

namespace {

// "<N>" and "<L>" are the two line ends of the module.
QByteArray wire(QByteArray text)
{
    text.replace("<N>", QByteArray("\x0D\x00\x0A", 3));
    text.replace("<L>", QByteArray("\x0A\x0D\x00", 3));
    return text;
}

const QByteArray mainMenu = "<N><L>Change Setup:<L>  0 Server<N>  1 Channel 1<N>  3 E-mail<N>  5 Expert<N>"
                            "  6 Security<N>  7 Defaults<L>  8 Exit without save<N>"
                            "  9 Save and exit            Your choice ? ";

// A boot loader image with a data record, and so one that a DSP runs.
const QByteArray loader = ":0400000001020304F2\n:00000001FF";

const QByteArray eraseAll = hex("0C0E0E010B0E");
const QByteArray oneWord = hex("0C0E0A04003E80000E 0C0E0C0212340E 0C0E0B000E"); // 1234 at the flash's start

// A connection to the setup port, in the main menu.
class Setup : public Client
{
public:
    Setup() : Client(setupPort)
    {
        until(wire("Setup Mode <L>"));
        listing = exchange("\r\n", "choice ? ");
    }

    bool save() { return exchange("9\r\n", wire("stored ...<L>")).startsWith(wire("9\n<N>")) && isDropped(); }

    QByteArray listing;
};

// Through the menu to another speed, as a person in a hurry types it.
void setBaudrate(MotorLab &lab, const QByteArray &rate)
{
    const QString done = QStringLiteral("rebooted");
    const int before = lab.events(done).size();
    Setup setup;
    setup.exchange("1\r\n" + rate + QByteArray("\r\n").repeated(19), "choice ? ");
    QVERIFY(setup.save());
    QVERIFY(lab.waitForEvent(done, before + 1));
}

// Reset, and then these pins: "05" for the Communication DSP, "06" for the Control DSP, "07" to run.
void setPins(const char *pins)
{
    Client gpio(gpioPort);
    const QByteArray commands = hex("190700000007000000 1A0700000000000000 1B0700000000000000 1B07000000");
    const QByteArray answers = hex("1907000000 1A00000000 1B00000000 1B") + hex(pins) + zeros(3);
    QCOMPARE(gpio.exchange(commands + hex(pins) + zeros(3), answers).toHex(), answers.toHex());
}

void startFlashProgram(MotorLab &lab, const char *pins)
{
    setBaudrate(lab, "38400");
    setPins(pins);
    Client tunnel(tunnelPort);
    QCOMPARE(tunnel.exchange("xa" + loader, "FF"), "a" + loader); // deaf to anything before an "a"
}

// A page of 256 words, at a word address of six digits.
QByteArray page(const char *address, const QByteArray &words, const char *end = "0C0E0B000E")
{
    QByteArray packets = hex("0C0E0A0400") + hex(address) + hex("0E");
    for (int i = 0; i < words.size(); i += 32) {
        packets += hex("0C0E0C20") + words.mid(i, 32) + hex("0E");
    }
    return packets + hex(end);
}

} // namespace

// One in recovery mode.
void TestLabUpdate::powerSupplyIsUpdated()
{
    const QByteArray image = updateroom::firmware(3 * sectorSize + 17);
    const QByteArray before = "#VER:QPX:BOOT\r\n";
    LabProcess lab;
    updateroom::startLab(lab, R"({"kind":"json","code":"1F80","texts":{"ID":"QPX","FW":"BOOT"}})",
                         R"({"newFirmware":"2.1.10","newCode":"1100"})");
    Client client(tunnelPort, updateroom::address().toLatin1().constData());
    const auto ask = [&client](const QByteArray &bytes) { return client.exchange(bytes, "\r\n"); };
    QCOMPARE(ask("VER\r\n"), before);
    QCOMPARE(ask("EPCSER:0\r\n"), QByteArray("#NAK\r\n")); // the other dialogue's
    QCOMPARE(ask("MRP\r\n"), QByteArray("#MRP:48.02 V\r\n"));
    QCOMPARE(ask("image\r\n"), QByteArray("#NAK\r\n")); // not without a status question
    QCOMPARE(ask("MST\r\n"), QByteArray("#MST:00000000\r\n"));
    QCOMPARE(ask("MRG:83\r\n"), QByteArray("#MRG:83:48.02 V\r\n"));
    const QByteArray answer = ask(image);
    QCOMPARE(answer.count("$:"), 1 + 3 + 1); // at the start, each 64 KiB, at the end
    QVERIFY(answer.startsWith("$:") && answer.endsWith("\n#ACK\r\n"));
    QVERIFY(updateroom::storedIs(lab, image));
    QCOMPARE(ask("VER\r\n"), before); // until the restart

    client.send("MREBOOT\r\n");
    QVERIFY(client.isDropped());
    QVERIFY(lab.waitForEvent(QStringLiteral("rebooted")));
    UdpProbe probe(onCable0());
    probe.send(discoveryQuery(), everyone(), discoveryPort);
    const auto reply = probe.receive();
    QVERIFY(reply && reply->bytes.contains("\"CODE\":\"1100\"") &&
            reply->bytes.contains("\"FW\":\"2.1.10\""));
}

void TestLabUpdate::beamlineFlashOnlyLosesBits()
{
    LabProcess lab;
    updateroom::startLab(lab, picoammeter);
    const QByteArray factory = imageIn(lab);
    QCOMPARE(factory.size(), 2 * sectorSize);
    QVERIFY(!factory.contains('\xff'));
    const QByteArray image = updateroom::firmware(2 * sectorSize);
    {
        Client client(tunnelPort, updateroom::address().toLatin1().constData());
        QCOMPARE(client.exchange("EPCSER:1024\r", "\r\n"), QByteArray("#NAK\r\n"));
        QCOMPARE(client.exchange("EPCSER:1\r", "\r\n"), QByteArray("#ACK\r\n"));
        QCOMPARE(imageIn(lab), factory.left(sectorSize) + QByteArray(sectorSize, '\xff'));
        QCOMPARE(client.exchange("EPCSWR\r", "\r\n"), QByteArray("#ACK\r\n"));
        QCOMPARE(client.exchange(image, "\r\n"), QByteArray("#ACK\r\n"));
    }
    QByteArray expected = image; // the first sector was not erased
    std::transform(factory.cbegin(), factory.cbegin() + sectorSize, image.cbegin(), expected.begin(),
                   [](char old, char written) { return static_cast<char>(old & written); });
    QCOMPARE(imageIn(lab), expected);
    QVERIFY(lab.waitForEvent(QStringLiteral("rebooted"))); // by itself, now that its client has left
    QCOMPARE(field(lab.events(QStringLiteral("versionChanged")).value(0), "to"), QStringLiteral("1.2.04"));
}

void TestLabUpdate::setupScreensAreTheModules()
{
    MotorLab lab;
    lab.startDriver();
    Client client(setupPort);
    QCOMPARE(client.until(wire("Setup Mode <L>")).toHex(),
             QByteArray("fffb01fffb030d000a4d414320616464726573732030303230344141443634"
                        "37300a0d00536f6674776172652076657273696f6e2056362e352e302e37202830373039313929205850"
                        "544558450d000a0a0d00507265737320456e74657220666f72205365747570204d6f6465200a0d00"));
    client.send("M1Y"); // only Enter opens it
    const QByteArray listing = client.exchange("\r\n", "choice ? ");
    const QByteArray begin =
        wire("<N>\n*** basic parameters <L>Hardware: Ethernet TPI<N>"
             "IP addr 192.168.0.60, gateway 192.168.0.1,netmask 255.255.255.0<N>"
             "<N>*** Security<N>SNMP is              enabled<N>SNMP Community Name: public<N>"
             "Telnet Setup is      enabled<N>TFTP Download is     enabled<N>Port 77FEh is        enabled<N>"
             "Web Server is        enabled<N>Web Setup is         enabled<N>ECHO is              disabled<N>"
             "Enhanced Password is disabled<N>Port 77F0h is        enabled<N>"
             "<N>*** Channel 1<L>Baudrate 921600, I/F Mode 4C, Flow 00<L>Port 10001<N>Connect Mode : C0<N>"
             "Send '+++' in Modem Mode enabled<N>Show IP addr after 'RING' enabled<N>"
             "Auto increment source port disabled<N>Remote IP Adr: --- none ---, Port 00000<N>"
             "Disconn Mode : 00<N>Flush   Mode : 00<N>"
             "<N>*** Expert<N>TCP Keepalive    : 45s<L>ARP cache timeout: 600s<N>CPU performance: High<N>"
             "Monitor Mode @ bootup : enabled<N>RS485 tx enable  : active low<N>HTTP Port Number : 80<N>"
             "SMTP Port Number : 25<N>MTU Size: 1400<N>Alternate MAC: disabled<N>"
             "Ethernet connection type: auto-negotiate<L>"
             "<L>*** E-mail<L>Mail server: 0.0.0.0<L>Unit       : <L>Domain     : <L>Recipient 1: <L>"
             "Recipient 2: <L>\n- Trigger 1 <N>");
    QCOMPARE(listing.left(begin.size()), begin);
    QVERIFY(listing.endsWith(wire("Re-notification interval  : 0 s<N>" + mainMenu)));
    QCOMPARE(client.exchange("4\r\n", "choice ? "), wire("4\n" + mainMenu)); // such a choice there is not
}

void TestLabUpdate::channelOneIsAskedPromptByPrompt()
{
    MotorLab lab;
    lab.startDriver();
    Setup setup;
    // What is typed, and what comes back. A question for Y or N takes one key; CR alone is an Enter too.
    const QVector<QPair<QByteArray, QByteArray>> dialogue{
        {"1\r\n", "1\n<N>Baudrate (921600) ? "},
        {"38400\r", "38400\n<N>I/F Mode (4C) ? "},
        {QByteArray("\r\0", 2), "<N>Flow (00) ? "},
        {"2\r\n", "2\n<N>Port No (10001) ? "},
        {"80\r\n", "80\n<N>ConnectMode (C0) ? "},
        {"\r\n", "<N>Send '+++' in Modem Mode  (Y) ? "},
        {"N", "N<N>Show IP addr after 'RING'  (Y) ? "},
        {"\r\n", "<N>Auto increment source port  (N) ? "},
        {"\r\n", "<N>Remote IP Address : (000) "},
        {"10\r\n", "10\n.(000) "},
        {"\r\n", ".(000) "},
        {"\r\n", ".(000) "},
        {"\r\n", "<N>Remote Port  (0) ? "},
        {"\r\n", "<N>DisConnMode (00) ? "},
        {"80\r\n", "80\n<N>FlushMode   (00) ? "},
        {"77\r\n", "77\n<N>DisConnTime (00:00) ?"},
        {"\r\n", ":"},
        {"3\r\n", "3\n<N>SendChar 1  (00) ? "},
        {"D\r\n", "D\n<N>SendChar 2  (00) ? "},
        {"now\r\n", "now\n" + mainMenu}}; // no number: as it was
    for (const auto &[typed, screen] : dialogue) {
        QCOMPARE(setup.exchange(typed, wire(screen)), wire(screen));
    }
    QVERIFY(setup.save());
    QVERIFY(lab.waitForEvent(QStringLiteral("rebooted")));
    const QByteArray stored =
        wire("<L>Baudrate 38400, I/F Mode 4C, Flow 02<L>Port 00080<N>Connect Mode : C0<N>"
             "Send '+++' in Modem Mode disabled<N>Show IP addr after 'RING' enabled<N>"
             "Auto increment source port disabled<N>Remote IP Adr: 10.0.0.0, Port 00000<N>"
             "Disconn Mode : 80  Disconn Time: 00:03<N>Flush   Mode : 77<N>"
             "SendChars    : 0D 00 <N>");
    const QByteArray listing = Setup().listing;
    QVERIFY2(listing.contains(stored), listing.constData());
    QVERIFY(Client(80).isConnected());
    QVERIFY(Client(tunnelPort).isRefused());
}

void TestLabUpdate::unknownRatesAreAskedForAgain()
{
    MotorLab lab;
    lab.startDriver(R"({"faults":{"refusedBaudrate":9600}})");
    Setup setup;
    setup.exchange("1\r\n", "? ");
    const QByteArray again = "\n<N>Invalid Baudrate !!!<N>Baudrate (921600) ? ";
    for (const char *rate : {"0", "14400", "250000", "038400", "9600"}) {
        QCOMPARE(setup.exchange(rate + QByteArray("\r\n"), "? "), wire(rate + again));
    }
    QCOMPARE(setup.exchange("1234567\r\n", "? "), wire("123456" + again)); // the field is full
    setup.exchange("38400" + QByteArray("\r\n").repeated(19), "choice ? ");
    QCOMPARE(setup.exchange("8\r\n", wire("!<L>")), wire("8\n<N>exiting without save !<L>"));
    QVERIFY(setup.isDropped());
    QVERIFY(Setup().listing.contains("Baudrate 921600, ")); // nothing was saved
}

void TestLabUpdate::motorDriverIsUpdated()
{
    MotorLab lab;
    lab.startDriver();
    const QByteArray other = lab.dump(QStringLiteral("communication"));
    startFlashProgram(lab, "06");
    QByteArray words; // each different from its neighbours
    for (int i = 0; i < 512; ++i) {
        words += static_cast<char>(i * 7 + i / 256);
    }
    {
        Client tunnel(tunnelPort); // at once: the one before is gone
        QCOMPARE(tunnel.exchange(eraseAll, "\n"), QByteArray("ACK\n"));
        for (const char byte : page("3F7F00", words)) {
            tunnel.send(QByteArray(1, byte)); // as a slow line brings it
        }
        QCOMPARE(tunnel.until("\n"), QByteArray("ACK\n"));
        QCOMPARE(tunnel.exchange(page("3F7F00", words, "0C0E0D000E"), "\n"), QByteArray("ACK\n")); // compare
        QCOMPARE(tunnel.exchange(page("3F7E00", words, "0C0E0D000E"), "\n"), QByteArray("NAK\n"));
    }
    QByteArray expected(flashBytes, '\xFF');
    expected.replace(2 * (0x3F7F00 - 0x3E8000), words.size(), words);
    QCOMPARE(lab.dump(QStringLiteral("control")), expected);
    QCOMPARE(lab.dump(QStringLiteral("communication")), other);
    setPins("07"); // the line is too slow for those that run
    Client(tunnelPort).send("MVER\r\n");
    QVERIFY(lab.waitForEvent(QStringLiteral("serialGarbled")));
    setBaudrate(lab, "921600");
    QCOMPARE(Client(tunnelPort).exchange("MVER\r\nX\r\n", "NAK\r\n"),
             QByteArray("#MVER:ROVAN-MOTOR:x:1.07\r\n#NAK\r\n"));
}

void TestLabUpdate::motorFlashOnlyLosesBits()
{
    const QString dsp = QStringLiteral("communication");
    MotorLab lab;
    lab.startDriver();
    const QByteArray old = lab.dump(dsp);
    startFlashProgram(lab, "05");
    Client tunnel(tunnelPort);
    const QByteArrayList malformed{hex("0C0E0E01FF0E"), // erase of something else
                                   hex("0C0E0E010B0D"), // no end
                                   hex("0C0E10000E"),   // unknown command
                                   oneWord.mid(9),      // data without an address
                                   QByteArray(oneWord).replace(5, 3, hex("3F9000")), // outside the flash
                                   oneWord.left(9) + oneWord.right(5)};              // page without data
    for (const QByteArray &packets : malformed) {
        QVERIFY2(tunnel.exchange(packets, "NAK\n").startsWith("NAK\n"), packets.toHex());
        QCOMPARE(lab.dump(dsp), old);
    }
    // The next good packet is understood, whatever was left over; but nothing was erased.
    tunnel.send(oneWord);
    QVERIFY(lab.waitForEvent(QStringLiteral("pageWritten")));
    QCOMPARE(old.left(2), hex("daa5"));
    QCOMPARE(lab.dump(dsp), hex("1224") + old.mid(2));
}

void TestLabUpdate::oneClientIsServedAtATime()
{
    LabProcess lab;
    play(lab, {driver({}), updateroom::instrument(powerSupply)});
    int clients = 0;
    for (const quint16 port : {setupPort, gpioPort, tunnelPort}) {
        Client first(port);
        QVERIFY(lab.waitForEvent(QStringLiteral("connected"), ++clients));
        QVERIFY(Client(port).isDropped());
        QVERIFY(first.isConnected());
        first.hangUp();
        const Client third(port); // whoever calls at once gets through
        QVERIFY(lab.waitForEvent(QStringLiteral("connected"), ++clients));
    }
    const QByteArray own = updateroom::address().toLatin1();
    Client first(tunnelPort, own.constData());
    QVERIFY(first.exchange("VER\r\n", "\r\n").startsWith("#VER:"));
    QVERIFY(Client(tunnelPort, own.constData()).isRefused());
    QVERIFY(first.isConnected());
}

QTEST_GUILESS_MAIN(TestLabUpdate)
#include "tst_labupdate.moc"
