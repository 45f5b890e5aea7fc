#include "labroom.h"
#include "updateroom.h"

#include <QTest>

using namespace labroom;
using namespace updateroom;

// How instruments take firmware on their own TCP port 10001, and how they fail to.
class TestLabUpdate : public QObject
{
    Q_OBJECT

private slots:
    void versionsAreTold_data();
    void versionsAreTold();
    void powerSupplyIsUpdated_data();
    void powerSupplyIsUpdated();
    void imageNeedsAStatusQuestion();
    void unerasedFlashOnlyLosesBits();
    void oneClientAtATime();
    void nobodyListensWithoutUpdate();
    void showcaseCanBeUpdated();
};

void TestLabUpdate::versionsAreTold_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QByteArray>("version");
    const auto row = [](const char *name, const char *json, const char *version) {
        QTest::newRow(name) << QByteArray(json) << QByteArray(version);
    };
    row("power supply", powerSupply, "QPS:2.1.09");
    row("beamline", picoammeter, "QB4A:1.2.03");
    row("transducer", R"({"kind":"transducer","code":"3100","firmware":"2011","module":"QCT"})",
        "QCT:2.0.11");
    row("JSON", R"({"kind":"json","code":"5100","texts":{"ID":"MCH","FW":"3.2.1"}})", "MCH:3.2.1");
}

void TestLabUpdate::versionsAreTold()
{
    QFETCH(QByteArray, json);
    QFETCH(QByteArray, version);
    Bench bench(json);
    QCOMPARE(bench.client.ask("VER\r\n"), "#VER:" + version + "\r\n");
    QCOMPARE(bench.client.ask("MVER\r\n"), "#MVER:" + version + "\r\n");
    QCOMPARE(bench.client.ask("XYZ\r\n"), QByteArray("#NAK\r\n"));
    QCOMPARE(field(bench.lab.events(QStringLiteral("lineReceived")).last(), "line"), QStringLiteral("XYZ"));
}

void TestLabUpdate::powerSupplyIsUpdated_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QByteArray>("update");
    QTest::addColumn<QByteArray>("dcLink");
    QTest::addColumn<QString>("before");
    QTest::addColumn<QString>("after");
    QTest::newRow("version counts up")
        << QByteArray(powerSupply) << QByteArray("{}") << QByteArray("MRP") << "1100 2.1.09"
        << "1100 2.1.10";
    QTest::newRow("modules") << QByteArray(R"({"kind":"powerSupply","code":"1400","firmware":"3.0.21"})")
                             << QByteArray("{}") << QByteArray("MRG:83") << "1400 3.0.21"
                             << "1400 3.0.22";
    QTest::newRow("recovery mode") << QByteArray(R"({"kind":"json","code":"1F80","texts":{"FW":"BOOT"}})")
                                   << QByteArray(R"({"newFirmware":"2.1.10","newCode":"1100"})")
                                   << QByteArray("MRP") << "1F80 BOOT"
                                   << "1100 2.1.10";
}

void TestLabUpdate::powerSupplyIsUpdated()
{
    QFETCH(QByteArray, json);
    QFETCH(QByteArray, update);
    QFETCH(QByteArray, dcLink);
    QFETCH(QString, before);
    QFETCH(QString, after);
    const QByteArray image = firmware(3 * sectorSize + 17);
    Bench bench(json, update);
    QVERIFY(bench.client.ask("MST\r\n").startsWith("#MST:"));
    QVERIFY(bench.client.ask(dcLink + "\r\n").startsWith('#' + dcLink + ':'));
    const QByteArray answer = bench.client.ask(image);
    QVERIFY(answer.startsWith("$:"));
    QCOMPARE(answer.count("$:"), 1 + 3 + 1); // at the start, each 64 KiB, at the end
    QVERIFY(answer.endsWith("\n#ACK\r\n"));
    QVERIFY(storedIs(bench.lab, image));
    QCOMPARE(identityOf(), before); // until the restart

    bench.client.write("MREBOOT\r\n");
    QVERIFY(bench.client.waitForDisconnected(waitMs));
    QVERIFY(bench.lab.waitForEvent(QStringLiteral("rebooted")));
    QCOMPARE(identityOf(), after);
    Client next;
    QVERIFY(next.connectNow());
    QVERIFY(next.ask("VER\r\n").endsWith(':' + after.section(QLatin1Char(' '), 1).toLatin1() + "\r\n"));
    QVERIFY(storedIs(bench.lab, image));
}

void TestLabUpdate::imageNeedsAStatusQuestion()
{
    Bench bench(powerSupply);
    QVERIFY(bench.client.ask("MRP\r\n").startsWith("#MRP:"));
    QCOMPARE(bench.client.ask("firmware\r\n"), QByteArray("#NAK\r\n"));
    QCOMPARE(bench.client.ask("EPCSER:0\r\n"), QByteArray("#NAK\r\n")); // the other dialogue's
    QVERIFY(bench.lab.events(QStringLiteral("imageStored")).isEmpty());
}

void TestLabUpdate::unerasedFlashOnlyLosesBits()
{
    Bench bench(picoammeter);
    const QByteArray factory = imageIn(bench.lab);
    QCOMPARE(factory.size(), 2 * sectorSize);
    QVERIFY(!factory.contains('\xff'));
    for (const char *none : {"EPCSER:1024\r", "EPCSER:-1\r", "EPCSER:x\r", "EPCSER:\r"}) {
        QCOMPARE(bench.client.ask(none), QByteArray("#NAK\r\n"));
    }
    QCOMPARE(imageIn(bench.lab), factory);
    QCOMPARE(bench.client.ask("EPCSER:1\r"), QByteArray("#ACK\r\n"));
    QCOMPARE(imageIn(bench.lab), factory.left(sectorSize) + QByteArray(sectorSize, '\xff'));
    const QByteArray image = firmware(2 * sectorSize);
    QCOMPARE(bench.client.ask("EPCSWR\r"), QByteArray("#ACK\r\n"));
    QCOMPARE(bench.client.ask(image), QByteArray("#ACK\r\n"));
    QCOMPARE(imageIn(bench.lab), andOf(image.left(sectorSize), factory) + image.mid(sectorSize));
}

void TestLabUpdate::oneClientAtATime()
{
    Bench bench(powerSupply);
    QVERIFY(bench.lab.waitForEvent(QStringLiteral("connected")));
    Client second;
    QVERIFY(!second.connectNow());
    QCOMPARE(second.error(), QAbstractSocket::ConnectionRefusedError);
    QVERIFY(bench.client.ask("MST\r\n").startsWith("#MST:"));
    bench.client.disconnectFromHost();
    QVERIFY(bench.lab.waitForEvent(QStringLiteral("disconnected")));
    QVERIFY(second.connectNow());
    QVERIFY(second.ask("MRP\r\n").startsWith("#MRP:"));
    QCOMPARE(second.ask("X\r\n"), QByteArray("#NAK\r\n")); // the first one's status question is over
}

void TestLabUpdate::nobodyListensWithoutUpdate()
{
    LabProcess lab;
    Client client;
    play(lab, {with(instrument(powerSupply), "update", false)});
    QVERIFY(!client.connectNow());
    play(lab, {with(instrument(powerSupply), "update", true)});
    QVERIFY(client.connectNow());
    QVERIFY(lab.startCount(2));
    QCOMPARE(identityOf(QStringLiteral("192.168.0.1")), QStringLiteral("1100 2.1.04"));
    Client other;
    QVERIFY(!other.connectNow(QStringLiteral("192.168.0.1")));
    QCOMPARE(other.error(), QAbstractSocket::ConnectionRefusedError);
}

void TestLabUpdate::showcaseCanBeUpdated()
{
    LabProcess lab;
    QVERIFY(lab.startFile(QStringLiteral("showcase.json")));
    for (const char *host : {"192.168.0.11", "192.168.0.31"}) { // a power supply and a picoammeter
        Client client;
        QVERIFY(client.connectNow(QString::fromLatin1(host)));
        QVERIFY(client.ask("VER\r\n").startsWith("#VER:"));
    }
}

QTEST_GUILESS_MAIN(TestLabUpdate)
#include "tst_labupdate.moc"
