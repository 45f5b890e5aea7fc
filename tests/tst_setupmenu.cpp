#include "setupmenu.h"
#include "setuptexts.h"

#include <QTest>

// The module's setup menu, byte for byte.
class TestSetupMenu : public QObject
{
    Q_OBJECT

private slots:
    void greetsAsTheModuleDoes();
    void listsItsSettings();
    void walksThroughChannelOne();
    void enterComesInThreeSpellings();
    void oneKeyAnswersAtOnce();
    void keepsWhatWasTyped_data();
    void keepsWhatWasTyped();
    void asksForUnknownRatesAgain();
    void fastRatesNeedTheFastProcessor();
    void leavesByNineOrEight();
    void otherConnectionsAreAskedForOtherThings_data();
    void otherConnectionsAreAskedForOtherThings();
    void passwordGuardsTheMenu();
    void scenarioMayAskMoreOrLess();
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

ModuleSettings factorySettings()
{
    ModuleSettings settings;
    settings.ip = 0xC0A80064;
    return settings;
}

// Past the banner, in the main menu.
SetupMenu openMenu(const ModuleSettings &settings = factorySettings(), const SetupFaults &faults = {})
{
    SetupMenu menu(settings, faults);
    menu.receive("\r\n");
    return menu;
}

} // namespace

void TestSetupMenu::greetsAsTheModuleDoes()
{
    const QByteArray expected = QByteArray::fromHex(
        "fffb01fffb030d000a4d414320616464726573732030303230344141443634"
        "37300a0d00536f6674776172652076657273696f6e2056362e352e302e37202830373039313929205850"
        "544558450d000a0a0d00507265737320456e74657220666f72205365747570204d6f6465200a0d00");
    const QByteArray greeting =
        setuptexts::banner(QByteArray::fromHex("00204AAD6470")) + setuptexts::pressEnter();
    QCOMPARE(greeting.toHex(), expected.toHex());

    SetupMenu menu(factorySettings(), {});
    QCOMPARE(menu.receive("M1Y"), QByteArray()); // only Enter opens it
    QVERIFY(!menu.isEntered());
}

void TestSetupMenu::listsItsSettings()
{
    SetupMenu menu(factorySettings(), {});
    const QByteArray listing = menu.receive("\r\n");
    const QByteArray begin =
        "<N>\n*** basic parameters <L>Hardware: Ethernet TPI<N>IP addr 192.168.0.100, no gateway set<N>"
        "<N>*** Security<N>SNMP is              enabled<N>SNMP Community Name: public<N>"
        "Telnet Setup is      enabled<N>TFTP Download is     enabled<N>Port 77FEh is        enabled<N>"
        "Web Server is        enabled<N>Web Setup is         enabled<N>ECHO is              disabled<N>"
        "Enhanced Password is disabled<N>Port 77F0h is        enabled<N>"
        "<N>*** Channel 1<L>Baudrate 9600, I/F Mode 4C, Flow 00<L>Port 10001<N>Connect Mode : C0<N>"
        "Send '+++' in Modem Mode enabled<N>Show IP addr after 'RING' enabled<N>"
        "Auto increment source port disabled<N>Remote IP Adr: --- none ---, Port 00000<N>"
        "Disconn Mode : 00<N>Flush   Mode : 00<N>"
        "<N>*** Expert<N>TCP Keepalive    : 45s<L>ARP cache timeout: 600s<N>CPU performance: Regular<N>"
        "Monitor Mode @ bootup : enabled<N>RS485 tx enable  : active low<N>HTTP Port Number : 80<N>"
        "SMTP Port Number : 25<N>MTU Size: 1400<N>Alternate MAC: disabled<N>"
        "Ethernet connection type: auto-negotiate<L>"
        "<L>*** E-mail<L>Mail server: 0.0.0.0<L>Unit       : <L>Domain     : <L>Recipient 1: <L>"
        "Recipient 2: <L>\n- Trigger 1 <N>Serial trigger input: disabled<N>  Channel: 1<N>  Match: 00,00<N>"
        "Trigger input1: X<N>";
    QCOMPARE(listing.left(wire(begin).size()), wire(begin));
    QVERIFY(listing.endsWith(wire("Re-notification interval  : 0 s<N>" + mainMenu)));

    ModuleSettings settings = factorySettings();
    settings.port = 80;
    settings.hasGateway = 1;
    settings.gateway = 0xC0A80001;
    settings.disconnectMode = 0x80;
    settings.disconnectSeconds = 3;
    settings.sendCharacter1 = 0x0D;
    settings.cpu = ModuleSettings::cpuHigh;
    const QByteArray other = setuptexts::listing(settings);
    for (const char *line : {"IP addr 192.168.0.100, gateway 192.168.0.1,netmask 255.255.255.0<N>",
                             "<L>Port 00080<N>", "Disconn Mode : 80  Disconn Time: 00:03<N>",
                             "<N>SendChars    : 0D 00 <N>", "CPU performance: High<N>"}) {
        QVERIFY2(other.contains(wire(line)), line);
    }
}

void TestSetupMenu::walksThroughChannelOne()
{
    const QVector<QByteArray> prompts{"<N>I/F Mode (4C) ? ",
                                      "<N>Flow (00) ? ",
                                      "<N>Port No (10001) ? ",
                                      "<N>ConnectMode (C0) ? ",
                                      "<N>Send '+++' in Modem Mode  (Y) ? ",
                                      "<N>Show IP addr after 'RING'  (Y) ? ",
                                      "<N>Auto increment source port  (N) ? ",
                                      "<N>Remote IP Address : (000) ",
                                      ".(000) ",
                                      ".(000) ",
                                      ".(000) ",
                                      "<N>Remote Port  (0) ? ",
                                      "<N>DisConnMode (00) ? ",
                                      "<N>FlushMode   (00) ? ",
                                      "<N>DisConnTime (00:00) ?",
                                      ":",
                                      "<N>SendChar 1  (00) ? ",
                                      "<N>SendChar 2  (00) ? ",
                                      mainMenu};
    SetupMenu menu = openMenu();
    QCOMPARE(menu.receive("1\r\n"), wire("1\n<N>Baudrate (9600) ? "));
    QCOMPARE(menu.receive("38400\r\n"), wire("38400\n" + prompts.first()));
    for (int i = 1; i < prompts.size(); ++i) {
        QCOMPARE(menu.receive("\r\n"), wire(prompts.at(i)));
    }
    QCOMPARE(menu.settings().baudrate, 38400U);
    QCOMPARE(menu.receive("1\r\n"), wire("1\n<N>Baudrate (38400) ? "));
}

void TestSetupMenu::enterComesInThreeSpellings()
{
    for (const QByteArray &enter : {QByteArray("\r\n"), QByteArray("\r\0", 2), QByteArray("\r")}) {
        SetupMenu menu = openMenu();
        const QByteArray keys = "\xFF\xFD\x03" + QByteArray("12\x7F") + enter + enter; // a telnet wish first
        QByteArray screen;
        for (const char key : keys) {
            screen += menu.receive(QByteArray(1, key));
        }
        QCOMPARE(screen, wire("12\b \b\n<N>Baudrate (9600) ? <N>I/F Mode (4C) ? "));
    }
}

void TestSetupMenu::oneKeyAnswersAtOnce()
{
    SetupMenu menu = openMenu();
    menu.receive("1\r\r\r\r\r\r");
    QCOMPARE(menu.receive("N"), wire("N<N>Show IP addr after 'RING'  (Y) ? "));
    QCOMPARE(menu.receive("x"), QByteArray());
    // The Enter after the key already answers the next question.
    QCOMPARE(menu.receive("y\r\n"),
             wire("y<N>Auto increment source port  (N) ? <N>Remote IP Address : (000) "));
    QCOMPARE(menu.settings().sendsPlus, 0U);
    QCOMPARE(menu.settings().showsAddress, 1U);
}

void TestSetupMenu::keepsWhatWasTyped_data()
{
    QTest::addColumn<QByteArray>("keys");
    QTest::addColumn<QByteArray>("screen"); // at its end, or somewhere in the listing of the next session
    const auto row = [](const char *name, const char *keys, const char *screen) {
        QTest::newRow(name) << QByteArray(keys) << QByteArray(screen);
    };
    row("address", "0\r10\r20\r30\r40\r", "IP addr 10.20.30.40, no gateway");
    row("gateway", "0\r\r\r\r\rY\r\r\r1\r8\r\r", "gateway 0.0.0.1,netmask 255.255.255.0");
    row("channel", "1\r\r\r7\r80\rD4\r", "Flow 04<L>Port 00080<N>");
    row("disconnect time", "1\r\r\r\r\r\r\r\r\r\r\r\r\r\r80\r77\r1\r30\r",
        "Disconn Mode : 80  Disconn Time: 01:30<N>Flush   Mode : 77");
    row("processor", "5\r\r\r2\r", "CPU performance: High");
    row("switches", "6\r\rlab\rY\r\r\r\rN\r\r\r", "Community Name: lab<N>Telnet Setup is      disabled<N>");
    row("echo back on", "6\r\r\r\r\r\r\r\rN", "ECHO is              enabled");
    row("no number", "1\r\r\r\rnow\rZZ\r", "Port 10001<N>Connect Mode : C0");
    row("out of range", "1\r\r\r\r70000\r1C0\r", "Port 10001<N>Connect Mode : C0");
    row("defaults spare the address", "1\r1200\r\r\r\r\r\r\r\r\r\r\r\r\r\r\r\r\r\r\r0\r10\r\r\r\rN\rN7\r",
        "IP addr 10.168.0.100");
}

void TestSetupMenu::keepsWhatWasTyped()
{
    QFETCH(QByteArray, keys);
    QFETCH(QByteArray, screen);
    SetupMenu menu = openMenu();
    menu.receive(keys);
    const QByteArray listing = setuptexts::listing(menu.settings());
    QVERIFY2(listing.contains(wire(screen)), listing.constData());
    QCOMPARE(listing.contains("Baudrate 1200"), false); // a default of 9600 or never touched
}

void TestSetupMenu::asksForUnknownRatesAgain()
{
    SetupMenu menu = openMenu();
    menu.receive("1\r");
    const QByteArray again = "\n<N>Invalid Baudrate !!!<N>Baudrate (9600) ? ";
    for (const char *rate : {"0", "14400", "250000", "9600x", "038400"}) {
        QCOMPARE(menu.receive(rate + QByteArray("\r\n")), wire(rate + again));
    }
    QCOMPARE(menu.receive("1234567\r\n"), wire("123456" + again)); // the field is full
    QCOMPARE(menu.receive("\r\n"), wire("<N>I/F Mode (4C) ? "));
    QCOMPARE(menu.settings().baudrate, 9600U);

    SetupFaults faults;
    faults.refusedRates = {38400};
    SetupMenu picky = openMenu(factorySettings(), faults);
    QCOMPARE(picky.receive("1\r38400\r"), wire("1\n<N>Baudrate (9600) ? 38400" + again));
}

void TestSetupMenu::fastRatesNeedTheFastProcessor()
{
    const QByteArray question = "921600\n<N>Requires CPU high performance!<N>Enable High Performance (N) ? ";
    SetupMenu menu = openMenu();
    menu.receive("1\r");
    QCOMPARE(menu.receive("921600\r\n"), wire(question));
    QCOMPARE(menu.receive("\r\n"), wire("<N>Baudrate (9600) ? "));
    QCOMPARE(menu.receive("921600\r\n"), wire(question));
    QCOMPARE(menu.receive("Y"), wire("Y<N>I/F Mode (4C) ? "));
    QCOMPARE(menu.settings().baudrate, 921600U);
    QCOMPARE(menu.settings().cpu, ModuleSettings::cpuHigh);

    SetupMenu fast = openMenu(motorDriverSettings());
    QCOMPARE(fast.receive("1\r460800\r"), wire("1\n<N>Baudrate (921600) ? 460800\n<N>I/F Mode (4C) ? "));
}

void TestSetupMenu::leavesByNineOrEight()
{
    SetupMenu menu = openMenu();
    QCOMPARE(menu.receive("4\r\r\n"), wire("4\n" + mainMenu + mainMenu));
    QCOMPARE(menu.receive("7\r"), wire("7\n<N>" + mainMenu));
    QVERIFY(menu.end() == SetupMenu::End::Open);
    SetupMenu other = menu;
    QCOMPARE(menu.receive("9\r\n\r\n"), wire("9\n<N>Parameters stored ...<L>"));
    QVERIFY(menu.end() == SetupMenu::End::Saved);
    QCOMPARE(other.receive("8\r\n1\r\n"), wire("8\n<N>exiting without save !<L>"));
    QVERIFY(other.end() == SetupMenu::End::Dropped);
}

void TestSetupMenu::otherConnectionsAreAskedForOtherThings_data()
{
    QTest::addColumn<QByteArray>("keys");
    QTest::addColumn<QByteArray>("screen");
    const auto row = [](const char *name, const char *keys, const char *screen) {
        QTest::newRow(name) << QByteArray(keys) << QByteArray(screen);
    };
    row("datagrams", "1\r\r\r\r\rCC\r\r\r\r\r\r",
        "CC\n<N>Datagram Type (01) ? <N>Send as Broadcast  (N) ? <N>Remote Port  (0) ? "
        "<N>Pack Cntrl (00) ? <N>SendChar 1  (00) ? <N>SendChar 2  (00) ? ");
    row("host list", "1\r\r\r\r\rE0\r\r\r\r\r\r\r",
        "<N>Change Hostlist ? (N) ? <N>Hostlist Retrycounter  (3) ? "
        "<N>Hostlist Retrytimeout  (250) ? <N>DisConnMode (00) ? ");
    row("packing", "1\r\r\r\r\r\r\r\r\r\r\r\r\r\r\r80\r", "<N>FlushMode   (00) ? 80\n<N>Pack Cntrl (00) ? ");
    row("terminal", "1\r\r\r\r\r\r\r\r\r\r\r\r\r\r20\r\r\r\r\r\r",
        "<N>SendChar 2  (00) ? <N>Terminal name () ?");
}

void TestSetupMenu::otherConnectionsAreAskedForOtherThings()
{
    QFETCH(QByteArray, keys);
    QFETCH(QByteArray, screen);
    SetupMenu menu = openMenu();
    const QByteArray printed = menu.receive(keys);
    QVERIFY2(printed.endsWith(wire(screen)), printed.constData());
}

void TestSetupMenu::passwordGuardsTheMenu()
{
    SetupMenu first = openMenu();
    QVERIFY(first.receive("0\r\r\r\r\rN\rY").endsWith(wire("Y<N>Enter new Password: ")));
    first.receive("abcd\r");
    SetupMenu second(first.settings(), {});
    QCOMPARE(second.receive("\r\n"), wire("<N>Password  :"));
    QCOMPARE(second.receive("abcx\r\n"), wire("abcx\n<N>Password  :"));
    QVERIFY(second.receive("abcd\r\n").startsWith(wire("abcd\n<N>\n*** basic parameters <L>")));
}

void TestSetupMenu::scenarioMayAskMoreOrLess()
{
    for (const int prompts : {7, 30}) { // instead of 19
        SetupFaults faults;
        faults.channelPrompts = prompts;
        SetupMenu menu = openMenu(factorySettings(), faults);
        int asked = 0;
        QByteArray screen = menu.receive("1\r\n");
        for (; !screen.endsWith("Your choice ? ") && asked < 99; ++asked) {
            screen = menu.receive("\r\n");
        }
        QCOMPARE(asked, prompts);
    }
}

QTEST_GUILESS_MAIN(TestSetupMenu)
#include "tst_setupmenu.moc"
