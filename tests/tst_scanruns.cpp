#include "client.h"
#include "devicecatalogue.h"
#include "labroom.h"
#include "support/scanfixture.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>
#include <QThreadPool>
#include <QTimer>
#include <QUdpSocket>

using namespace labroom;

// How a scan runs: every way to end it, what it says of trouble, and what it asks of serial servers: good,
// slow and hostile ones.
class TestScanRuns : public QObject
{
    Q_OBJECT

private slots:
    void goesOnInStepsAndAlone();
    void ends_data();
    void ends();
    void saysWhatItCouldNotDo();
    void takesNothingAfterItsLastStep();
    void waitsForRoomInAWideRange();
    void tellsWhatIsBehindModules();
    void asksARackOfModules_data();
    void asksARackOfModules();
};

namespace {

const char *const first = "wst0@192.168.0.100";
constexpr int hour = 3600 * 1000;

QJsonObject moduleNumber(int number, const QJsonObject &tunnel = {})
{
    const QByteArray text = QByteArray::number(number);
    return with(module("00:20:4A:00:00:" + text, "192.168.0." + text), "tunnel", tunnel);
}

// A host of the workstation that answers for as many serial servers as a test wants, and counts who
// connects to ask what is behind them.
struct ModuleHost : QTcpServer
{
    explicit ModuleHost(bool closes)
    {
        connect(this, &QTcpServer::newConnection, this, [this, closes] {
            while (QTcpSocket *connection = nextPendingConnection()) {
                ++asked;
                if (closes) {
                    connection->deleteLater();
                }
            }
        });
        listen(QHostAddress(onCable0()), versionquery::serialTunnelPort);
    }

    // Sends the reply of a serial server that nobody has heard of.
    void invent()
    {
        const QByteArray number = QByteArray::number(++invented, 16).rightJustified(6, '0');
        socket.writeDatagram(QByteArray(24, '\0') + QByteArray::fromHex("00204A" + number),
                             QHostAddress(onCable0()), modulePort);
    }

    QUdpSocket socket;
    int invented = 0;
    int asked = 0;
};

} // namespace

void TestScanRuns::goesOnInStepsAndAlone()
{
    Client client;
    QList<int> values;
    int refused = 0;
    connect(&client, &Client::signalUpdateProgressBar, this, [&](int value) {
        values.append(value);
        refused += client.isScanning() && client.scan(interfacesOf(first)).isEmpty() ? 1 : 0;
    });
    client.scan({});
    QCOMPARE(values, QList<int>{0} + QVector<int>(80, 1).toList() + QList<int>{100});
    QCOMPARE(refused, 82);
    QCOMPARE(client.interfacesQueried(), 0);
    QVERIFY(!client.isScanning());
}

void TestScanRuns::ends_data()
{
    QTest::addColumn<bool>("quits");
    QTest::addColumn<QByteArray>("walkTo"); // empty: no walk
    QTest::addColumn<int>("modules");
    QTest::newRow("in the wait") << false << QByteArray() << 0;
    QTest::newRow("in the wait, with the program") << true << QByteArray() << 0;
    QTest::newRow("in a walk without routes") << false << QByteArray("223.255.255.255") << 0;
    QTest::newRow("in a walk that waits for room") << false << QByteArray("192.168.255.255") << 0;
    QTest::newRow("while it connects") << false << QByteArray() << 1;
    QTest::newRow("while modules are silent") << false << QByteArray() << 5;
    QTest::newRow("while modules are silent, with the program") << true << QByteArray() << 5;
}

// Everything here would take hours. What was found until then is kept, and the next scan is whole.
void TestScanRuns::ends()
{
    QFETCH(bool, quits);
    QFETCH(QByteArray, walkTo);
    QFETCH(int, modules);
    QList<QJsonObject> instruments{supply(11), supply(12)};
    for (int i = 0; i < modules; ++i) {
        instruments.append(moduleNumber(60 + i, object(R"({"manner":"silent"})")));
    }
    LabProcess lab;
    QVERIFY(lab.start(scenarioOf(instruments), {QStringLiteral("--verbose")}));
    const bool wide = walkTo.startsWith("192.168");
    QVERIFY(!wide || ip("route add 192.168.0.0/16 dev wst0"));
    // One that answers the scan, while what is sent to it alone is lost.
    QVERIFY(modules != 1 ||
            ip("neighbour replace 192.168.0.60 lladdr 02:00:00:00:00:01 dev wst0 nud permanent"));

    Client client;
    client.requestStop();                               // no scan runs, so this stops none
    client.setScanTime(modules > 0 ? 3000 : 80 * hour); // an hour a step
    client.setTcpThreads(2);                            // so that some wait for their turn
    client.setTcpWaitRead(hour);
    client.setTcpWaitConnected(hour);
    if (!walkTo.isEmpty()) {
        walk(client, "192.168.0.11", walkTo.constData());
    }
    QSignalSpy progress(&client, &Client::signalUpdateProgressBar);
    QStringList queries;
    int found = 0;
    QTimer::singleShot(0, &client, [&] {
        found = client.scan(interfacesOf(first)).size();
        QCoreApplication::quit();
    });
    int turns = 0;
    QTimer user;
    connect(&user, &QTimer::timeout, this, [&] {
        const bool there = lab.events(QStringLiteral("reply")).size() >= 2 + modules &&
                           lab.events(QStringLiteral("connected")).size() >= (modules > 1 ? 2 : 0);
        turns += there && (modules == 0 || progress.size() > 80) ? 1 : 0;
        if (turns == 20) {
            user.stop();
            quits ? QCoreApplication::quit() : client.requestStop();
        }
    });
    user.start(50);
    QCoreApplication::exec();
    QVERIFY(!wide || (ip("route delete 192.168.0.0/16 dev wst0") && ip("neighbour flush dev wst0")));
    QVERIFY(modules != 1 || ip("neighbour delete 192.168.0.60 dev wst0"));

    QCOMPARE(turns, 20);
    QCOMPARE(found, 2 + modules);
    QVERIFY(client.wasStopped() && !client.isScanning());
    QVERIFY2(client.problem().contains(QLatin1String("stopped")), qPrintable(client.problem()));
    QCOMPARE(progress.last().first().toInt(), 100);
    // A thread is counted for a moment after its last task has ended; a query would wait for an hour.
    QTRY_COMPARE(QThreadPool::globalInstance()->activeThreadCount(), 0);
    QCOMPARE(lab.events(QStringLiteral("connected")).size(), modules > 1 ? 2 : 0);
    const QStringList broadcasts = queriesSeen(lab).filter(QStringLiteral(" 255.255.255.255:"));
    QCOMPARE(broadcasts.size(), walkTo.isEmpty() ? 1 : 0); // none after the stop

    progress.clear();
    client.setScanTime(80);
    client.setSendUnicast(false);
    QCOMPARE(client.scan({}).size(), found);
    QCOMPARE(progress.size(), 82);
    QVERIFY(!client.wasStopped());
    QCOMPARE(client.problem(), QString());
}

void TestScanRuns::saysWhatItCouldNotDo()
{
    Client client;
    const auto problem = [&client](const char *interfaces) {
        client.scan(interfacesOf(interfaces));
        return client.problem();
    };
    QCOMPARE(problem(first), QString());
    {
        QUdpSocket other;
        QVERIFY(other.bind(QHostAddress(QHostAddress::AnyIPv4), discoveryPort, QUdpSocket::DontShareAddress));
        QVERIFY(problem(first).contains(QLatin1String("30719")));
    }
    {
        QUdpSocket other;
        QVERIFY(other.bind(QHostAddress(onCable0()), modulePort, QUdpSocket::DontShareAddress));
        QVERIFY2(problem(first).startsWith(QLatin1String("wst0: ")), "serial servers were not asked");
    }
    QVERIFY(ip("link set wst1 down"));
    const QString down = problem("wst1@10.20.30.100");
    QVERIFY(ip("link set wst1 up"));
    QVERIFY2(down.startsWith(QLatin1String("wst1: ")) && !down.contains(QLatin1Char(';')), qPrintable(down));
    QCOMPARE(problem(first), QString());
}

// The window paints when it hears of the last step, and what arrives meanwhile must not be added
// unchecked: an instrument that replies once more would be listed twice.
void TestScanRuns::takesNothingAfterItsLastStep()
{
    LabProcess lab;
    play(lab, {supply(11)});
    Client client;
    client.setScanTime(2000);
    walk(client, "192.168.0.11", "192.168.0.11");
    int sent = 0;
    connect(&client, &Client::signalUpdateProgressBar, this, [&](int value) {
        if (value == 100) {
            const QByteArray reply = "Quorvex Dev:" + QByteArray::fromHex("2100001A2B000011");
            const QString asker = field(lab.events(QStringLiteral("query")).value(0), "from");
            QUdpSocket late;
            late.bind(QHostAddress(onCable0()));
            for (const quint16 port : {asker.section(QLatin1Char(':'), 1).toUShort(), discoveryPort}) {
                sent += late.writeDatagram(reply, QHostAddress(onCable0()), port) > 0 ? 1 : 0;
            }
            QTest::qWait(50); // as a window does: it handles events
        }
    });
    QCOMPARE(client.scan(interfacesOf(first)).size(), 1);
    QCOMPARE(sent, 2);
    client.disconnect(this);
    client.setSendUnicast(false);
    QCOMPARE(client.scan({}).size(), 1);
}

// More hosts that are not there than the system's table of neighbours has room for; the one that is
// there comes last and must be asked all the same.
void TestScanRuns::waitsForRoomInAWideRange()
{
    QVERIFY(ip("address add 10.50.0.1/16 dev wst0"));
    LabProcess lab;
    play(lab, {plain("00:1A:2B:00:00:01", "10.50.5.5")});
    Client client;
    walk(client, "10.50.0.2", "10.50.5.5");
    int turns = 0;
    QTimer windowAlive;
    connect(&windowAlive, &QTimer::timeout, this, [&turns] { ++turns; });
    windowAlive.start(100);
    // All private networks of this computer share one table of neighbours: others may fill it, too.
    bool asked = false;
    for (int scans = 0; scans < 6 && !asked; ++scans) {
        client.scan({});
        QCOMPARE(client.problem(), QString());
        asked = lab.waitForEvent(QStringLiteral("query"), 1, 4000);
        ip("neighbour flush dev wst0");
    }
    QVERIFY(ip("address delete 10.50.0.1/16 dev wst0"));
    QVERIFY(asked);
    QVERIFY2(turns > 10, "the window stood still");
}

// The window lives meanwhile, and a module that answers the scan three times is asked once.
void TestScanRuns::tellsWhatIsBehindModules()
{
    const auto version = [](const char *line, const char *serial = "21Y08W0131") {
        const QJsonObject answers{{QStringLiteral("MVER"), QString::fromUtf8(line)},
                                  {QStringLiteral("MRG:22"), QString::fromUtf8(serial)}};
        return QJsonObject{{QStringLiteral("answers"), answers}};
    };
    const char *motor = "4200 21Y08W0131";
    const char *other = "4100 ";
    const char *bare = "4100";
    const QVector<QPair<QJsonObject, const char *>> modules{
        {version("#MVER:ROVAN-MOTOR:x:1.07"), motor},
        {version("#MVER::ROVAN-MOTOR:::x:1.07:"), motor},
        {version(" \t#MVER:ROVAN-MOTOR:x:1.07  "), motor},
        {version("#MVER:ROVAN-MOTOR:x:1.07", "\u00B57"), "4200 \u00B57"},
        {version("#MVER:ROVAN-MOTOR:x:1.07", ""), "4200 "},
        {version("#MVER:ROVAN-MOTOR:1.07"), other},
        {version("#MVER:ROVAN-MOTOR:x:1.07:y"), other},
        {version("#MVER:STEPPER-BOX:x:1.07"), other},
        {version("#MVER:Rovan-Motor:x:1.07"), other},
        {version("#MVERSION:ROVAN-MOTOR:x:1.07"), other},
        {version("#mver:ROVAN-MOTOR:x:1.07"), bare},
        {version("#NAK:10"), bare},
        {object(R"({"manner":"late","delayMs":200})"), motor},
        {object(R"({"manner":"pieces","delayMs":20,"pieceBytes":3})"), motor},
        {object(R"({"manner":"pieces","delayMs":5,"pieceBytes":1})"), motor},
        // 26 bytes, each within the read wait, but not the line.
        {object(R"({"manner":"pieces","delayMs":1800,"pieceBytes":1})"), bare},
        {object(R"({"manner":"silent"})"), bare},
        {object(R"({"manner":"endless"})"), bare},
        {object(R"({"manner":"megabyte"})"), bare},
        {object(R"({"manner":"resetInLine"})"), other}, // half of it is there: "#MVER:ROVAN-M"
        {object(R"({"manner":"closeAtOnce"})"), bare},
        {object(R"({"manner":"refuse"})"), bare}};
    QList<QJsonObject> instruments;
    QStringList expected;
    for (const auto &[tunnel, what] : modules) {
        const int number = 10 + instruments.size();
        const QString text = QString::fromUtf8(what);
        const QString code = text.left(4);
        const QString serial = text.mid(5);
        const bool known = text.size() > 4;
        instruments.append(moduleNumber(number, tunnel));
        expected.append(
            QStringLiteral("%1|%2|%3|%4||%2|%5|00:20:4A:00:00:%6|192.168.0.%6|255.255.255.0|192.168.0.1|NA")
                .arg(code, serial, known ? devicecatalogue::group(code) : QString(),
                     known ? devicecatalogue::desc(code) : QString(),
                     code == QLatin1String("4200") ? QStringLiteral("1.07") : QString())
                .arg(number));
    }
    instruments[0] = with(instruments[0], "faults", object(R"({"duplicate":3})"));
    LabProcess lab;
    play(lab, instruments);

    Client client;
    client.setTcpThreads(modules.size());
    client.setScanTime(3000);
    QSignalSpy progress(&client, &Client::signalUpdateProgressBar);
    int turns = 0;
    QTimer windowAlive;
    connect(&windowAlive, &QTimer::timeout, this, [&] { turns += progress.size() > 80 ? 1 : 0; });
    windowAlive.start(50);
    QList<Device_t> devices;
    int before = 0;
    for (int scans = 0; scans < 5 && devices.size() < modules.size(); ++scans) {
        before = lab.events(QStringLiteral("lineReceived")).size();
        client.clearDevices();
        devices = client.scan(interfacesOf(first)); // again when a busy machine has missed a reply
    }
    QStringList found;
    for (const Device_t &device : qAsConst(devices)) {
        found.append(QStringList(std::begin(device.fields), std::end(device.fields)).join(QLatin1Char('|')));
    }
    found.sort();
    expected.sort();
    QCOMPARE(found, expected);
    QVERIFY2(turns > 10, "the window stood still");
    QString asked;
    for (const QJsonObject &event : lab.events(QStringLiteral("lineReceived")).mid(before)) {
        asked += field(event, "mac").endsWith(QLatin1String(":10")) ? field(event, "line") : QString();
    }
    QCOMPARE(asked, QStringLiteral("MVERMRG:22"));
}

void TestScanRuns::asksARackOfModules_data()
{
    QTest::addColumn<int>("modules"); // and then one every 50 ms
    QTest::addColumn<bool>("closes"); // else each costs a read wait
    QTest::newRow("as many as a scan takes") << Client::mostSerialServers << true;
    QTest::newRow("a flood") << Client::mostSerialServers + 300 << true;
    QTest::newRow("ever new ones") << 20 << false;
}

// A faulty host never stops to answer as yet another module. Those that turn up while the first ones are
// asked are asked too, and that is all.
void TestScanRuns::asksARackOfModules()
{
    QFETCH(int, modules);
    QFETCH(bool, closes);
    ModuleHost host(closes);
    QVERIFY(host.isListening());
    Client client;
    client.setScanTime(1600);
    client.setTcpWaitRead(1000);
    QTimer often;
    connect(&often, &QTimer::timeout, &host, &ModuleHost::invent);
    bool endless = false;
    QTimer::singleShot(60000, &client, [&] {
        endless = true;
        client.requestStop();
    });
    connect(&client, &Client::signalUpdateProgressBar, &host, [&](int value) {
        for (int i = 0; value == 1 && i < 20 && host.invented < modules; ++i) {
            host.invent();
        }
        if (host.invented == modules && !closes) {
            often.start(50);
        }
    });
    const int found = client.scan(interfacesOf(first)).size();
    QVERIFY2(!endless, "only a stop ended the scan");
    QVERIFY(closes ? found == std::min<int>(modules, Client::mostSerialServers) : found > modules);
    QCOMPARE(host.asked, found);
    const bool tooMany = modules > Client::mostSerialServers;
    QCOMPARE(client.problem().contains(QLatin1String("serial servers")), tooMany);
    QCOMPARE(client.problem().isEmpty(), !tooMany);
    client.setScanTime(80);
    client.scan({});
    QCOMPARE(client.problem(), QString());
}

QTEST_GUILESS_MAIN(TestScanRuns)
#include "tst_scanruns.moc"
