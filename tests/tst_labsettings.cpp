#include "labprocess.h"
#include "labroom.h"
#include "udpprobe.h"

#include <QTcpSocket>
#include <QTest>

using namespace labroom;

namespace {

const char *const instrumentMac = "00:1A:2B:3C:4D:5E";
const char *const moduleMac = "00:20:4A:AD:64:70";

// To 192.168.0.77/16, gateway 192.168.7.1, DHCP off.
const char *const newSettings = "51756f72766578205365743a"
                                "001a2b3c4d5e"
                                "2711"
                                "c0a8004d"
                                "ffff0000"
                                "c0a80701"
                                "00000000";

const char *const ipSetup = "000000fc"
                            "49502d5345545550"
                            "0000"
                            "6470"
                            "c0a80051";

QJsonObject powerSupply()
{
    return object(R"({"kind":"powerSupply","code":"1100","mac":"00:1A:2B:3C:4D:5E","ip":"192.168.0.10",
                      "firmware":"2.1.04","serial":"24001","module":"Q","note":"N","site":"S"})");
}

QJsonObject commandFor(const char *name, const char *mac)
{
    return {{QStringLiteral("command"), QString::fromLatin1(name)},
            {QStringLiteral("mac"), QString::fromLatin1(mac)}};
}

} // namespace

// What the datagrams and commands that change an instrument do to it.
class TestLabSettings : public QObject
{
    Q_OBJECT

private slots:
    void setDatagramMovesTheInstrument_data();
    void setDatagramMovesTheInstrument();
    void datagramIsRefused_data();
    void datagramIsRefused();
    void dhcpFlagIsKeptAndReported_data();
    void dhcpFlagIsKeptAndReported();
    void ipSetupRestartsTheModule();
    void unpluggedInstrumentIsSilent();
    void badCommandsAreReported_data();
    void badCommandsAreReported();
};

void TestLabSettings::setDatagramMovesTheInstrument_data()
{
    QTest::addColumn<QString>("to");
    QTest::newRow("broadcast") << everyone();
    QTest::newRow("unicast") << QStringLiteral("192.168.0.10");
}

void TestLabSettings::setDatagramMovesTheInstrument()
{
    QFETCH(QString, to);
    LabProcess lab;
    play(lab, {with(powerSupply(), "applyMs", 20), plain("00:1A:2B:00:00:01", "192.168.0.240")});
    UdpProbe probe(onCable0());
    probe.send(hex(newSettings), to, discoveryPort);

    QVERIFY(lab.waitForEvent(QStringLiteral("addressChanged")));
    const QJsonObject set = lab.events(QStringLiteral("set")).value(0);
    QCOMPARE(field(set, "mac"), QString::fromLatin1(instrumentMac));
    QCOMPARE(field(set, "bytes"), QString::fromLatin1(newSettings));
    QCOMPARE(field(set, "via"), QLatin1String(QTest::currentDataTag()));
    QCOMPARE(field(set, "interface"), QStringLiteral("lab0"));
    QCOMPARE(set.value(QStringLiteral("port")).toInt(), 10001);
    const QJsonObject moved = lab.events(QStringLiteral("addressChanged")).value(0);
    QCOMPARE(field(moved, "from"), QStringLiteral("192.168.0.10"));
    QCOMPARE(field(moved, "to"), QStringLiteral("192.168.0.77"));

    // Nobody answers at the old address any more; at the new one, the reply holds the new settings.
    probe.send(discoveryQuery(), QStringLiteral("192.168.0.10"), discoveryPort);
    const auto atTheOld = probe.receiveUntil(QStringLiteral("192.168.0.240"), 1);
    QVERIFY(atTheOld && atTheOld->isEmpty());
    probe.send(discoveryQuery(), QStringLiteral("192.168.0.77"), discoveryPort);
    const auto reply = probe.receive();
    QVERIFY(reply);
    QCOMPARE(reply->from, QStringLiteral("192.168.0.77"));
    QCOMPARE(reply->bytes.mid(20, 12).toHex(), QByteArray("c0a8004d"
                                                          "ffff0000"
                                                          "c0a80701"));
}

void TestLabSettings::datagramIsRefused_data()
{
    QTest::addColumn<quint16>("port");
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("reason");
    const auto row = [](const char *name, quint16 port, const QByteArray &bytes, const char *reason) {
        QTest::newRow(name) << port << bytes << reason;
    };
    const QByteArray set = hex(newSettings);
    row("another MAC", discoveryPort, QByteArray(set).replace(17, 1, "\x5F"), "other MAC");
    row("a byte short", discoveryPort, set.left(35), "length");
    row("a byte more", discoveryPort, set + '\0', "length");
    row("address 0.0.0.0", discoveryPort, QByteArray(set).replace(20, 4, QByteArray(4, '\0')), "address");
    row("address 255.255.255.255", discoveryPort, QByteArray(set).replace(20, 4, QByteArray(4, '\xFF')),
        "address");
    row("another word", discoveryPort, QByteArray(set).replace(8, 3, "Get"), "unknown");
    const QByteArray setup = hex(ipSetup);
    row("another end of the MAC", modulePort, QByteArray(setup).replace(15, 1, "\x71"), "other MAC");
    row("set-up, a byte short", modulePort, setup.left(19), "length");
    row("set-up, another function", modulePort, QByteArray(setup).replace(3, 1, "\xFD"), "unknown");
    row("set-up, address 0.0.0.0", modulePort, setup.left(16) + QByteArray(4, '\0'), "address");
}

void TestLabSettings::datagramIsRefused()
{
    QFETCH(quint16, port);
    QFETCH(QByteArray, bytes);
    QFETCH(QString, reason);
    LabProcess lab;
    play(lab, {with(powerSupply(), "applyMs", 0), with(module(moduleMac, "192.168.0.50"), "restartMs", 0)});
    UdpProbe probe(onCable0());
    probe.send(bytes, everyone(), port);
    QVERIFY(lab.waitForEvent(QStringLiteral("ignored")));
    QCOMPARE(field(lab.events(QStringLiteral("ignored")).value(0), "reason"), reason);
    probe.send(discoveryQuery(), QStringLiteral("192.168.0.10"), discoveryPort);
    QVERIFY(probe.receive());
    probe.send(hex("000000f6"), QStringLiteral("192.168.0.50"), modulePort);
    QVERIFY(probe.receive());
    for (const char *change : {"set", "ipSetup", "addressChanged", "rebooted"}) {
        QVERIFY2(lab.events(QLatin1String(change)).isEmpty(), change);
    }
}

void TestLabSettings::dhcpFlagIsKeptAndReported_data()
{
    QTest::addColumn<QByteArray>("flag");
    QTest::addColumn<QByteArray>("reported");
    QTest::newRow("on, low byte first") << hex("01000000") << QByteArray("1");
    QTest::newRow("off") << hex("00000000") << QByteArray("0");
    QTest::newRow("high byte first is not on") << hex("00000001") << QByteArray("0");
}

void TestLabSettings::dhcpFlagIsKeptAndReported()
{
    QFETCH(QByteArray, flag);
    QFETCH(QByteArray, reported);
    LabProcess lab;
    play(lab, {with(powerSupply(), "applyMs", 0)});
    UdpProbe probe(onCable0());
    probe.send(hex(newSettings).left(32) + flag, everyone(), discoveryPort);
    QVERIFY(lab.waitForEvent(QStringLiteral("addressChanged")));
    probe.send(discoveryQuery(), everyone(), discoveryPort);
    const auto reply = probe.receive();
    QVERIFY(reply);
    QCOMPARE(reply->bytes.mid(44).split('\n').value(4).trimmed(), reported);
}

void TestLabSettings::ipSetupRestartsTheModule()
{
    LabProcess lab;
    play(lab, {with(module(moduleMac, "192.168.0.50"), "restartMs", 50)});
    QTcpSocket client;
    client.connectToHost(QStringLiteral("192.168.0.50"), 10001);
    QVERIFY(client.waitForConnected(5000));

    UdpProbe probe(onCable0());
    probe.send(hex(ipSetup), everyone(), modulePort);
    QVERIFY(client.waitForDisconnected(5000));
    QVERIFY(lab.waitForEvent(QStringLiteral("rebooted")));
    const QJsonObject event = lab.events(QStringLiteral("ipSetup")).value(0);
    QCOMPARE(field(event, "bytes"), QString::fromLatin1(ipSetup));
    QCOMPARE(field(event, "mac"), QString::fromLatin1(moduleMac));

    // The first datagram back is the answer to a new query: the set-up itself had none.
    probe.send(hex("000100f6"), everyone(), modulePort);
    const auto reply = probe.receive();
    QVERIFY(reply);
    QCOMPARE(reply->from, QStringLiteral("192.168.0.81"));
    client.connectToHost(QStringLiteral("192.168.0.81"), 10001);
    QVERIFY(client.waitForConnected(5000));
}

void TestLabSettings::unpluggedInstrumentIsSilent()
{
    LabProcess lab;
    play(lab, {powerSupply(), plain("00:1A:2B:00:00:01", "192.168.0.240")});
    UdpProbe probe(onCable0());
    lab.command(commandFor("remove", instrumentMac));
    QVERIFY(lab.waitForEvent(QStringLiteral("removed")));
    probe.send(discoveryQuery(), everyone(), discoveryPort);
    const auto unplugged = probe.receiveUntil(QStringLiteral("192.168.0.240"), 2);
    QVERIFY(unplugged && unplugged->isEmpty());
    lab.command(commandFor("restore", instrumentMac));
    QVERIFY(lab.waitForEvent(QStringLiteral("restored")));
    probe.send(discoveryQuery(), QStringLiteral("192.168.0.10"), discoveryPort);
    QVERIFY(probe.receive());
}

void TestLabSettings::badCommandsAreReported_data()
{
    QTest::addColumn<QJsonObject>("command");
    QTest::addColumn<QString>("reason");
    QTest::newRow("unknown") << commandFor("explode", instrumentMac) << "no such command";
    QTest::newRow("unknown MAC") << commandFor("reboot", "00:1A:2B:00:00:00")
                                 << "no instrument with this MAC";
}

void TestLabSettings::badCommandsAreReported()
{
    QFETCH(QJsonObject, command);
    QFETCH(QString, reason);
    LabProcess lab;
    play(lab, {powerSupply()});
    lab.command(command);
    QVERIFY(lab.waitForEvent(QStringLiteral("commandFailed")));
    QCOMPARE(field(lab.events(QStringLiteral("commandFailed")).value(0), "reason"), reason);
    lab.command({{QStringLiteral("command"), QStringLiteral("quit")}});
    QTRY_VERIFY(!lab.isRunning());
    QCOMPARE(lab.exitCode(), 0);
}

QTEST_GUILESS_MAIN(TestLabSettings)
#include "tst_labsettings.moc"
