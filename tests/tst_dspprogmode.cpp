#include "dspprogmode.h"
#include "quickpacing.h"
#include "scriptedpeer.h"
#include "threadrun.h"

#include <QFile>
#include <QSemaphore>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

// The pins and the boot loader: the bytes at the GPIO port and in the tunnel, and how a wrong, missing
// or late answer ends.
class TestDspProgMode : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void tableEndsInTheState_data();
    void tableEndsInTheState();
    void unknownStateKeepsTheLastStep();
    void wrongAnswerDoesNotStopTheTable_data();
    void wrongAnswerDoesNotStopTheTable();
    void answerMayComeInPieces();
    void closedPortsAreTold();
    void portThatIsStillTakenIsAskedAgain();

    void bootloaderIsSentAsItStands();
    void builtInBootloaderIsThere();
    void autobaudNeedsExactlyItsEcho_data();
    void autobaudNeedsExactlyItsEcho();
    void missingBootloaderEndsTheConnection();
    void endlessAnswersEnd();

    void interruptionEndsEachWait_data();
    void interruptionEndsEachWait();

private:
    struct Report
    {
        QStringList errors;
        int steps = 0;
    };
    Report setState(const ScriptedPeer &module, int state);
    Report loadBootloader(const ScriptedPeer &peer, const QString &path,
                          const Pacing &pacing = quickPacing());
    static void follow(const dspProgMode &mode, Report *report);

    const QString loopback = QStringLiteral("127.0.0.1");
    QTemporaryDir folder;
    QString image;
    QByteArray imageText;
};

namespace {

using Connection = ScriptedPeer::Connection;

QByteArrayList commands(const char *value)
{
    return {QByteArray::fromHex("190700000007000000"), QByteArray::fromHex("1A0700000000000000"),
            QByteArray::fromHex("1B0700000000000000"),
            QByteArray::fromHex("1B07000000" + QByteArray(value) + "000000")};
}

// What the module answers when it has done as told: the command and all pins.
QByteArray obedience(const QByteArray &command)
{
    return command.left(1) + command.mid(5, 4);
}

void obey(Connection &module)
{
    for (QByteArray command = module.read(9); command.size() == 9; command = module.read(9)) {
        module.send(obedience(command));
    }
}

XPortPorts portsOf(quint16 gpio, quint16 tunnel)
{
    XPortPorts ports;
    ports.gpio = gpio;
    ports.tunnel = tunnel;
    return ports;
}

const QStringList misconfigured{QStringLiteral("ERROR: GPIO not configured correctly!")};
const QStringList timedOut{QStringLiteral("ERROR: Update timed out!")};

} // namespace

void TestDspProgMode::initTestCase()
{
    QVERIFY(qEnvironmentVariableIsSet("LAB_NET"));
    QVERIFY(folder.isValid());
    image = folder.filePath(QStringLiteral("loader.hex"));
    imageText = QByteArray(":020000040000FA\r\n").repeated(3000);
    QFile file(image);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(imageText), qint64(imageText.size()));
}

void TestDspProgMode::follow(const dspProgMode &mode, Report *report)
{
    connect(
        &mode, &dspProgMode::signalError, &mode, [report](const QString &text) { report->errors << text; },
        Qt::DirectConnection);
    connect(
        &mode, &dspProgMode::signalIncreaseProgressBar, &mode, [report] { ++report->steps; },
        Qt::DirectConnection);
}

TestDspProgMode::Report TestDspProgMode::setState(const ScriptedPeer &module, int state)
{
    dspProgMode mode(nullptr, Interruption::Honoured, quickPacing(), portsOf(module.port(), 1));
    Report report;
    follow(mode, &report);
    mode.setState(state, loopback);
    return report;
}

void TestDspProgMode::tableEndsInTheState_data()
{
    QTest::addColumn<int>("state");
    QTest::addColumn<QByteArray>("value");
    QTest::newRow("normal") << 0 << QByteArray("07");
    QTest::newRow("Communication DSP") << 1 << QByteArray("05");
    QTest::newRow("Control DSP") << 2 << QByteArray("06");
}

void TestDspProgMode::tableEndsInTheState()
{
    QFETCH(int, state);
    QFETCH(QByteArray, value);
    const ScriptedPeer module(obey);
    const Report report = setState(module, state);
    QCOMPARE(report.errors, QStringList());
    QCOMPARE(report.steps, 5);
    QTRY_COMPARE(module.received().toHex(), commands(value.constData()).join().toHex());
}

void TestDspProgMode::unknownStateKeepsTheLastStep()
{
    const ScriptedPeer module(obey);
    dspProgMode mode(nullptr, Interruption::Honoured, quickPacing(), portsOf(module.port(), 1));
    mode.setState(2, loopback);
    mode.setState(3, loopback);
    mode.setState(-1, loopback);
    QTRY_COMPARE(module.received().toHex(), commands("06").join().repeated(3).toHex());
    QCOMPARE(module.connections(), 3);
}

void TestDspProgMode::wrongAnswerDoesNotStopTheTable_data()
{
    QTest::addColumn<int>("step");
    QTest::addColumn<QByteArray>("wrong");
    QTest::newRow("first step, other pins") << 1 << QByteArray::fromHex("1B02000000");
    QTest::newRow("last step, other pins") << 4 << QByteArray::fromHex("1B02000000");
    QTest::newRow("unknown command") << 2 << QByteArray::fromHex("FF");
    QTest::newRow("silence") << 4 << QByteArray();
    QTest::newRow("too much") << 4 << QByteArray::fromHex("1B0500000000");
}

void TestDspProgMode::wrongAnswerDoesNotStopTheTable()
{
    QFETCH(int, step);
    QFETCH(QByteArray, wrong);
    const ScriptedPeer module([step, &wrong](Connection &connection) {
        for (int i = 1; i <= 4; ++i) {
            const QByteArray command = connection.read(9);
            connection.send(i == step ? wrong : obedience(command));
        }
    });
    const Report report = setState(module, 1);
    QCOMPARE(report.errors, misconfigured);
    QCOMPARE(report.steps, 5);
    QTRY_COMPARE(module.received().toHex(), commands("05").join().toHex());
}

void TestDspProgMode::answerMayComeInPieces()
{
    const ScriptedPeer module([](Connection &connection) {
        for (int i = 1; i <= 4; ++i) {
            const QByteArray answer = obedience(connection.read(9));
            connection.send(answer.left(2));
            connection.wait(50);
            connection.send(answer.mid(2));
        }
    });
    QCOMPARE(setState(module, 0).errors, QStringList());
}

void TestDspProgMode::closedPortsAreTold()
{
    const quint16 closed = ScriptedPeer::closedPort();
    dspProgMode mode(nullptr, Interruption::Honoured, quickPacing(), portsOf(closed, closed), image);
    Report report;
    follow(mode, &report);
    mode.setState(1, loopback);
    QCOMPARE(report.errors, QStringList{QStringLiteral("ERROR: Connection to port 30704 failed!")});
    mode.loadBootloader();
    QCOMPARE(report.errors.size(), 2);
    QCOMPARE(report.errors.last(), QStringLiteral("ERROR: Connection Failed!!"));
}

void TestDspProgMode::portThatIsStillTakenIsAskedAgain()
{
    const quint16 port = ScriptedPeer::closedPort();
    QTcpServer module; // on this thread, so it answers nothing
    QTimer::singleShot(400, &module, [&module, port] { module.listen(QHostAddress::LocalHost, port); });
    dspProgMode mode(nullptr, Interruption::Honoured, quickPacing(), portsOf(port, port));
    Report report;
    follow(mode, &report);
    mode.setState(1, loopback);
    QVERIFY(module.isListening());
    QCOMPARE(report.errors, misconfigured + misconfigured + misconfigured + misconfigured);
}

TestDspProgMode::Report TestDspProgMode::loadBootloader(const ScriptedPeer &peer, const QString &path,
                                                        const Pacing &pacing)
{
    const ScriptedPeer pins(obey);
    dspProgMode mode(nullptr, Interruption::Honoured, pacing, portsOf(pins.port(), peer.port()), path);
    mode.setState(1, loopback);
    Report report;
    follow(mode, &report);
    mode.loadBootloader();
    return report;
}

void TestDspProgMode::bootloaderIsSentAsItStands()
{
    const ScriptedPeer dsp([this](Connection &connection) {
        connection.send(connection.read(1));
        connection.read(imageText.size() - 10);
        for (int i = 0; i < 7; ++i) { // more answers than are shown as progress
            connection.send("loading\n");
            connection.wait(100);
        }
    });
    const Report report = loadBootloader(dsp, image);
    QCOMPARE(report.errors, QStringList());
    QCOMPARE(report.steps, 4 + 5); // the stages, and the first waits of the drain
    QTRY_VERIFY(dsp.received() == 'a' + imageText);
}

void TestDspProgMode::builtInBootloaderIsThere()
{
    QFile builtIn(dspProgMode::defaultBootloader());
    QVERIFY(builtIn.open(QIODevice::ReadOnly));
    const QByteArray text = builtIn.readAll();
    QVERIFY(text.startsWith(':'));
    const ScriptedPeer dsp([](Connection &connection) { connection.send(connection.read(1)); });
    QCOMPARE(loadBootloader(dsp, dspProgMode::defaultBootloader()).errors, QStringList());
    QTRY_VERIFY(dsp.received() == 'a' + text);
}

void TestDspProgMode::autobaudNeedsExactlyItsEcho_data()
{
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<QByteArray>("echo");
    QTest::addColumn<bool>("locked");
    QTest::newRow("echo") << QByteArray() << QByteArray("a") << true;
    QTest::newRow("echo behind an earlier session's bytes") << QByteArray("old") << QByteArray("a") << true;
    QTest::newRow("an earlier session's bytes alone") << QByteArray("a") << QByteArray() << false;
    QTest::newRow("silence") << QByteArray() << QByteArray() << false;
    QTest::newRow("another character") << QByteArray() << QByteArray("A") << false;
    QTest::newRow("more than the echo") << QByteArray() << QByteArray("aa") << false;
}

void TestDspProgMode::autobaudNeedsExactlyItsEcho()
{
    QFETCH(QByteArray, before);
    QFETCH(QByteArray, echo);
    QFETCH(bool, locked);
    const ScriptedPeer dsp([&](Connection &connection) {
        connection.send(before);
        connection.read(1);
        connection.send(echo);
    });
    const Report report = loadBootloader(dsp, image);
    const QStringList failure{QStringLiteral("ERROR: autobaud failed!")};
    QCOMPARE(report.errors, locked ? QStringList() : failure);
    QTRY_COMPARE(dsp.received().size(), locked ? 1 + imageText.size() : 1);
}

void TestDspProgMode::missingBootloaderEndsTheConnection()
{
    const ScriptedPeer dsp([](Connection &connection) { connection.send(connection.read(1)); });
    const Report report = loadBootloader(dsp, folder.filePath(QStringLiteral("none.hex")));
    QCOMPARE(report.errors, QStringList{QStringLiteral("ERROR: Bootloader File not found!")});
    QTRY_COMPARE(dsp.received(), QByteArray("a"));
}

void TestDspProgMode::endlessAnswersEnd()
{
    const ScriptedPeer dsp([this](Connection &connection) {
        connection.send(connection.read(1));
        connection.read(imageText.size());
        while (connection.isOpen()) {
            connection.send("bla ");
            connection.wait(20);
        }
    });
    Pacing pacing = quickPacing();
    pacing.longestAnswer = std::chrono::milliseconds(500);
    QCOMPARE(loadBootloader(dsp, image, pacing).errors, QStringList());
}

void TestDspProgMode::interruptionEndsEachWait_data()
{
    QTest::addColumn<QString>("stage");
    for (const char *stage : {"connect", "pins", "settle", "autobaud", "drain"}) {
        QTest::newRow(stage) << QString::fromLatin1(stage);
    }
}

// Each wait that is meant would last five minutes.
void TestDspProgMode::interruptionEndsEachWait()
{
    QFETCH(QString, stage);
    constexpr std::chrono::minutes ages(5);
    QSemaphore reached;
    const ScriptedPeer module([&](Connection &connection) {
        if (stage == QLatin1String("pins")) {
            connection.read(9);
            reached.release();
        }
        obey(connection);
    });
    const ScriptedPeer dsp([&](Connection &connection) {
        if (stage == QLatin1String("settle")) {
            reached.release();
        }
        const QByteArray character = connection.read(1);
        if (stage == QLatin1String("autobaud")) {
            reached.release();
            return;
        }
        connection.send(character);
        connection.read(imageText.size());
        connection.send("x");
        reached.release();
    });
    Pacing pacing = quickPacing();
    pacing.gpioConnect = ages;
    pacing.gpioAnswer = ages;
    pacing.autobaud = ages;
    pacing.bootAnswer = ages;
    if (stage == QLatin1String("settle")) {
        pacing.tunnelSettle = ages;
    }
    const bool connecting = stage == QLatin1String("connect");
    Report report;
    ThreadRun run([&] {
        dspProgMode mode(nullptr, Interruption::Honoured, pacing,
                         portsOf(connecting ? 30704 : module.port(), dsp.port()), image);
        follow(mode, &report);
        mode.setState(1, connecting ? QStringLiteral("192.168.0.77") : loopback);
        if (report.errors.isEmpty()) {
            mode.loadBootloader();
        }
    });
    QVERIFY(connecting || reached.tryAcquire(1, 20000));
    run.interrupt();
    QVERIFY(run.wait(20000));
    QCOMPARE(report.errors, timedOut);
}

QTEST_GUILESS_MAIN(TestDspProgMode)
#include "tst_dspprogmode.moc"
