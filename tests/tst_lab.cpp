#include "labprocess.h"
#include "labroom.h"
#include "motorbench.h"
#include "udpprobe.h"

#include <QJsonDocument>
#include <QProcess>
#include <QTest>

#include <utility>

using namespace labroom;

// What the virtual instruments say and obey on UDP, which scenarios are played, and where.
class TestLab : public QObject
{
    Q_OBJECT

private slots:
    void repliesCarryTheirBytes_data();
    void repliesCarryTheirBytes();
    void jsonRepliesCarryTheirKeys();
    void modulesAnswerFourByteQueries();
    void setDatagramMovesTheInstrument();
    void ipSetupRestartsTheModule();
    void datagramIsRefused_data();
    void datagramIsRefused();
    void scenarioErrorsNameInstrumentAndKey_data();
    void scenarioErrorsNameInstrumentAndKey();
    void playsNowhereElse();
    void takesOverAfterAKilledLab();
};

namespace {

constexpr int refused = 2;

// The bytes that the wire shall carry at an offset.
struct Piece
{
    int offset;
    QByteArray bytes;
};

// To 192.168.0.77/16, gateway 192.168.7.1, DHCP on.
const char *const newSettings = "51756f72766578205365743a"
                                "001a2b3c4d5e"
                                "2711"
                                "c0a8004d"
                                "ffff0000"
                                "c0a80701"
                                "01000000";

const char *const ipSetup = "000000fc"
                            "49502d5345545550"
                            "0000"
                            "6470"
                            "c0a80051";

QJsonObject powerSupply(int applyMs)
{
    return with(object(R"({"kind":"powerSupply","code":"1100","mac":"00:1A:2B:3C:4D:5E","ip":"192.168.0.10",
                           "firmware":"2","serial":"3","module":"Q","note":"N","site":"S"})"),
                "applyMs", applyMs);
}

QJsonObject fastModule()
{
    return with(module(motorbench::mac, "192.168.0.50"), "restartMs", 0);
}

// The answer to one datagram.
UdpProbe::Reply ask(const QByteArray &bytes, const QString &to, quint16 port)
{
    UdpProbe probe(onCable0());
    probe.send(bytes, to, port);
    return probe.receive().value_or(UdpProbe::Reply());
}

// virtual-lab without the help of LabProcess: how it ended and what it said.
QString outcome(bool inLabNet)
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    if (!inLabNet) {
        environment.remove(QStringLiteral("LAB_NET"));
    }
    process.setProcessEnvironment(environment);
    process.start(LabProcess::program(), {QStringLiteral("--count"), QStringLiteral("1")});
    process.waitForFinished();
    return QString::number(process.exitCode()) + QString::fromLocal8Bit(process.readAllStandardError());
}

QString addressesOfTheLabHost()
{
    QProcess process;
    process.start(LabProcess::labNet(),
                  {QStringLiteral("--lab"), QStringLiteral("--"), QStringLiteral("ip"), QStringLiteral("-4"),
                   QStringLiteral("-oneline"), QStringLiteral("address")});
    process.waitForFinished();
    return QString::fromLocal8Bit(process.readAllStandardOutput());
}

} // namespace

using Pieces = QVector<Piece>;
Q_DECLARE_METATYPE(Pieces)

void TestLab::repliesCarryTheirBytes_data()
{
    QTest::addColumn<QByteArray>("instrument");
    QTest::addColumn<Pieces>("pieces");
    const auto row = [](const char *name, const char *json, const Pieces &pieces) {
        QTest::newRow(name) << QByteArray(json) << pieces;
    };
    row("power supply, six parts",
        R"({"kind":"powerSupply","code":"1100","firmware":"2.1.04","serial":"24001","module":"QPS","note":"N",
            "site":"S","dhcp":true})",
        {{12, hex("1100")},
         {44, QByteArrayLiteral("2.1.04\r\n24001\r\nQPS\r\nN\r\n1\r\nS\r\n\0")},
         {247, QByteArray(1, '\0')}});
    row("power supply, four parts",
        R"({"kind":"powerSupply","code":"1400","firmware":"2","serial":"3","module":"Q","note":"N","parts":4})",
        {{12, hex("1400")}, {44, QByteArrayLiteral("2\r\n3\r\nQ\r\nN\r\n\0")}});
    row("beamline, and a 1600 like one",
        R"({"kind":"beamline","code":"1600","firmware":"1311","module":"QT16","serial":2117006})",
        {{12, hex("1600")}, {36, "QT16"}, {44, "1311" + hex("00204d8e")}});
    row("transducer",
        R"({"kind":"transducer","code":"3100","firmware":"2011","serial":"12345678","module":"QCT"})",
        {{12, hex("3100")}, {44, "2011" + hex("12345678") + QByteArrayLiteral("QCT\0")}});
    row("tools", R"({"kind":"tools","code":"6100","firmware":"1005","serial":"19070042","module":"LINK"})",
        {{12, hex("6100")}, {44, "1005" + hex("19070042") + QByteArrayLiteral("LINK\0")}});
}

void TestLab::repliesCarryTheirBytes()
{
    QFETCH(QByteArray, instrument);
    QFETCH(Pieces, pieces);
    pieces += {{0, "Quorvex Dev:"},
               {14, hex("001a2b3c4d5e"
                        "c0a8000a"
                        "ffffff00"
                        "c0a80001")}};
    LabProcess lab;
    play(lab, {with(with(object(instrument.constData()), "mac", QStringLiteral("00:1A:2B:3C:4D:5E")), "ip",
                    QStringLiteral("192.168.0.10"))});
    const UdpProbe::Reply reply = ask(discoveryQuery(), everyone(), discoveryPort);
    QCOMPARE(reply.from, QStringLiteral("192.168.0.10"));
    QCOMPARE(reply.port, discoveryPort);
    QCOMPARE(reply.bytes.size(), 248);
    for (const Piece &piece : std::as_const(pieces)) {
        QCOMPARE(reply.bytes.mid(piece.offset, piece.bytes.size()).toHex(' '), piece.bytes.toHex(' '));
    }
}

void TestLab::jsonRepliesCarryTheirKeys()
{
    LabProcess lab;
    play(lab, {object(
                  R"({"kind":"json","code":"5100","mac":"00:1A:2B:3C:4D:5E","ip":"192.168.0.10","dhcp":true,
                     "texts":{"BRAND":"HALVERN","SLOT":"4","UPTIME":7,"GATEWAY":null}})")});
    const UdpProbe::Reply reply = ask(discoveryQuery(), QStringLiteral("192.168.0.10"), discoveryPort);
    QCOMPARE(reply.bytes.left(12), QByteArrayLiteral("Quorvex MS2:"));
    QJsonObject keys = QJsonDocument::fromJson(reply.bytes.mid(12)).object();
    keys.remove(QStringLiteral("FAMILY")); // as the catalogue has it
    keys.remove(QStringLiteral("DEVICE"));
    QCOMPARE(keys, object(R"({"CODE":"5100","MAC":"00:1A:2B:3C:4D:5E","IP":"192.168.0.10",
                              "NETMASK":"255.255.255.0","DHCP":"1","BRAND":"HALVERN","SLOT":"4","UPTIME":7})"));
}

void TestLab::modulesAnswerFourByteQueries()
{
    LabProcess lab;
    play(lab, {fastModule()});
    const auto answer = [](const char *query) {
        return ask(hex(query), QStringLiteral("192.168.0.50"), modulePort).bytes;
    };
    const QByteArray identification = answer("000000f6");
    QCOMPARE(identification.size(), 30);
    QCOMPARE(identification.left(10), hex("000000f700205006") + "X5");
    QCOMPARE(identification.right(6), hex("00204aad6470"));
    QCOMPARE(answer("000100f6"), identification);
    const QByteArray version = answer("000000f4");
    QCOMPARE(version.size(), 33);
    QVERIFY(version.startsWith(hex("000000f5")) && version.mid(16, 8) == QByteArrayLiteral("6.5.0.7\0"));
    const QByteArray record = answer("000000f8");
    QCOMPARE(record.size(), 124);
    QVERIFY(record.startsWith(hex("000000f9c0a80032")) && record.mid(24, 2) == hex("1127"));
}

void TestLab::setDatagramMovesTheInstrument()
{
    LabProcess lab;
    play(lab, {powerSupply(20)});
    UdpProbe(onCable0()).send(hex(newSettings), everyone(), discoveryPort);
    QVERIFY(lab.waitForEvent(QStringLiteral("addressChanged")));
    const QJsonObject set = lab.events(QStringLiteral("set")).value(0);
    QCOMPARE(field(set, "mac"), QStringLiteral("00:1A:2B:3C:4D:5E"));
    QCOMPARE(field(set, "bytes"), QString::fromLatin1(newSettings));
    QCOMPARE(field(set, "via") + field(set, "interface"), QStringLiteral("broadcastlab0"));
    const QJsonObject moved = lab.events(QStringLiteral("addressChanged")).value(0);
    QCOMPARE(field(moved, "from") + field(moved, "to"), QStringLiteral("192.168.0.10192.168.0.77"));
    QVERIFY(!addressesOfTheLabHost().contains(QStringLiteral("192.168.0.10/32")));
    const QByteArray reply = ask(discoveryQuery(), QStringLiteral("192.168.0.77"), discoveryPort).bytes;
    QCOMPARE(reply.mid(20, 12).toHex(), QByteArray("c0a8004dffff0000c0a80701"));
    QCOMPARE(reply.mid(44, 18), QByteArray("2\r\n3\r\nQ\r\nN\r\n1\r\nS\r\n"));
}

void TestLab::ipSetupRestartsTheModule()
{
    LabProcess lab;
    play(lab, {fastModule()});
    const motorbench::Client client(motorbench::tunnelPort, "192.168.0.50");
    QVERIFY(lab.waitForEvent(QStringLiteral("connected")));
    UdpProbe(onCable0()).send(hex(ipSetup), everyone(), modulePort);
    QVERIFY(lab.waitForEvent(QStringLiteral("rebooted")));
    QCOMPARE(lab.events(QStringLiteral("disconnected")).size(), 1);
    QCOMPARE(field(lab.events(QStringLiteral("ipSetup")).value(0), "bytes"), QString::fromLatin1(ipSetup));
    QCOMPARE(ask(hex("000000f6"), everyone(), modulePort).from, QStringLiteral("192.168.0.81"));
}

void TestLab::datagramIsRefused_data()
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
    row("address 255.255.255.255", discoveryPort, QByteArray(set).replace(20, 4, QByteArray(4, '\xFF')),
        "address");
    row("another word", discoveryPort, QByteArray(set).replace(8, 3, "Get"), "unknown");
    const QByteArray setup = hex(ipSetup);
    row("another end of the MAC", modulePort, QByteArray(setup).replace(15, 1, "\x71"), "other MAC");
    row("set-up, a byte short", modulePort, setup.left(19), "length");
    row("set-up, another function", modulePort, QByteArray(setup).replace(3, 1, "\xFD"), "unknown");
    row("set-up, address 0.0.0.0", modulePort, setup.left(16) + QByteArray(4, '\0'), "address");
    row("query of five bytes", modulePort, hex("000000f600"), "unknown");
    row("query with third byte 01", modulePort, hex("000001f6"), "unknown");
    row("query for another function", modulePort, hex("000000e8"), "unknown");
}

void TestLab::datagramIsRefused()
{
    QFETCH(quint16, port);
    QFETCH(QByteArray, bytes);
    QFETCH(QString, reason);
    LabProcess lab;
    play(lab, {powerSupply(0), fastModule()});
    UdpProbe(onCable0()).send(bytes, everyone(), port);
    QVERIFY(lab.waitForEvent(QStringLiteral("ignored")));
    QCOMPARE(field(lab.events(QStringLiteral("ignored")).value(0), "reason"), reason);
    QCOMPARE(ask(discoveryQuery(), everyone(), discoveryPort).from, QStringLiteral("192.168.0.10"));
    QCOMPARE(ask(hex("000000f6"), everyone(), modulePort).from, QStringLiteral("192.168.0.50"));
    for (const char *change : {"set", "ipSetup", "addressChanged", "rebooted"}) {
        QVERIFY2(lab.events(QLatin1String(change)).isEmpty(), change);
    }
}

void TestLab::scenarioErrorsNameInstrumentAndKey_data()
{
    QTest::addColumn<QJsonObject>("scenario");
    QTest::addColumn<QString>("message");
    const auto row = [](const char *name, const QJsonObject &scenario, const char *message) {
        QTest::newRow(name) << scenario << message;
    };
    // A good instrument with one key changed.
    const auto second = [](const char *key, const char *json, const char *message) {
        const QJsonObject value = object(QByteArray("{\"v\":" + QByteArray(json) + "}").constData());
        const QJsonObject changed =
            with(plain("00:1A:2B:00:00:02", "192.168.0.12"), key, value.value(QStringLiteral("v")));
        QTest::addRow("%s %s", key, json)
            << scenarioOf({plain("00:1A:2B:00:00:01", "192.168.0.11"), changed})
            << QStringLiteral("instrument 2 (00:1A:2B:00:00:02)") + QLatin1String(message);
    };
    row("no instruments", {}, "\"instruments\" must be an array");
    row("unknown key of the scenario", object(R"({"instruments":[],"sed":1})"), "unknown key \"sed\"");
    row("no MAC", object(R"({"instruments":[{"kind":"module","ip":"192.168.0.1"}]})"),
        "instrument 1 (no MAC): \"mac\" must be given");
    row("two with one MAC",
        scenarioOf({plain("00:1A:2B:00:00:01", "192.168.0.11"), plain("00:1A:2B:00:00:01", "192.168.0.12")}),
        "00:1A:2B:00:00:01 belongs to two");
    row("no cable for the IP",
        scenarioOf({object(R"({"kind":"module","mac":"00:20:4A:00:00:01","ip":"10.0.0.1"})")}),
        "instrument 1 (00:20:4A:00:00:01): \"interface\" must be given");
    second("colour", "1", ": unknown key \"colour\"");
    second("kind", "\"laser\"", ": \"kind\" must be");
    second("code", "\"21G0\"", ": \"code\" must be four");
    second("ip", "\"192.168.0\"", ": \"ip\" must be an IPv4");
    second("ip", "\"192.168.0.250\"", ": \"ip\" must be free");
    second("count", "250", ": \"ip\" must be free");
    second("interface", "\"lab7\"", ": \"interface\" must be");
    second("module", "\"QB4AX\"", ": \"module\" must be");
    second("serial", "\"7\"", ": \"serial\" must be a whole number");
    second("dhcp", "1", ": \"dhcp\" must be true or false");
    second("faults", R"({"oversize":100})", ", faults: \"oversize\" must be");
    second("faults", R"({"explode":true})", ", faults: unknown key \"explode\"");
    second("faults", R"({"garbage":{"size":1}})", ", faults, garbage: unknown key \"size\"");
    second("update", R"({"nakAt":"MRE"})", ", update: \"nakAt\" must be");
    second("update", R"({"wrongAt":{"VER":1}})", ", update: \"wrongAt\" must be");
    row("manner of a tunnel", scenarioOf({with(fastModule(), "tunnel", object(R"({"manner":"rude"})"))}),
        ", tunnel: \"manner\" must be");
    const auto motor = [&row](const char *json, const char *message) {
        row(json, scenarioOf({motorbench::driver(object(json))}), message);
    };
    motor(R"({"erase":1})", ", motor: unknown key \"erase\"");
    motor(R"({"faults":{"eraseAnswer":"maybe"}})", ", motor, faults: \"eraseAnswer\" must be");
    motor(R"({"answers":{"MVER":1}})", ", motor: \"answers\" must be");
}

void TestLab::scenarioErrorsNameInstrumentAndKey()
{
    QFETCH(QJsonObject, scenario);
    QFETCH(QString, message);
    LabProcess lab;
    QVERIFY(!lab.start(scenario));
    QCOMPARE(lab.exitCode(), refused);
    const QString errors = lab.errorText();
    QVERIFY2(errors.contains(message), qPrintable(errors));
    QVERIFY(lab.events().isEmpty());
}

void TestLab::playsNowhereElse()
{
    const QString outside = outcome(false);
    QVERIFY2(outside.startsWith(QLatin1Char('2')) && outside.contains(QStringLiteral("private network")),
             qPrintable(outside));
    const QString workstation = outcome(true);
    QVERIFY2(workstation.startsWith(QLatin1Char('2')) && workstation.contains(QStringLiteral("no lab cable")),
             qPrintable(workstation));

    LabProcess first;
    QVERIFY(first.startCount(3));
    LabProcess second;
    QVERIFY(!second.startCount(2));
    QCOMPARE(second.exitCode(), refused);
    QVERIFY(second.errorText().contains(QStringLiteral("30719")));
    QVERIFY(addressesOfTheLabHost().contains(QStringLiteral(" 192.168.0.1/32"))); // the first plays on
}

void TestLab::takesOverAfterAKilledLab()
{
    const QString before = addressesOfTheLabHost();
    QProcess killed;
    killed.start(LabProcess::labNet(), {QStringLiteral("--lab"), QStringLiteral("--"), LabProcess::program(),
                                        QStringLiteral("--count"), QStringLiteral("500")});
    QVERIFY(killed.waitForReadyRead());
    QVERIFY(addressesOfTheLabHost().contains(QStringLiteral(" 10.65.0.1/32")));
    killed.kill();
    QVERIFY(killed.waitForFinished());

    LabProcess lab;
    QVERIFY2(lab.startCount(2), qPrintable(lab.errorText()));
    QVERIFY(lab.stop());
    QCOMPARE(addressesOfTheLabHost(), before);
}

QTEST_GUILESS_MAIN(TestLab)
#include "tst_lab.moc"
