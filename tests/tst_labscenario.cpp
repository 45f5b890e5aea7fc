#include "labprocess.h"
#include "labroom.h"

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
    const QString second = QStringLiteral("instrument 2 (00:1A:2B:00:00:02)");

    QTest::newRow("no instruments") << QJsonObject() << "\"instruments\" must be an array";
    QTest::newRow("unknown key of the scenario")
        << object(R"({"instruments":[],"sed":1})") << "unknown key \"sed\"";
    QTest::newRow("no MAC") << object(R"({"instruments":[{"kind":"module","ip":"192.168.0.1"}]})")
                            << "instrument 1 (no MAC): \"mac\" must be given";
    QTest::newRow("unknown key") << changed("colour", "1")
                                 << second + QStringLiteral(": unknown key \"colour\"");
    QTest::newRow("kind") << changed("kind", "\"laser\"") << second + QStringLiteral(": \"kind\" must be");
    QTest::newRow("another kind's key")
        << changed("texts", "{}") << second + QStringLiteral(": unknown key \"texts\"");
    QTest::newRow("code") << changed("code", "\"21G0\"")
                          << second + QStringLiteral(": \"code\" must be four");
    QTest::newRow("IP") << changed("ip", "\"192.168.0\"")
                        << second + QStringLiteral(": \"ip\" must be an IPv4");
    QTest::newRow("multicast IP") << changed("ip", "\"224.0.0.1\"")
                                  << second + QStringLiteral(": \"ip\" must be");
    QTest::newRow("the lab host's IP")
        << changed("ip", "\"192.168.0.250\"") << second + QStringLiteral(": \"ip\" must be free");
    QTest::newRow("counted up to the broadcast address")
        << changed("count", "250") << second + QStringLiteral(": \"ip\" must be free");
    QTest::newRow("interface") << changed("interface", "\"lab7\"")
                               << second + QStringLiteral(": \"interface\" must be");
    QTest::newRow("no cable for the IP")
        << scenarioOf({object(R"({"kind":"module","mac":"00:20:4A:00:00:01","ip":"10.0.0.1"})")})
        << "instrument 1 (00:20:4A:00:00:01): \"interface\" must be given";
    QTest::newRow("text too long") << changed("module", "\"QB4AX\"")
                                   << second + QStringLiteral(": \"module\" must be");
    QTest::newRow("number as text") << changed("serial", "\"7\"")
                                    << second + QStringLiteral(": \"serial\" must be a whole number");
    QTest::newRow("fault out of range") << changed("faults", R"({"oversize":100})")
                                        << second + QStringLiteral(", faults: \"oversize\" must be");
    QTest::newRow("unknown fault") << changed("faults", R"({"explode":true})")
                                   << second + QStringLiteral(", faults: unknown key \"explode\"");
    QTest::newRow("JSON fault of a binary instrument")
        << changed("faults", R"({"jsonArray":true})")
        << second + QStringLiteral(", faults: \"jsonArray\" must be");
    QTest::newRow("unknown key of garbage")
        << changed("faults", R"({"garbage":{"size":1}})")
        << second + QStringLiteral(", faults, garbage: unknown key \"size\"");
    QTest::newRow("manner of a tunnel")
        << scenarioOf({object(R"({"kind":"module","mac":"00:20:4A:00:00:01","ip":"192.168.0.1",
                                  "tunnel":{"manner":"rude"}})")})
        << "tunnel: \"manner\" must be one of prompt, late";
    QTest::newRow("two with one MAC") << scenarioOf({plain("00:1A:2B:00:00:01", "192.168.0.11"),
                                                     plain("00:1A:2B:00:00:01", "192.168.0.12")})
                                      << "00:1A:2B:00:00:01 belongs to two";
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
    QVERIFY2(lab.start(scenarioOf({with(plain("00:1A:2B:00:00:FE", "192.168.0.11"), "count", 3)})),
             qPrintable(lab.errorText()));
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
