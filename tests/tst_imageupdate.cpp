#include "dialogue.h"
#include "firmwareupgrade.h"
#include "imagesender.h"
#include "labroom.h"
#include "quickpacing.h"
#include "updateroom.h"

#include <QEventLoop>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <sys/stat.h>

namespace {

using std::chrono::milliseconds;

const QString loopback = QStringLiteral("127.0.0.1");
const QString header = QStringLiteral(" ===  U P D A T E   T H E   D E V I C E  ===");

// More than the system takes from us before the peer reads.
constexpr int imageBytes = 32 * updateroom::sectorSize + 1;
constexpr int runTimeoutMs = 40000;
constexpr int lookMs = 10;

// "key=value" of a row's section or name; `otherwise` when it is not there.
QString option(const QString &row, const char *key, const QString &otherwise = {})
{
    const QString start = QLatin1String(", ") + QLatin1String(key) + QLatin1Char('=');
    const int at = row.indexOf(start);
    return at < 0 ? otherwise : row.mid(at + start.size()).section(QStringLiteral(", "), 0, 0);
}

// Whoever counts on a bound that the row does not give takes longer than a run may.
Pacing pacingOf(const QString &row)
{
    const auto bound = [&row](const char *key) {
        return milliseconds(option(row, key, QString::number(runTimeoutMs + 5000)).toInt());
    };
    Pacing pacing = quickPacing();
    pacing.versionConnect = pacing.tunnelConnect = bound("answer");
    pacing.versionAnswer = pacing.commandAnswer = pacing.eraseAnswer = bound("answer");
    pacing.written = bound("written");
    pacing.sendingGrace = bound("sending");
    pacing.slowestBytesPerSecond = 1024 * 1024 * 1024;
    pacing.imageAnswer = bound("verdict");
    pacing.longestVerdict = 4 * bound("verdict");
    return pacing;
}

struct Run
{
    QStringList log;
    QVector<int> progress;
    QVector<int> removed;
    int completed = 0;
    int failed = 0;
    bool wasStopped = false;
};

} // namespace

// The worker with instruments that take an image: what the lab's hold afterwards, and what scripted ones
// that misbehave at any step are sent.
class TestImageUpdate : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void imageArrives_data();
    void imageArrives();
    void peerIsHeardOut_data();
    void peerIsHeardOut();
    void nobodyIsSelected();
    void droppedWorkerStops();
    void lateLineIsNoAnswer();
    void consentBeforeTheLastPieceIsEarly();

private:
    QString path(const QString &name) const { return folder.filePath(name); }
    Run run(const QString &row, const ScriptedPeer *peer = nullptr) const;

    QTemporaryDir folder;
    QByteArray image;
};

void TestImageUpdate::initTestCase()
{
    image = updateroom::firmwareFile(path(QStringLiteral("image")), imageBytes);
    QFile(path(QStringLiteral("empty"))).open(QIODevice::WriteOnly);
    updateroom::firmwareFile(path(QStringLiteral("huge")), 1);
    QVERIFY(QFile::resize(path(QStringLiteral("huge")), qint64{64} * 1024 * 1024 + 1));
    QCOMPARE(mkfifo(QFile::encodeName(path(QStringLiteral("pipe"))).constData(), 0600), 0);
    QVERIFY(QFile::link(QStringLiteral("/dev/zero"), path(QStringLiteral("zero"))));
}

void TestImageUpdate::imageArrives_data()
{
    QTest::addColumn<QByteArray>("played");
    QTest::addColumn<QString>("options");
    QTest::addColumn<QString>("lines"); // all that the instrument hears besides the image
    const auto row = [](const char *name, const char *played, const char *options, const char *lines) {
        QTest::newRow(name) << QByteArray(played) << options << lines;
    };
    const char *recovery = R"({"kind":"json","code":"1F80","texts":{"FW":"BOOT"}})";
    const char *scanned = ", ip=192.168.0.70";
    const char *erasing = "VER EPCSER:0 EPCSER:1 EPCSER:2 EPCSWR";
    row("power supply", updateroom::powerSupply, scanned, "VER MST MRP MREBOOT");
    row("modular supply", R"({"kind":"powerSupply","code":"1400"})", scanned, "VER MST MRG:83 MREBOOT");
    row("recovery mode", recovery, scanned, "MST MRP MREBOOT");
    row("manual address", recovery, ", selected=000, manual=192.168.0.70", "MST MRP MREBOOT");
    row("picoammeter", updateroom::picoammeter, scanned, erasing);
    row("1600", R"({"kind":"beamline","code":"1600"})", scanned, erasing);
}

void TestImageUpdate::imageArrives()
{
    QFETCH(QByteArray, played);
    QFETCH(QString, options);
    LabProcess lab;
    updateroom::startLab(lab, played);
    const QByteArray firmware =
        updateroom::firmwareFile(path(QStringLiteral("small")), 3 * updateroom::sectorSize);
    const Run seen =
        run(labroom::field(labroom::object(played), "code") + QLatin1String(", file=small") + options);
    QVERIFY2(seen.completed == 1 && seen.failed == 0, qPrintable(seen.log.join(QLatin1Char('\n'))));
    QVERIFY(updateroom::storedIs(lab, firmware));
    const auto heard = [&lab] {
        QStringList lines;
        for (const QJsonObject &event : lab.events(QStringLiteral("lineReceived"))) {
            lines += labroom::field(event, "line");
        }
        return lines.join(QLatin1Char(' '));
    };
    QFETCH(QString, lines);
    QTRY_COMPARE(heard(), lines);
    QCOMPARE(seen.log.mid(0, 3),
             QStringList({header, QStringLiteral("Device IP: ") + updateroom::address(),
                          QStringLiteral("Firmware : ") + path(QStringLiteral("small"))}));
    QCOMPARE(seen.removed, options.contains(QLatin1String("manual")) ? QVector<int>() : QVector<int>{1});
    // One step at a time from 0 to 95, and 100 as the last word.
    QCOMPARE(seen.progress, QVector<int>{0} + QVector<int>(95, 1) + QVector<int>{100});
}

void TestImageUpdate::peerIsHeardOut_data()
{
    QTest::addColumn<QString>("row");
    QTest::addColumn<QByteArray>("steps");
    QTest::addColumn<QStringList>("log");
    QByteArray erase; // every sector of the image, and the question whether it may be written
    for (int i = 0; i * updateroom::sectorSize < imageBytes; ++i) {
        erase += ">EPCSER:" + QByteArray::number(i) + "\\r  <#ACK\\r\\n  ";
    }
    const QByteArray longLine = '<' + QByteArray(70000, '.') + "\\n";
    for (const DialogueRow &row :
         dialoguesIn("image.txt", {{"erase", erase + ">EPCSWR\\r"}, {"longLine", longLine}})) {
        const QByteArray name = row.section + ", " + row.name;
        QTest::newRow(name.constData())
            << QString::fromLatin1(name) << row.steps << row.log.split(QStringLiteral(" / "));
    }
}

// What the instruments got to the last byte, and what the user is told.
void TestImageUpdate::peerIsHeardOut()
{
    QFETCH(QString, row);
    QFETCH(QByteArray, steps);
    QFETCH(QStringList, log);
    const Dialogue dialogue(steps, image);
    const ScriptedPeer peer(dialogue.script());
    const Run seen = run(row, &peer);
    int at = -1;
    for (const QString &line : log) {
        at = seen.log.indexOf(line, at + 1);
        QVERIFY2(at >= 0,
                 qPrintable(line + QLatin1String(" is not in\n") + seen.log.join(QLatin1Char('\n'))));
    }
    QCOMPARE(at, seen.log.size() - 1);
    const bool updated =
        log.last() == QLatin1String("Done!") && log.filter(QStringLiteral("ERROR")).isEmpty();
    QCOMPARE(seen.completed, updated ? 1 : 0);
    QCOMPARE(seen.failed, updated ? 0 : 1);
    QCOMPARE(seen.wasStopped, log.contains(QStringLiteral("ERROR: Update timed out!")));

    // The bar begins anew for each. What this computer still holds does not count as taken.
    const int runs = seen.log.count(header);
    QCOMPARE(seen.progress.count(0), runs);
    QCOMPARE(seen.progress.count(100), updated ? 1 : 0);
    QVERIFY(updated ? seen.progress.count(1) == runs * 95 && seen.progress.last() == 100
                    : !steps.contains(">some") || seen.progress.count(1) < 95 / 2);
    QTRY_VERIFY(peer.endedConnections() >= dialogue.connections());
    QTRY_COMPARE(peer.endedConnections(), peer.connections());
    QVERIFY(dialogue.isHeard(peer.received()));
}

void TestImageUpdate::nobodyIsSelected()
{
    for (const char *row : {"selected=000", "selected=", "selected=0001, rows=4",
                            "selected=1, devices=0, rows=1", "selected=01, rows=1"}) {
        const Run seen = run(QLatin1String("1100, ") + QLatin1String(row));
        QVERIFY(seen.log.isEmpty() && seen.progress.isEmpty() && seen.completed == 0 && seen.failed == 0);
    }
}

// Not only when the answer is due, which is after the end of this test.
void TestImageUpdate::droppedWorkerStops()
{
    const ScriptedPeer peer(Dialogue(">MST\\r\\n").script());
    XPortPorts ports;
    ports.tunnel = peer.port();
    {
        firmwareUpgrade worker(path(QStringLiteral("image")), 0, {}, {}, loopback, nullptr, pacingOf({}),
                               ports);
        worker.start();
        QTRY_COMPARE(peer.received(), QByteArray("MST\r\n"));
    }
    QTRY_COMPARE(peer.endedConnections(), 1);
}

// What the first command's answer goes on with, when it has been read, does not answer the second.
void TestImageUpdate::lateLineIsNoAnswer()
{
    std::promise<void> answered;
    std::promise<void> said;
    const ScriptedPeer peer([&](ScriptedPeer::Connection &connection) {
        connection.readUntil("one\r");
        connection.send("first\r\n");
        answered.get_future().wait();
        connection.send("more of the first\r\n");
        said.set_value();
        connection.readUntil("two\r");
        connection.send("second\r\n");
    });
    const milliseconds bound(runTimeoutMs);
    LineConversation link('\n', bound);
    link.open(loopback, peer.port(), bound, Interruption::Ignored);
    const QString first = link.ask("one\r", bound, Interruption::Ignored);
    answered.set_value();
    said.get_future().wait();
    QCOMPARE(first + link.ask("two\r", bound, Interruption::Ignored), QStringLiteral("firstsecond"));
}

// It is on its way, but most of it is still here.
void TestImageUpdate::consentBeforeTheLastPieceIsEarly()
{
    const ScriptedPeer peer(Dialogue(">2000  <#ACK\\r\\n  .100  >image  <#NAK\\r\\n", image).script());
    const Pacing pacing = pacingOf({});
    LineConversation link('\n', pacing.written);
    QVERIFY(link.open(loopback, peer.port(), pacing.tunnelConnect, Interruption::Ignored));
    const auto meaning = [](const QByteArray &line) {
        return line.contains("NAK") ? ImageSender::Said::Refusal : ImageSender::Said::Consent;
    };
    ImageSender sender(link, pacing, {imageBytes, pacing.imageAnswer, pacing.longestVerdict, meaning, [] {}});
    QCOMPARE(sender.send(image), ImageSender::Outcome::Refusal);
}

// One run to its end, of the second of three devices. The "stop" of the row is a line of the log, or what
// the peer hears.
Run TestImageUpdate::run(const QString &row, const ScriptedPeer *peer) const
{
    Run seen;
    Device_t device;
    device[Code] = row.left(4);
    device[Ip] = option(row, "ip", loopback);
    QList<bool> selected;
    for (const QChar flag : option(row, "selected", QStringLiteral("011"))) {
        selected += flag == QLatin1Char('1');
    }
    XPortPorts ports;
    ports.tunnel = peer ? peer->port() : ports.tunnel;
    ports.tunnel = option(row, "port").isEmpty() ? ports.tunnel : ScriptedPeer::closedPort();
    const QString three = QStringLiteral("3");
    firmwareUpgrade worker(path(option(row, "file", QStringLiteral("image"))),
                           option(row, "rows", three).toInt(), selected,
                           QList<Device_t>{{}, device, {}}.mid(0, option(row, "devices", three).toInt()),
                           option(row, "manual"), nullptr, pacingOf(row), ports);
    // A queued call from the worker to the loop is an order of events that the thread sanitizer sees.
    QEventLoop loop;
    const QString stop = option(row, "stop", QStringLiteral("never"));
    QTimer look;
    connect(&look, &QTimer::timeout, &loop, [&] {
        if (peer->received().contains(stop.toLatin1())) {
            worker.requestInterruption();
        }
    });
    if (peer && row.contains(QLatin1String("stop="))) {
        look.start(lookMs);
    }
    // On the worker's own thread, so that the request comes before its next step.
    const auto stopAt = [&](const QString &line) {
        line.startsWith(stop) ? worker.requestInterruption() : void();
    };
    connect(&worker, &firmwareUpgrade::signalPrintMessage, &worker, stopAt, Qt::DirectConnection);
    const auto listen = [&](auto signal, auto slot) { connect(&worker, signal, &loop, slot); };
    listen(&firmwareUpgrade::signalPrintMessage, [&](const QString &line) { seen.log += line; });
    listen(&firmwareUpgrade::signalProgressBarUpdate, [&](int value) { seen.progress += value; });
    listen(&firmwareUpgrade::signalRemoveSelectedDevice, [&](int index) { seen.removed += index; });
    listen(&firmwareUpgrade::signalProcedureCompleted, [&] { ++seen.completed; });
    listen(&firmwareUpgrade::signalErrorDetected, [&] { ++seen.failed; });
    listen(&QThread::finished, [&] { loop.quit(); });
    QTimer::singleShot(runTimeoutMs, &loop, &QEventLoop::quit);
    worker.start();
    loop.exec();
    seen.wasStopped = worker.wasStopped();
    return seen;
}

QTEST_GUILESS_MAIN(TestImageUpdate)
#include "tst_imageupdate.moc"
