#include "labprocess.h"
#include "labroom.h"
#include "updateroom.h"

#include <QElapsedTimer>
#include <QTest>

using namespace labroom;
using namespace updateroom;

// How instruments fail when they are given firmware, and how slow they are, when a scenario asks for it.
class TestLabUpdateFaults : public QObject
{
    Q_OBJECT

private slots:
    void stepsFail_data();
    void stepsFail();
    void imageIsRefused_data();
    void imageIsRefused();
    void connectionIsCutInTheImage();
    void clientLeavesInTheImage();
    void slowInstrumentMakesItsClientWait();
    void slowInstrumentSeesItsClientLeave();
    void slowInstrumentTakesTheWholeImage();
    void erasingAndStoringTakeTheirTime();
    void answersTravelInPieces();
};

void TestLabUpdateFaults::stepsFail_data()
{
    QTest::addColumn<QString>("json");
    QTest::addColumn<QString>("update");
    QTest::addColumn<QList<QByteArray>>("answered"); // commands before that are answered in health
    QTest::addColumn<QByteArray>("command");
    QTest::addColumn<QByteArray>("answer"); // empty: none
    using Commands = QList<QByteArray>;
    const QByteArray nak = "#NAK\r\n";
    const auto row = [&](const char *name, const char *json, const char *update, const Commands &answered,
                         const char *command, const QByteArray &answer) {
        QTest::newRow(name) << json << update << answered << QByteArray(command) << answer;
    };
    row("NAK at VER", powerSupply, R"({"nakAt":"VER"})", {"MST\r\n"}, "VER\r\n", nak);
    row("NAK at MST", powerSupply, R"({"nakAt":"MST"})", {"VER\r\n"}, "MST\r\n", nak);
    row("NAK at MRP", powerSupply, R"({"nakAt":"MRP"})", {"MST\r\n"}, "MRP\r\n", nak);
    row("NAK at MRP's other form", powerSupply, R"({"nakAt":"MRP","nakText":"DC link low"})", {"MST\r\n"},
        "MRG:83\r\n", "#NAK:DC link low\r\n");
    row("NAK at EPCSER", picoammeter, R"({"nakAt":"EPCSER"})", {"VER\r\n"}, "EPCSER:0\r", nak);
    row("NAK at a sector", picoammeter, R"({"nakAt":"EPCSER:1"})", {"EPCSER:0\r", "EPCSER:10\r"},
        "EPCSER:1\r", nak);
    row("NAK at EPCSWR", picoammeter, R"({"nakAt":"EPCSWR"})", {"EPCSER:0\r"}, "EPCSWR\r", nak);
    row("silent at VER", picoammeter, R"({"silentAt":"VER"})", {}, "VER\r\n", {});
    row("silent at MST", powerSupply, R"({"silentAt":"MST"})", {"VER\r\n"}, "MST\r\n", {});
    row("silent at MRP", powerSupply, R"({"silentAt":"MRP"})", {"MST\r\n"}, "MRP\r\n", {});
    row("silent at MREBOOT", powerSupply, R"({"silentAt":"MREBOOT"})", {"MST\r\n"}, "MREBOOT\r\n", {});
    row("silent at EPCSER", picoammeter, R"({"silentAt":"EPCSER"})", {}, "EPCSER:0\r", {});
    row("silent at EPCSWR", picoammeter, R"({"silentAt":"EPCSWR"})", {}, "EPCSWR\r", {});
    row("wrong at VER", powerSupply, R"({"wrongAt":{"VER":"?"}})", {"MST\r\n"}, "VER\r\n", "?\r\n");
    row("wrong at MST", powerSupply, R"({"wrongAt":{"MST":"#MSX:1"}})", {}, "MST\r\n", "#MSX:1\r\n");
    row("wrong at EPCSER", picoammeter, R"({"wrongAt":{"EPCSER":"busy"}})", {}, "EPCSER:7\r", "busy\r\n");
}

void TestLabUpdateFaults::stepsFail()
{
    QFETCH(QString, json);
    QFETCH(QString, update);
    QFETCH(QList<QByteArray>, answered);
    QFETCH(QByteArray, command);
    QFETCH(QByteArray, answer);
    LabProcess lab;
    QVERIFY(lab.start(scenarioOf({instrument(json, update)})));
    Client client;
    QVERIFY(client.connectNow());
    for (const QByteArray &one : qAsConst(answered)) {
        const QByteArray said = client.ask(one);
        QVERIFY2(said.endsWith("\r\n") && !said.contains("NAK"), said.constData());
    }
    const QByteArray stored = imageIn(lab);
    client.write(command);
    if (!answer.isEmpty()) {
        QCOMPARE(client.readUntil("\r\n"), answer);
    }
    // Nothing was said in between, and no image is awaited.
    QVERIFY(client.ask("MVER\r\n").startsWith("#MVER:"));
    QCOMPARE(imageIn(lab), stored);
    QVERIFY(lab.events(QStringLiteral("rebooted")).isEmpty());
}

void TestLabUpdateFaults::imageIsRefused_data()
{
    QTest::addColumn<QString>("json");
    QTest::addColumn<QString>("update");
    QTest::addColumn<QByteArray>("ready");  // the command before the image
    QTest::addColumn<QByteArray>("answer"); // with that of a VER after it
    QTest::addColumn<bool>("kept");
    QTest::newRow("NAK, power supply") << powerSupply << R"({"nakAt":"image"})" << QByteArray("MRP\r\n")
                                       << QByteArray("#NAK:image refused\r\n#VER:QPS:2.1.09\r\n") << false;
    QTest::newRow("NAK with a text") << powerSupply << R"({"nakAt":"image","nakText":"CRC"})"
                                     << QByteArray("MRP\r\n") << QByteArray("#NAK:CRC\r\n#VER:QPS:2.1.09\r\n")
                                     << false;
    QTest::newRow("NAK, beamline") << picoammeter << R"({"nakAt":"image"})" << QByteArray("EPCSWR\r")
                                   << QByteArray("#NAK:image refused\r\n#VER:QB4A:1.2.03\r\n") << false;
    QTest::newRow("silence, power supply")
        << powerSupply << R"({"silentAt":"image"})" << QByteArray("MRP\r\n")
        << QByteArray("#VER:QPS:2.1.09\r\n") << false;
    QTest::newRow("silence, beamline") << picoammeter << R"({"silentAt":"image"})" << QByteArray("EPCSWR\r")
                                       << QByteArray("#VER:QB4A:1.2.03\r\n") << false;
    QTest::newRow("wrong answer") << powerSupply << R"({"wrongAt":{"image":"#OK"}})" << QByteArray("MRP\r\n")
                                  << QByteArray("#OK\r\n#VER:QPS:2.1.09\r\n") << true;
}

void TestLabUpdateFaults::imageIsRefused()
{
    QFETCH(QString, json);
    QFETCH(QString, update);
    QFETCH(QByteArray, ready);
    QFETCH(QByteArray, answer);
    QFETCH(bool, kept);
    LabProcess lab;
    QVERIFY(lab.start(scenarioOf({instrument(json, update)})));
    Client client;
    QVERIFY(client.connectNow());
    client.ask(ready == "MRP\r\n" ? "MST\r\n" : "VER\r\n");
    client.ask(ready);
    client.write(firmware(3000));
    QVERIFY(lab.waitForEvent(kept ? QStringLiteral("imageStored") : QStringLiteral("imageRefused")));
    client.write("VER\r\n");
    QByteArray said = client.readUntil(answer);
    while (said.startsWith("$:")) {
        said.remove(0, said.indexOf('\n') + 1);
    }
    QCOMPARE(said, answer);
    client.disconnectFromHost();
    QVERIFY(lab.waitForEvent(QStringLiteral("disconnected")));
    QCOMPARE(lab.events(QStringLiteral("imageStored")).isEmpty(), !kept);
    QVERIFY(lab.events(QStringLiteral("rebooted")).isEmpty());
}

void TestLabUpdateFaults::connectionIsCutInTheImage()
{
    const QByteArray image = firmware(3 * sectorSize);
    constexpr int cutAt = sectorSize + 1;
    for (const char *json : {powerSupply, picoammeter}) {
        LabProcess lab;
        QVERIFY(lab.start(scenarioOf(
            {instrument(QLatin1String(json), QStringLiteral("{\"cutAfterBytes\":%1}").arg(cutAt))})));
        const QByteArray stored = imageIn(lab);
        Client client;
        QVERIFY(client.connectNow());
        const bool isBeamline = json == picoammeter;
        client.ask(isBeamline ? "EPCSER:0\r" : "MST\r\n");
        client.ask(isBeamline ? "EPCSWR\r" : "MRP\r\n");
        client.write(image);
        QVERIFY(client.waitForDisconnected(waitMs));
        QVERIFY(lab.waitForEvent(QStringLiteral("disconnected")));
        QCOMPARE(lab.events(QStringLiteral("imageAborted")).value(0).value(QStringLiteral("bytes")).toInt(),
                 cutAt);
        // The power supply never had it whole; in the flash stands what came.
        const QByteArray written = image.left(sectorSize) +
                                   andOf(image.mid(sectorSize, 1), stored.mid(sectorSize)) +
                                   stored.mid(cutAt);
        QCOMPARE(imageIn(lab), isBeamline ? written : stored);
        QVERIFY(client.connectNow());
        QVERIFY(client.ask("VER\r\n").startsWith("#VER:"));
        QVERIFY(lab.events(QStringLiteral("rebooted")).isEmpty());
    }
}

void TestLabUpdateFaults::clientLeavesInTheImage()
{
    LabProcess lab;
    QVERIFY(lab.start(
        scenarioOf({instrument(QLatin1String(powerSupply), QStringLiteral("{\"imageSilenceMs\":600000}"))})));
    const QByteArray stored = imageIn(lab);
    Client client;
    QVERIFY(client.connectNow());
    client.ask("MST\r\n");
    client.ask("MRP\r\n");
    client.write(firmware(5000));
    QVERIFY(client.readUntil("\n").startsWith("$:")); // it is being taken
    client.disconnectFromHost();
    QVERIFY(lab.waitForEvent(QStringLiteral("disconnected")));
    QCOMPARE(lab.events(QStringLiteral("imageAborted")).size(), 1);
    QCOMPARE(imageIn(lab), stored);
}

void TestLabUpdateFaults::slowInstrumentMakesItsClientWait()
{
    LabProcess lab;
    QVERIFY(lab.start(
        scenarioOf({instrument(QLatin1String(powerSupply), QStringLiteral("{\"bytesPerSecond\":100000}"))})));
    Client client;
    QVERIFY(client.connectNow());
    // Small enough a buffer that the client feels the instrument's.
    client.setSocketOption(QAbstractSocket::SendBufferSizeSocketOption, 32 * 1024);
    client.ask("MST\r\n");
    client.ask("MRP\r\n");
    constexpr int size = 8 * 1024 * 1024;
    client.write(QByteArray(size, 'x'));
    QVERIFY(client.readUntil("\n").startsWith("$:"));
    QVERIFY(client.bytesToWrite() > size / 2);
    client.abort();
    QVERIFY(lab.waitForEvent(QStringLiteral("disconnected")));
    const int taken =
        lab.events(QStringLiteral("imageAborted")).value(0).value(QStringLiteral("bytes")).toInt();
    QVERIFY2(taken > 0 && taken < size / 2, qPrintable(QString::number(taken)));
}

void TestLabUpdateFaults::slowInstrumentSeesItsClientLeave()
{
    // What it was sent would take it minutes.
    LabProcess lab;
    QVERIFY(lab.start(
        scenarioOf({instrument(QLatin1String(powerSupply), QStringLiteral("{\"bytesPerSecond\":100}"))})));
    Client client;
    QVERIFY(client.connectNow());
    client.ask("MST\r\n");
    client.ask("MRP\r\n");
    client.write(firmware(24000));
    QVERIFY(client.readUntil("\n").startsWith("$:"));
    client.disconnectFromHost();
    QVERIFY(lab.waitForEvent(QStringLiteral("disconnected")));
    QCOMPARE(lab.events(QStringLiteral("imageAborted")).size(), 1);
    QVERIFY(client.connectNow());
}

void TestLabUpdateFaults::slowInstrumentTakesTheWholeImage()
{
    // Its own pauses are longer than the one that ends an image.
    const QByteArray image = firmware(40);
    LabProcess lab;
    QVERIFY(lab.start(scenarioOf({instrument(
        QLatin1String(powerSupply), QStringLiteral("{\"bytesPerSecond\":50,\"imageSilenceMs\":5}"))})));
    Client client;
    QVERIFY(client.connectNow());
    client.ask("MST\r\n");
    client.ask("MRP\r\n");
    QElapsedTimer time;
    time.start();
    QVERIFY(client.ask(image).endsWith("#ACK\r\n"));
    QVERIFY(time.elapsed() >= 500); // 800 less the credit and the clocks' grain
    QVERIFY(storedIs(lab, image));
}

void TestLabUpdateFaults::erasingAndStoringTakeTheirTime()
{
    constexpr qint64 leastMs = 190; // of 200
    LabProcess lab;
    QVERIFY(lab.start(scenarioOf(
        {instrument(QLatin1String(picoammeter), QStringLiteral("{\"eraseMs\":200,\"storeMs\":200}"))})));
    Client client;
    QVERIFY(client.connectNow());
    QElapsedTimer time;
    time.start();
    client.write("VER\r\nEPCSER:0\rEPCSER:1\r"); // what comes meanwhile waits its turn
    QVERIFY(client.readUntil("#ACK\r\n").startsWith("#VER:"));
    QVERIFY(time.elapsed() >= leastMs);
    QCOMPARE(client.readUntil("\r\n"), QByteArray("#ACK\r\n"));
    QVERIFY(time.elapsed() >= 2 * leastMs);
    QCOMPARE(client.ask("EPCSWR\r"), QByteArray("#ACK\r\n"));
    time.restart();
    QCOMPARE(client.ask(firmware(10)), QByteArray("#ACK\r\n"));
    QVERIFY(time.elapsed() >= leastMs);
}

void TestLabUpdateFaults::answersTravelInPieces()
{
    LabProcess lab;
    QVERIFY(lab.start(scenarioOf(
        {instrument(QLatin1String(powerSupply), QStringLiteral("{\"pieceBytes\":3,\"pieceMs\":1}"))})));
    Client client;
    QVERIFY(client.connectNow());
    QCOMPARE(client.ask("VER\r\n"), QByteArray("#VER:QPS:2.1.09\r\n"));

    // The second piece is ten minutes away.
    QVERIFY(lab.start(scenarioOf(
        {instrument(QLatin1String(powerSupply), QStringLiteral("{\"pieceBytes\":3,\"pieceMs\":600000}"))})));
    Client second;
    QVERIFY(second.connectNow());
    second.write("VER\r\n");
    QCOMPARE(second.readUntil("VE"), QByteArray("#VE"));
    QVERIFY(lab.stop());
    QCOMPARE(second.readUntil("\r\n"), QByteArray());
}

QTEST_GUILESS_MAIN(TestLabUpdateFaults)
#include "tst_labupdatefaults.moc"
