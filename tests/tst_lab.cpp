#include "labprocess.h"
#include "labroom.h"
#include "motorbench.h"
#include "udpprobe.h"

#include <QJsonDocument>
#include <QProcess>
#include <QTest>

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
    void wrongDatagramsAreRefused();
    void scenarioErrorsNameInstrumentAndKey_data();
    void scenarioErrorsNameInstrumentAndKey();
    void playsNowhereElse();
    void takesOverAfterAKilledLab();
};

namespace {

constexpr int refused = 2;

// To 192.168.0.77/16, gateway 192.168.7.1, DHCP on.
const QByteArray newSettings = "Quorvex Set:" + hex("001a2b3c4d5e 2711 c0a8004d ffff0000 c0a80701 01000000");
const QByteArray ipSetup = hex("000000fc") + "IP-SETUP" + hex("0000 6470 c0a80051");

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

void TestLab::repliesCarryTheirBytes_data()
{
    QTest::addColumn<QByteArray>("instrument");
    QTest::addColumn<QByteArray>("code");
    QTest::addColumn<QByteArray>("module"); // of beamline instruments
    QTest::addColumn<QByteArray>("texts");
    const QByteArray none = hex("a5a5a5a5"); // what is unused shows
    QTest::newRow("power supply, six parts")
        << QByteArray(R"({"kind":"powerSupply","firmware":"2.1.04","serial":"24001","module":"QPS","note":"N",
                          "site":"S","dhcp":true,)")
        << QByteArray("1100") << none << QByteArrayLiteral("2.1.04\r\n24001\r\nQPS\r\nN\r\n1\r\nS\r\n\0");
    QTest::newRow("power supply, four parts")
        << QByteArray(
               R"({"kind":"powerSupply","firmware":"2","serial":"3","module":"Q","note":"N","parts":4,)")
        << QByteArray("1400") << none << QByteArrayLiteral("2\r\n3\r\nQ\r\nN\r\n\0");
    QTest::newRow("beamline, and a 1600 like one")
        << QByteArray(R"({"kind":"beamline","firmware":"1311","module":"QT16","serial":2117006,)")
        << QByteArray("1600") << QByteArray("QT16") << "1311" + hex("00204d8e") + none;
    QTest::newRow("transducer")
        << QByteArray(R"({"kind":"transducer","firmware":"2011","serial":"12345678","module":"QCT",)")
        << QByteArray("3100") << none << "2011" + hex("12345678") + QByteArrayLiteral("QCT\0");
}

void TestLab::repliesCarryTheirBytes()
{
    QFETCH(QByteArray, instrument);
    QFETCH(QByteArray, code);
    QFETCH(QByteArray, module);
    QFETCH(QByteArray, texts);
    instrument += R"("mac":"00:1A:2B:3C:4D:5E","ip":"192.168.0.10","code":")" + code + "\"}";
    LabProcess lab;
    play(lab, {object(instrument.constData())});
    const UdpProbe::Reply reply = ask(discoveryQuery(), everyone(), discoveryPort);
    QCOMPARE(reply.from, QStringLiteral("192.168.0.10"));
    QCOMPARE(reply.port, discoveryPort);
    QCOMPARE(reply.bytes.size(), 248);
    const QByteArray expected = "Quorvex Dev:" + hex(code.constData()) +
                                hex("001a2b3c4d5e c0a8000a ffffff00 c0a80001 a5a5a5a5") + module +
                                hex("a5a5a5a5") + texts;
    QCOMPARE(reply.bytes.left(expected.size()).toHex(' '), expected.toHex(' '));
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
    UdpProbe(onCable0()).send(newSettings, everyone(), discoveryPort);
    QVERIFY(lab.waitForEvent(QStringLiteral("addressChanged")));
    const QJsonObject set = lab.events(QStringLiteral("set")).value(0);
    QCOMPARE(field(set, "mac"), QStringLiteral("00:1A:2B:3C:4D:5E"));
    QCOMPARE(field(set, "bytes"), QString::fromLatin1(newSettings.toHex()));
    QCOMPARE(field(set, "via") + field(set, "interface"), QStringLiteral("broadcastlab0"));
    const QJsonObject moved = lab.events(QStringLiteral("addressChanged")).value(0);
    QCOMPARE(field(moved, "from") + field(moved, "to"), QStringLiteral("192.168.0.10192.168.0.77"));
    QVERIFY(!addressesOfTheLabHost().contains(QStringLiteral("192.168.0.10/32")));
    const QByteArray reply = ask(discoveryQuery(), QStringLiteral("192.168.0.77"), discoveryPort).bytes;
    QCOMPARE(reply.mid(20, 12).toHex(), QByteArray("c0a8004dffff0000c0a80701"));
    QCOMPARE(reply.mid(44, 18), QByteArray("2\r\n3\r\nQ\r\nN\r\n1\r\nS\r\n"));
}

void TestLab::wrongDatagramsAreRefused()
{
    struct Row
    {
        quint16 port;
        QByteArray bytes;
        const char *reason;
    };
    const QVector<Row> rows{
        {discoveryPort, QByteArray(newSettings).replace(17, 1, "\x5F"), "other MAC"},
        {discoveryPort, newSettings.left(35), "length"},
        {discoveryPort, newSettings + '\0', "length"},
        {discoveryPort, QByteArray(newSettings).replace(20, 4, QByteArray(4, '\xFF')), "address"},
        {discoveryPort, QByteArray(newSettings).replace(8, 3, "Get"), "unknown"},
        {modulePort, QByteArray(ipSetup).replace(15, 1, "\x71"), "other MAC"},
        {modulePort, ipSetup.left(19), "length"},
        {modulePort, QByteArray(ipSetup).replace(3, 1, "\xFD"), "unknown"},
        {modulePort, ipSetup.left(16) + QByteArray(4, '\0'), "address"},
        {modulePort, hex("000000f600"), "unknown"}, // a query of five bytes
        {modulePort, hex("000001f6"), "unknown"},
        {modulePort, hex("000000e8"), "unknown"},
    };
    LabProcess lab;
    play(lab, {powerSupply(0), fastModule()});
    const QString ignored = QStringLiteral("ignored");
    for (int i = 0; i < rows.size(); ++i) {
        UdpProbe(onCable0()).send(rows[i].bytes, everyone(), rows[i].port);
        QVERIFY2(lab.waitForEvent(ignored, i + 1), rows[i].bytes.toHex());
        QCOMPARE(field(lab.events(ignored).last(), "reason"), QLatin1String(rows[i].reason));
    }
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
    second("count", "250", ": \"ip\" must be free");
    second("interface", "\"lab7\"", ": \"interface\" must be");
    second("module", "\"QB4AX\"", ": \"module\" must be");
    second("dhcp", "1", ": \"dhcp\" must be true or false");
    second("faults", R"({"oversize":100})", ", faults: \"oversize\" must be");
    second("faults", R"({"garbage":{"size":1}})", ", faults, garbage: unknown key \"size\"");
    second("update", R"({"nakAt":"MRE"})", ", update: \"nakAt\" must be");
    row("manner of a tunnel", scenarioOf({with(fastModule(), "tunnel", object(R"({"manner":"rude"})"))}),
        ", tunnel: \"manner\" must be");
    const auto motor = [&row](const char *json, const char *message) {
        row(json, scenarioOf({motorbench::driver(object(json))}), message);
    };
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
