#include "labprocess.h"
#include "labroom.h"
#include "motorbench.h"

#include <QFile>
#include <QProcess>
#include <QTest>

using namespace labroom;

namespace {

constexpr int refused = 2;

// A good instrument with one key changed.
QJsonObject changed(const char *key, const char *json)
{
    const QJsonValue value =
        object(QByteArray("{\"v\":" + QByteArray(json) + "}").constData()).value(QStringLiteral("v"));
    return scenarioOf({plain("00:1A:2B:00:00:01", "192.168.0.11"),
                       with(plain("00:1A:2B:00:00:02", "192.168.0.12"), key, value)});
}

struct Run
{
    int exitCode = 0;
    QString errors;
};

// virtual-lab without the help of LabProcess.
Run run(const QString &program, const QStringList &arguments, bool inLabNet)
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    if (!inLabNet) {
        environment.remove(QStringLiteral("LAB_NET"));
    }
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
    process.waitForFinished();
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            QString::fromLocal8Bit(process.readAllStandardError())};
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

// Which scenarios the lab plays, where it plays, and what it leaves behind.
class TestLabScenario : public QObject
{
    Q_OBJECT

private slots:
    void errorsNameInstrumentAndKey_data();
    void errorsNameInstrumentAndKey();
    void countMultiplies();
    void playsNowhereElse();
    void secondLabIsRefused();
    void leavesNoAddressBehind();
    void takesOverAfterAKilledLab();
};

void TestLabScenario::errorsNameInstrumentAndKey_data()
{
    QTest::addColumn<QJsonObject>("scenario");
    QTest::addColumn<QString>("message");
    const auto row = [](const char *name, const QJsonObject &scenario, const char *message) {
        QTest::newRow(name) << scenario << message;
    };
    const auto second = [](const char *name, const char *key, const char *json, const char *message) {
        QTest::newRow(name) << changed(key, json)
                            << QStringLiteral("instrument 2 (00:1A:2B:00:00:02)") + QLatin1String(message);
    };
    row("no instruments", {}, "\"instruments\" must be an array");
    row("unknown key of the scenario", object(R"({"instruments":[],"sed":1})"), "unknown key \"sed\"");
    row("no MAC", object(R"({"instruments":[{"kind":"module","ip":"192.168.0.1"}]})"),
        "instrument 1 (no MAC): \"mac\" must be given");
    second("unknown key", "colour", "1", ": unknown key \"colour\"");
    second("kind", "kind", "\"laser\"", ": \"kind\" must be");
    second("code", "code", "\"21G0\"", ": \"code\" must be four");
    second("IP", "ip", "\"192.168.0\"", ": \"ip\" must be an IPv4");
    second("the lab host's IP", "ip", "\"192.168.0.250\"", ": \"ip\" must be free");
    second("counted up to the broadcast address", "count", "250", ": \"ip\" must be free");
    second("interface", "interface", "\"lab7\"", ": \"interface\" must be");
    row("no cable for the IP",
        scenarioOf({object(R"({"kind":"module","mac":"00:20:4A:00:00:01","ip":"10.0.0.1"})")}),
        "instrument 1 (00:20:4A:00:00:01): \"interface\" must be given");
    second("text too long", "module", "\"QB4AX\"", ": \"module\" must be");
    second("number as text", "serial", "\"7\"", ": \"serial\" must be a whole number");
    second("fault out of range", "faults", R"({"oversize":100})", ", faults: \"oversize\" must be");
    second("unknown fault", "faults", R"({"explode":true})", ", faults: unknown key \"explode\"");
    second("JSON fault of a binary instrument", "faults", R"({"jsonArray":true})",
           ", faults: \"jsonArray\" must be");
    row("manner of a tunnel",
        scenarioOf(
            {with(module("00:20:4A:00:00:01", "192.168.0.1"), "tunnel", object(R"({"manner":"rude"})"))}),
        "tunnel: \"manner\" must be one of prompt, late");
    second("update, neither flag nor object", "update", "7", ": \"update\" must be");
    second("update, unknown key", "update", R"({"explode":true})", ", update: unknown key \"explode\"");
    second("update, misspelt step", "update", R"({"nakAt":"MSR"})", ", update: \"nakAt\" must be a step");
    second("update, misspelt step of a wrong answer", "update", R"({"wrongAt":{"EPC":"#ACK"}})",
           ", update: \"wrongAt\" must be texts by step");
    second("update, no room for the version", "update", R"({"newFirmware":"1.2.04"})",
           ": \"newFirmware\" must be a version");
    second("update, code", "update", R"({"newCode":"21"})", ": \"newCode\" must be four");
    const auto motor = [&row](const char *name, const char *json) {
        row(name, scenarioOf({motorbench::driver(object(json))}), motorbench::mac);
    };
    motor("motor, unknown key", R"({"erase":1})");
    motor("motor, unknown fault", R"({"faults":{"nak":true}})");
    motor("motor, no such rate", R"({"baudrate":14400})");
    motor("motor, no such sector", R"({"erasedSectors":"ABE"})");
    motor("motor, no such answer", R"({"faults":{"eraseAnswer":"maybe"}})");
    motor("motor, answer that is no text", R"({"answers":{"MVER":1}})");
    row("two with one MAC",
        scenarioOf({plain("00:1A:2B:00:00:01", "192.168.0.11"), plain("00:1A:2B:00:00:01", "192.168.0.12")}),
        "00:1A:2B:00:00:01 belongs to two");
}

void TestLabScenario::errorsNameInstrumentAndKey()
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

void TestLabScenario::countMultiplies()
{
    LabProcess lab;
    play(lab, {with(plain("00:1A:2B:00:00:FE", "192.168.0.11"), "count", 3)});
    QCOMPARE(lab.events(QStringLiteral("ready"))[0].value(QStringLiteral("instruments")).toInt(), 3);
    lab.command(
        {{QStringLiteral("command"), QStringLiteral("state")},
         {QStringLiteral("mac"), QStringLiteral("00:1A:2B:00:01:00")}}); // counted over the byte's end
    QVERIFY(lab.waitForEvent(QStringLiteral("state")));
    QCOMPARE(field(lab.events(QStringLiteral("state"))[0], "ip"), QStringLiteral("192.168.0.13"));
}

void TestLabScenario::playsNowhereElse()
{
    const QStringList plainOnes{QStringLiteral("--count"), QStringLiteral("1")};
    const Run outside = run(LabProcess::program(), plainOnes, false);
    QCOMPARE(outside.exitCode, refused);
    QVERIFY2(outside.errors.contains(QStringLiteral("private network")), qPrintable(outside.errors));

    const Run workstation = run(LabProcess::program(), plainOnes, true);
    QCOMPARE(workstation.exitCode, refused);
    QVERIFY2(workstation.errors.contains(QStringLiteral("no lab cable")), qPrintable(workstation.errors));
}

void TestLabScenario::secondLabIsRefused()
{
    LabProcess first;
    QVERIFY(first.startCount(3));
    LabProcess second;
    QVERIFY(!second.startCount(2));
    QCOMPARE(second.exitCode(), refused);
    QVERIFY(second.errorText().contains(QStringLiteral("30719")));
    QVERIFY(addressesOfTheLabHost().contains(QStringLiteral(" 192.168.0.1/32"))); // the first plays on
}

void TestLabScenario::leavesNoAddressBehind()
{
    const QString before = addressesOfTheLabHost();
    {
        LabProcess lab;
        QVERIFY(lab.startCount(500));
        QVERIFY(addressesOfTheLabHost().contains(QStringLiteral(" 10.65.0.1/32")));
        QVERIFY(addressesOfTheLabHost().contains(QStringLiteral(" 192.168.0.11/32")));
        QVERIFY(lab.stop());
    }
    QCOMPARE(addressesOfTheLabHost(), before);
}

void TestLabScenario::takesOverAfterAKilledLab()
{
    const QString before = addressesOfTheLabHost();
    QProcess killed;
    killed.start(LabProcess::labNet(), {QStringLiteral("--lab"), QStringLiteral("--"), LabProcess::program(),
                                        QStringLiteral("--count"), QStringLiteral("10")});
    QVERIFY(killed.waitForReadyRead());
    killed.kill();
    QVERIFY(killed.waitForFinished());
    QVERIFY(addressesOfTheLabHost() != before);

    LabProcess lab;
    QVERIFY2(lab.startCount(2), qPrintable(lab.errorText()));
    QVERIFY(lab.stop());
    QCOMPARE(addressesOfTheLabHost(), before);
}

QTEST_GUILESS_MAIN(TestLabScenario)
#include "tst_labscenario.moc"
