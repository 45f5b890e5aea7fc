#include "labprocess.h"
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
    void beamlineInstrumentIsUpdated_data();
    void beamlineInstrumentIsUpdated();
    void unerasedFlashOnlyLosesBits();
    void oneClientAtATime();
    void nobodyListensWithoutUpdate();
    void scenarioErrorsAreNamed_data();
    void scenarioErrorsAreNamed();
    void showcaseCanBeUpdated_data();
    void showcaseCanBeUpdated();
};

void TestLabUpdate::versionsAreTold_data()
{
    QTest::addColumn<QString>("json");
    QTest::addColumn<QByteArray>("version");
    QTest::newRow("power supply") << powerSupply << QByteArray("QPS:2.1.09");
    QTest::newRow("1600") << R"({"kind":"beamline","code":"1600","firmware":"1311","module":"QT16"})"
                          << QByteArray("QT16:1.3.11");
    QTest::newRow("beamline") << picoammeter << QByteArray("QB4A:1.2.03");
    QTest::newRow("transducer") << R"({"kind":"transducer","code":"3100","firmware":"2011","module":"QCT"})"
                                << QByteArray("QCT:2.0.11");
    QTest::newRow("JSON") << R"({"kind":"json","code":"5100","texts":{"ID":"MCH","FW":"3.2.1"}})"
                          << QByteArray("MCH:3.2.1");
}

void TestLabUpdate::versionsAreTold()
{
    QFETCH(QString, json);
    QFETCH(QByteArray, version);
    LabProcess lab;
    QVERIFY2(lab.start(scenarioOf({instrument(json)})), qPrintable(lab.errorText()));
    Client client;
    QVERIFY(client.connectNow());
    QCOMPARE(client.ask("VER\r\n"), "#VER:" + version + "\r\n");
    QCOMPARE(client.ask("MVER\r\n"), "#MVER:" + version + "\r\n");
    QCOMPARE(client.ask("XYZ\r\n"), QByteArray("#NAK\r\n"));
    QCOMPARE(field(lab.events(QStringLiteral("lineReceived")).last(), "line"), QStringLiteral("XYZ"));
}

void TestLabUpdate::powerSupplyIsUpdated_data()
{
    QTest::addColumn<QString>("json");
    QTest::addColumn<QString>("update");
    QTest::addColumn<QByteArray>("dcLink");
    QTest::addColumn<QString>("before");
    QTest::addColumn<QString>("after");
    QTest::newRow("version counts up") << powerSupply << "{}" << QByteArray("MRP") << "1100 2.1.09"
                                       << "1100 2.1.10";
    QTest::newRow("version given") << powerSupply << R"({"newFirmware":"9.0"})" << QByteArray("MRP")
                                   << "1100 2.1.09"
                                   << "1100 9.0";
    QTest::newRow("comes back as it was")
        << powerSupply << R"({"keepsFirmware":true})" << QByteArray("MRP") << "1100 2.1.09"
        << "1100 2.1.09";
    QTest::newRow("modules") << R"({"kind":"powerSupply","code":"1400","firmware":"3.0.21"})"
                             << "{}" << QByteArray("MRG:83") << "1400 3.0.21"
                             << "1400 3.0.22";
    QTest::newRow("recovery mode") << R"({"kind":"json","code":"1F80","texts":{"FW":"BOOT"}})"
                                   << R"({"newFirmware":"2.1.10","newCode":"1100"})" << QByteArray("MRP")
                                   << "1F80 BOOT"
                                   << "1100 2.1.10";
}

void TestLabUpdate::powerSupplyIsUpdated()
{
    QFETCH(QString, json);
    QFETCH(QString, update);
    QFETCH(QByteArray, dcLink);
    QFETCH(QString, before);
    QFETCH(QString, after);
    const QByteArray image = firmware(3 * sectorSize + 17);
    LabProcess lab;
    QVERIFY(lab.start(scenarioOf({instrument(json, update)})));
    Client client;
    QVERIFY(client.connectNow());
    QVERIFY(client.ask("MST\r\n").startsWith("#MST:"));
    QVERIFY(client.ask(dcLink + "\r\n").startsWith('#' + dcLink + ':'));
    const QByteArray answer = client.ask(image);
    QVERIFY(answer.startsWith("$:"));
    QCOMPARE(answer.count("$:"), 1 + 3 + 1); // at the start, each 64 KiB, at the end
    QVERIFY(answer.endsWith("\n#ACK\r\n"));
    QVERIFY(storedIs(lab, image));
    QCOMPARE(identityOf(), before); // until the restart

    client.write("MREBOOT\r\n");
    QVERIFY(client.waitForDisconnected(waitMs));
    QVERIFY(lab.waitForEvent(QStringLiteral("rebooted")));
    QCOMPARE(identityOf(), after);
    Client next;
    QVERIFY(next.connectNow());
    QVERIFY(next.ask("VER\r\n").endsWith(':' + after.section(QLatin1Char(' '), 1).toLatin1() + "\r\n"));
    QVERIFY(storedIs(lab, image));
}

void TestLabUpdate::imageNeedsAStatusQuestion()
{
    LabProcess lab;
    QVERIFY(lab.start(scenarioOf({instrument(QLatin1String(powerSupply))})));
    Client client;
    QVERIFY(client.connectNow());
    QVERIFY(client.ask("MRP\r\n").startsWith("#MRP:"));
    QCOMPARE(client.ask("firmware\r\n"), QByteArray("#NAK\r\n"));
    QCOMPARE(client.ask("EPCSER:0\r\n"), QByteArray("#NAK\r\n")); // the other dialogue's
    QVERIFY(lab.events(QStringLiteral("imageStored")).isEmpty());
}

void TestLabUpdate::beamlineInstrumentIsUpdated_data()
{
    QTest::addColumn<QString>("json");
    QTest::addColumn<QString>("update");
    QTest::addColumn<QString>("after");
    QTest::newRow("version counts up") << picoammeter << "{}"
                                       << "2100 1204";
    QTest::newRow("version given") << picoammeter << R"({"newFirmware":"2000"})"
                                   << "2100 2000";
    QTest::newRow("1600") << R"({"kind":"beamline","code":"1600","firmware":"1399"})"
                          << "{}"
                          << "1600 1400";
}

void TestLabUpdate::beamlineInstrumentIsUpdated()
{
    QFETCH(QString, json);
    QFETCH(QString, update);
    QFETCH(QString, after);
    const QByteArray image = firmware(sectorSize + 1000);
    LabProcess lab;
    QVERIFY(lab.start(scenarioOf({instrument(json, update)})));
    Client client;
    QVERIFY(client.connectNow());
    QVERIFY(client.ask("VER\r\n").startsWith("#VER:"));
    QCOMPARE(client.ask("EPCSER:0\r"), QByteArray("#ACK\r\n"));
    QCOMPARE(client.ask("EPCSER:1\r"), QByteArray("#ACK\r\n"));
    QCOMPARE(lab.events(QStringLiteral("sectorErased")).last().value(QStringLiteral("sector")).toInt(), 1);
    QCOMPARE(client.ask("EPCSWR\r"), QByteArray("#ACK\r\n"));
    QCOMPARE(client.ask(image), QByteArray("#ACK\r\n"));
    QVERIFY(storedIs(lab, image));
    QVERIFY(lab.events(QStringLiteral("rebooted")).isEmpty()); // its client is still there
    client.disconnectFromHost();
    QVERIFY(lab.waitForEvent(QStringLiteral("rebooted")));
    QCOMPARE(identityOf(), after);
    QVERIFY(storedIs(lab, image));
}

void TestLabUpdate::unerasedFlashOnlyLosesBits()
{
    LabProcess lab;
    QVERIFY(lab.start(scenarioOf({instrument(QLatin1String(picoammeter))})));
    const QByteArray factory = imageIn(lab);
    QCOMPARE(factory.size(), 2 * sectorSize);
    QVERIFY(!factory.contains('\xff'));

    Client client;
    QVERIFY(client.connectNow());
    for (const char *none : {"EPCSER:1024\r", "EPCSER:-1\r", "EPCSER:x\r", "EPCSER:\r"}) {
        QCOMPARE(client.ask(none), QByteArray("#NAK\r\n"));
    }
    QCOMPARE(imageIn(lab), factory);
    QCOMPARE(client.ask("EPCSER:1\r"), QByteArray("#ACK\r\n"));
    QCOMPARE(imageIn(lab), factory.left(sectorSize) + QByteArray(sectorSize, '\xff'));
    const QByteArray image = firmware(2 * sectorSize);
    QCOMPARE(client.ask("EPCSWR\r"), QByteArray("#ACK\r\n"));
    QCOMPARE(client.ask(image), QByteArray("#ACK\r\n"));
    QCOMPARE(imageIn(lab), andOf(image.left(sectorSize), factory) + image.mid(sectorSize));
}

void TestLabUpdate::oneClientAtATime()
{
    LabProcess lab;
    QVERIFY(lab.start(scenarioOf({instrument(QLatin1String(powerSupply))})));
    Client first;
    QVERIFY(first.connectNow());
    QVERIFY(lab.waitForEvent(QStringLiteral("connected")));
    Client second;
    QVERIFY(!second.connectNow());
    QCOMPARE(second.error(), QAbstractSocket::ConnectionRefusedError);
    QVERIFY(first.ask("MST\r\n").startsWith("#MST:"));
    first.disconnectFromHost();
    QVERIFY(lab.waitForEvent(QStringLiteral("disconnected")));
    QVERIFY(second.connectNow());
    QVERIFY(second.ask("MRP\r\n").startsWith("#MRP:"));
    QCOMPARE(second.ask("X\r\n"), QByteArray("#NAK\r\n")); // the first one's status question is over
}

void TestLabUpdate::nobodyListensWithoutUpdate()
{
    LabProcess lab;
    Client client;
    QVERIFY(lab.start(scenarioOf({with(instrument(QLatin1String(powerSupply)), "update", false)})));
    QVERIFY(!client.connectNow());
    QVERIFY(lab.start(scenarioOf({with(instrument(QLatin1String(powerSupply)), "update", true)})));
    QVERIFY(client.connectNow());
    QVERIFY(lab.startCount(2));
    QCOMPARE(identityOf(QStringLiteral("192.168.0.1")), QStringLiteral("1100 2.1.04"));
    Client plain;
    QVERIFY(!plain.connectNow(QStringLiteral("192.168.0.1")));
    QCOMPARE(plain.error(), QAbstractSocket::ConnectionRefusedError);
}

void TestLabUpdate::scenarioErrorsAreNamed_data()
{
    QTest::addColumn<QString>("update");
    QTest::addColumn<QString>("message");
    QTest::newRow("neither flag nor object") << "7"
                                             << "): \"update\" must be";
    QTest::newRow("unknown key") << R"({"explode":true})"
                                 << ", update: unknown key \"explode\"";
    QTest::newRow("misspelt step") << R"({"nakAt":"MSR"})"
                                   << ", update: \"nakAt\" must be a step";
    QTest::newRow("misspelt step of a wrong answer") << R"({"wrongAt":{"EPC":"#ACK"}})"
                                                     << ", update: \"wrongAt\" must be texts by step";
    QTest::newRow("no room for the version") << R"({"newFirmware":"1.2.04"})"
                                             << "\"newFirmware\" must be a version";
    QTest::newRow("code") << R"({"newCode":"21"})"
                          << "\"newCode\" must be four";
}

void TestLabUpdate::scenarioErrorsAreNamed()
{
    QFETCH(QString, update);
    QFETCH(QString, message);
    const QJsonValue value =
        object(("{\"v\":" + update.toLatin1() + "}").constData()).value(QStringLiteral("v"));
    LabProcess lab;
    QVERIFY(!lab.start(scenarioOf({with(instrument(QLatin1String(picoammeter)), "update", value)})));
    const QString errors = lab.errorText();
    QVERIFY2(errors.contains(message), qPrintable(errors));
}

void TestLabUpdate::showcaseCanBeUpdated_data()
{
    QTest::addColumn<QString>("host");
    QTest::addColumn<QString>("of");
    QTest::addColumn<QList<QByteArray>>("commands");
    QTest::addColumn<QString>("after");
    QTest::newRow("power supply") << "192.168.0.11"
                                  << "00:1A:2B:11:00:01" << QList<QByteArray>{"VER\r\n", "MST\r\n", "MRP\r\n"}
                                  << "1100 2.1.05";
    QTest::newRow("picoammeter") << "192.168.0.31"
                                 << "00:1A:2B:21:00:5E"
                                 << QList<QByteArray>{"VER\r\n", "EPCSER:0\r", "EPCSER:1\r", "EPCSWR\r"}
                                 << "2100 1204";
}

void TestLabUpdate::showcaseCanBeUpdated()
{
    QFETCH(QString, host);
    QFETCH(QString, of);
    QFETCH(QList<QByteArray>, commands);
    QFETCH(QString, after);
    const QByteArray image = firmware(100000);
    LabProcess lab;
    QVERIFY(lab.startFile(QStringLiteral("showcase.json")));
    Client client;
    QVERIFY(client.connectNow(host));
    for (const QByteArray &command : qAsConst(commands)) {
        const QByteArray answer = client.ask(command);
        QVERIFY2(answer.endsWith("\r\n") && !answer.contains("NAK"), answer.constData());
    }
    QVERIFY(client.ask(image).endsWith("#ACK\r\n"));
    QCOMPARE(imageIn(lab, of), image);
    client.write("MREBOOT\r\n");
    client.disconnectFromHost();
    QVERIFY(lab.waitForEvent(QStringLiteral("rebooted")));
    QCOMPARE(identityOf(host), after);
}

QTEST_GUILESS_MAIN(TestLabUpdate)
#include "tst_labupdate.moc"
