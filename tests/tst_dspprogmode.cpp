#include "dialogue.h"
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

    void moduleIsBroughtIntoTheState_data();
    void moduleIsBroughtIntoTheState();
    void unknownStateKeepsTheLastStep();
    void closedPortsAreTold();
    void portThatIsStillTakenIsAskedAgain();

    void bootloaderIsSentAsItStands();
    void builtInBootloaderIsThere();
    void missingBootloaderEndsTheConnection();

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

void TestDspProgMode::moduleIsBroughtIntoTheState_data()
{
    QTest::addColumn<QByteArray>("steps");
    QTest::addColumn<QString>("error");
    QTest::addColumn<int>("state"); // -1: the boot loader
    const QByteArrayList states{"normal", "communication", "control"};
    for (const DialogueRow &row : dialoguesIn("motordriver.txt")) {
        QTest::newRow((row.section + ": " + row.name).constData())
            << row.steps << row.log << states.indexOf(row.section);
    }
}

void TestDspProgMode::moduleIsBroughtIntoTheState()
{
    QFETCH(QByteArray, steps);
    QFETCH(QString, error);
    QFETCH(int, state);
    const Dialogue dialogue(steps, imageText);
    const ScriptedPeer peer(dialogue.script());
    Pacing pacing = quickPacing();
    pacing.longestAnswer = std::chrono::milliseconds(500);
    const Report report = state < 0 ? loadBootloader(peer, image, pacing) : setState(peer, state);
    QCOMPARE(report.errors, error.isEmpty() ? QStringList() : QStringList{error});
    QVERIFY(state < 0 || report.steps == 5);
    QTRY_COMPARE(peer.endedConnections(), 1);
    QVERIFY2(dialogue.isHeard(peer.received()), peer.received().toHex().constData());
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

void TestDspProgMode::missingBootloaderEndsTheConnection()
{
    const ScriptedPeer dsp([](Connection &connection) { connection.send(connection.read(1)); });
    const Report report = loadBootloader(dsp, folder.filePath(QStringLiteral("none.hex")));
    QCOMPARE(report.errors, QStringList{QStringLiteral("ERROR: Bootloader File not found!")});
    QTRY_COMPARE(dsp.received(), QByteArray("a"));
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
