#include "labroom.h"
#include "updateroom.h"

#include <QElapsedTimer>
#include <QTest>

using namespace labroom;
using namespace updateroom;

namespace {

// The questions before the image, of either dialogue.
void startImage(Bench &bench)
{
    const bool isBeamline = bench.client.ask("VER\r\n").contains("QB4A");
    bench.client.ask(isBeamline ? "EPCSER:0\r" : "MST\r\n");
    bench.client.ask(isBeamline ? "EPCSWR\r" : "MRP\r\n");
}

// How much of the first image had come when it was given up.
int abortedAt(const LabProcess &lab)
{
    return lab.events(QStringLiteral("imageAborted")).value(0).value(QStringLiteral("bytes")).toInt();
}

} // namespace

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
    void clientLeavesInTheImage_data();
    void clientLeavesInTheImage();
    void slowInstrumentMakesItsClientWait();
    void slowInstrumentTakesTheWholeImage();
    void erasingAndStoringTakeTheirTime();
    void answersTravelInPieces();
};

void TestLabUpdateFaults::stepsFail_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QByteArray>("update");
    QTest::addColumn<QByteArrayList>("answered"); // commands before that are answered in health
    QTest::addColumn<QByteArray>("command");
    QTest::addColumn<QByteArray>("answer"); // empty: none
    const auto row = [](const char *name, const char *json, const char *update,
                        const QByteArrayList &answered, const char *command, const char *answer) {
        QTest::newRow(name) << QByteArray(json) << QByteArray(update) << answered << QByteArray(command)
                            << QByteArray(answer);
    };
    row("NAK", powerSupply, R"({"nakAt":"MST"})", {"VER\r\n"}, "MST\r\n", "#NAK\r\n");
    row("NAK with a text at MRP's other form", powerSupply, R"({"nakAt":"MRP","nakText":"DC link low"})",
        {"MST\r\n"}, "MRG:83\r\n", "#NAK:DC link low\r\n");
    row("NAK at one sector", picoammeter, R"({"nakAt":"EPCSER:1"})", {"EPCSER:0\r", "EPCSER:10\r"},
        "EPCSER:1\r", "#NAK\r\n");
    row("silent at MREBOOT", powerSupply, R"({"silentAt":"MREBOOT"})", {"MST\r\n"}, "MREBOOT\r\n", "");
    row("silent at EPCSWR", picoammeter, R"({"silentAt":"EPCSWR"})", {}, "EPCSWR\r", "");
    row("wrong", picoammeter, R"({"wrongAt":{"EPCSER":"busy"}})", {}, "EPCSER:7\r", "busy\r\n");
}

void TestLabUpdateFaults::stepsFail()
{
    QFETCH(QByteArray, json);
    QFETCH(QByteArray, update);
    QFETCH(QByteArrayList, answered);
    QFETCH(QByteArray, command);
    QFETCH(QByteArray, answer);
    Bench bench(json, update);
    for (const QByteArray &one : qAsConst(answered)) {
        const QByteArray said = bench.client.ask(one);
        QVERIFY2(said.endsWith("\r\n") && !said.contains("NAK"), said.constData());
    }
    const QByteArray stored = imageIn(bench.lab);
    bench.client.write(command);
    if (!answer.isEmpty()) {
        QCOMPARE(bench.client.readUntil("\r\n"), answer);
    }
    // Nothing was said in between, and no image is awaited.
    QVERIFY(bench.client.ask("MVER\r\n").startsWith("#MVER:"));
    QCOMPARE(imageIn(bench.lab), stored);
    QVERIFY(bench.lab.events(QStringLiteral("rebooted")).isEmpty());
}

void TestLabUpdateFaults::imageIsRefused_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QByteArray>("update");
    QTest::addColumn<QByteArray>("answer"); // with that of a VER after it
    QTest::addColumn<bool>("kept");
    const auto row = [](const char *name, const char *json, const char *update, const char *answer,
                        bool kept) {
        QTest::newRow(name) << QByteArray(json) << QByteArray(update) << QByteArray(answer) << kept;
    };
    row("NAK, power supply", powerSupply, R"({"nakAt":"image"})", "#NAK:image refused\r\n#VER:QPS:2.1.09\r\n",
        false);
    row("NAK, beamline", picoammeter, R"({"nakAt":"image"})", "#NAK:image refused\r\n#VER:QB4A:1.2.03\r\n",
        false);
    row("silence", powerSupply, R"({"silentAt":"image"})", "#VER:QPS:2.1.09\r\n", false);
    row("wrong answer", powerSupply, R"({"wrongAt":{"image":"#OK"}})", "#OK\r\n#VER:QPS:2.1.09\r\n", true);
}

void TestLabUpdateFaults::imageIsRefused()
{
    QFETCH(QByteArray, json);
    QFETCH(QByteArray, update);
    QFETCH(QByteArray, answer);
    QFETCH(bool, kept);
    Bench bench(json, update);
    startImage(bench);
    bench.client.write(firmware(3000));
    QVERIFY(bench.lab.waitForEvent(kept ? QStringLiteral("imageStored") : QStringLiteral("imageRefused")));
    bench.client.write("VER\r\n");
    QByteArray said = bench.client.readUntil(answer);
    while (said.startsWith("$:")) {
        said.remove(0, said.indexOf('\n') + 1);
    }
    QCOMPARE(said, answer);
    bench.client.disconnectFromHost();
    QVERIFY(bench.lab.waitForEvent(QStringLiteral("disconnected")));
    QCOMPARE(bench.lab.events(QStringLiteral("imageStored")).isEmpty(), !kept);
    QVERIFY(bench.lab.events(QStringLiteral("rebooted")).isEmpty());
}

void TestLabUpdateFaults::connectionIsCutInTheImage()
{
    const QByteArray image = firmware(3 * sectorSize);
    constexpr int cutAt = sectorSize + 1;
    for (const char *json : {powerSupply, picoammeter}) {
        Bench bench(json, "{\"cutAfterBytes\":" + QByteArray::number(cutAt) + '}');
        const QByteArray stored = imageIn(bench.lab);
        startImage(bench);
        bench.client.write(image);
        QVERIFY(bench.client.waitForDisconnected(waitMs));
        QVERIFY(bench.lab.waitForEvent(QStringLiteral("disconnected")));
        QCOMPARE(abortedAt(bench.lab), cutAt);
        // The power supply never had it whole; in the flash stands what came.
        const QByteArray written = image.left(sectorSize) +
                                   andOf(image.mid(sectorSize, 1), stored.mid(sectorSize)) +
                                   stored.mid(cutAt);
        QCOMPARE(imageIn(bench.lab), json == picoammeter ? written : stored);
        QVERIFY(bench.client.connectNow());
        QVERIFY(bench.client.ask("VER\r\n").startsWith("#VER:"));
        QVERIFY(bench.lab.events(QStringLiteral("rebooted")).isEmpty());
    }
}

void TestLabUpdateFaults::clientLeavesInTheImage_data()
{
    QTest::addColumn<QByteArray>("update");
    QTest::newRow("waiting for more") << QByteArray(R"({"imageSilenceMs":600000})");
    QTest::newRow("taking minutes for what it was sent") << QByteArray(R"({"bytesPerSecond":100})");
}

void TestLabUpdateFaults::clientLeavesInTheImage()
{
    QFETCH(QByteArray, update);
    Bench bench(powerSupply, update);
    const QByteArray stored = imageIn(bench.lab);
    startImage(bench);
    bench.client.write(firmware(24000));
    QVERIFY(bench.client.readUntil("\n").startsWith("$:")); // it is being taken
    bench.client.disconnectFromHost();
    QVERIFY(bench.lab.waitForEvent(QStringLiteral("disconnected")));
    QCOMPARE(bench.lab.events(QStringLiteral("imageAborted")).size(), 1);
    QCOMPARE(imageIn(bench.lab), stored);
    QVERIFY(bench.client.connectNow());
}

void TestLabUpdateFaults::slowInstrumentMakesItsClientWait()
{
    Bench bench(powerSupply, R"({"bytesPerSecond":100000})");
    // Small enough a buffer that the client feels the instrument's.
    bench.client.setSocketOption(QAbstractSocket::SendBufferSizeSocketOption, 32 * 1024);
    startImage(bench);
    constexpr int size = 8 * 1024 * 1024;
    bench.client.write(QByteArray(size, 'x'));
    QVERIFY(bench.client.readUntil("\n").startsWith("$:"));
    QVERIFY(bench.client.bytesToWrite() > size / 2);
    bench.client.abort();
    QVERIFY(bench.lab.waitForEvent(QStringLiteral("disconnected")));
    const int taken = abortedAt(bench.lab);
    QVERIFY2(taken > 0 && taken < size / 2, qPrintable(QString::number(taken)));
}

void TestLabUpdateFaults::slowInstrumentTakesTheWholeImage()
{
    // Its own pauses are longer than the one that ends an image.
    const QByteArray image = firmware(40);
    Bench bench(powerSupply, R"({"bytesPerSecond":50,"imageSilenceMs":5})");
    startImage(bench);
    QElapsedTimer time;
    time.start();
    QVERIFY(bench.client.ask(image).endsWith("#ACK\r\n"));
    QVERIFY(time.elapsed() >= 500); // 800 less the credit and the clocks' grain
    QVERIFY(storedIs(bench.lab, image));
}

void TestLabUpdateFaults::erasingAndStoringTakeTheirTime()
{
    constexpr qint64 leastMs = 190; // of 200
    Bench bench(picoammeter, R"({"eraseMs":200,"storeMs":200})");
    QElapsedTimer time;
    time.start();
    bench.client.write("VER\r\nEPCSER:0\rEPCSER:1\r"); // what comes meanwhile waits its turn
    QVERIFY(bench.client.readUntil("#ACK\r\n").startsWith("#VER:"));
    QVERIFY(time.elapsed() >= leastMs);
    QCOMPARE(bench.client.readUntil("\r\n"), QByteArray("#ACK\r\n"));
    QVERIFY(time.elapsed() >= 2 * leastMs);
    QCOMPARE(bench.client.ask("EPCSWR\r"), QByteArray("#ACK\r\n"));
    time.restart();
    QCOMPARE(bench.client.ask(firmware(10)), QByteArray("#ACK\r\n"));
    QVERIFY(time.elapsed() >= leastMs);
}

void TestLabUpdateFaults::answersTravelInPieces()
{
    // The second piece is ten minutes away.
    Bench bench(powerSupply, R"({"pieceBytes":3,"pieceMs":600000})");
    bench.client.write("VER\r\n");
    QCOMPARE(bench.client.readUntil("VE"), QByteArray("#VE"));
    QVERIFY(bench.lab.stop());
    QCOMPARE(bench.client.readUntil("\r\n"), QByteArray());
}

QTEST_GUILESS_MAIN(TestLabUpdateFaults)
#include "tst_labupdatefaults.moc"
