#include "client.h"
#include "devicecatalogue.h"
#include "support/scanfixture.h"
#include "versionquery.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonObject>
#include <QSignalSpy>
#include <QTest>
#include <QThreadPool>
#include <QTimer>

// What is behind a serial server, asked over TCP of the virtual lab's modules: good ones, slow ones
// and hostile ones.
class TestVersionQuery : public QObject
{
    Q_OBJECT

private slots:
    void recognisesWhatIsBehind_data();
    void recognisesWhatIsBehind();
    void anAddressWithoutHost();
    void asksInTwoSteps();
    void queriesRunInRounds();
    void endsWhileModulesAreAsked_data();
    void endsWhileModulesAreAsked();
    void stopEndsConnecting();
};

namespace {

const auto moduleIp = QStringLiteral("192.168.0.60");
const auto moduleMac = QStringLiteral("00:20:4A:AD:64:70");

QString macText(int number)
{
    return QStringLiteral("00:20:4A:00:00:%1").arg(number, 2, 16, QLatin1Char('0')).toUpper();
}

QJsonObject moduleAt(const QString &ip, const QString &mac, const QJsonObject &tunnel)
{
    return {{QStringLiteral("kind"), QStringLiteral("module")},
            {QStringLiteral("mac"), mac},
            {QStringLiteral("ip"), ip},
            {QStringLiteral("tunnel"), tunnel}};
}

QJsonObject manner(const char *name, int delayMs = -1, int pieceBytes = -1)
{
    QJsonObject tunnel{{QStringLiteral("manner"), QString::fromLatin1(name)}};
    if (delayMs >= 0) {
        tunnel.insert(QStringLiteral("delayMs"), delayMs);
    }
    if (pieceBytes >= 0) {
        tunnel.insert(QStringLiteral("pieceBytes"), pieceBytes);
    }
    return tunnel;
}

QJsonObject answers(const QString &version, const QString &serial)
{
    return {{QStringLiteral("answers"),
             QJsonObject{{QStringLiteral("MVER"), version}, {QStringLiteral("MRG:22"), serial}}}};
}

Device_t module()
{
    Device_t device;
    device[Ip] = moduleIp;
    device[Mac] = moduleMac.toLower();
    return device;
}

// Short, but long enough for a busy machine.
TcpWaits shortWaits()
{
    return {2000, 1000, 600};
}

QString joined(const Device_t &device)
{
    QStringList fields;
    for (const QString &field : device.fields) {
        fields.append(field);
    }
    return fields.join(QLatin1Char('|'));
}

QString record(const char *code, const QString &serial, const QString &firmware, bool inCatalogue)
{
    const QString text = QString::fromLatin1(code);
    const QString group = inCatalogue ? devicecatalogue::group(text) : QString();
    const QString desc = inCatalogue ? devicecatalogue::desc(text) : QString();
    return QStringLiteral("%1|%2|%3|%4||%2|%5|%6|%7|255.255.255.0|192.168.0.1|NA")
        .arg(text, serial, group, desc, firmware, moduleMac, moduleIp);
}

} // namespace

void TestVersionQuery::recognisesWhatIsBehind_data()
{
    QTest::addColumn<QJsonObject>("tunnel");
    QTest::addColumn<QString>("expected");
    const QString serial = QStringLiteral("21Y08W0131");
    const QString motor = record("4200", serial, QStringLiteral("1.07"), true);
    const QString other = record("4100", {}, {}, true);
    const QString bare = record("4100", {}, {}, false);
    const auto version = [&serial](const char *line) { return answers(QString::fromLatin1(line), serial); };

    QTest::newRow("motor driver") << version("#MVER:ROVAN-MOTOR:x:1.07") << motor;
    QTest::newRow("empty parts count for nothing") << version("#MVER::ROVAN-MOTOR:::x:1.07:") << motor;
    QTest::newRow("white space around the line") << version(" \t#MVER:ROVAN-MOTOR:x:1.07  ") << motor;
    QTest::newRow("a NUL ends the line")
        << answers(QStringLiteral("#MVER:ROVAN-MOTOR:x:1.07") + QChar(0) + QStringLiteral(":5"), serial)
        << motor;
    QTest::newRow("characters above ASCII")
        << answers(QStringLiteral("#MVER:ROVAN-MOTOR:x:1.07"), QStringLiteral("\u00B57"))
        << record("4200", QStringLiteral("\u00B57"), QStringLiteral("1.07"), true);
    QTest::newRow("empty serial number") << answers(QStringLiteral("#MVER:ROVAN-MOTOR:x:1.07"), QString())
                                         << record("4200", {}, QStringLiteral("1.07"), true);
    QTest::newRow("three parts") << version("#MVER:ROVAN-MOTOR:1.07") << other;
    QTest::newRow("five parts") << version("#MVER:ROVAN-MOTOR:x:1.07:y") << other;
    QTest::newRow("another product") << version("#MVER:STEPPER-BOX:x:1.07") << other;
    QTest::newRow("a product in another case") << version("#MVER:Rovan-Motor:x:1.07") << other;
    QTest::newRow("something behind the command's name") << version("#MVERSION:ROVAN-MOTOR:x:1.07") << other;
    QTest::newRow("the command in another case") << version("#mver:ROVAN-MOTOR:x:1.07") << bare;
    QTest::newRow("refused") << version("#NAK:10") << bare;

    QTest::newRow("late") << manner("late", 200) << motor;
    QTest::newRow("in pieces") << manner("pieces", 20, 3) << motor;
    QTest::newRow("byte by byte, the line feed behind its line") << manner("pieces", 5, 1) << motor;
    // 26 bytes, each within the read wait, but not the line.
    QTest::newRow("a byte now and then") << manner("pieces", 400, 1) << bare;
    QTest::newRow("silent") << manner("silent") << bare;
    QTest::newRow("endless") << manner("endless") << bare;
    QTest::newRow("a line of a megabyte") << manner("megabyte") << bare;
    // Half of it is there: "#MVER:ROVAN-M".
    QTest::newRow("reset within the line") << manner("resetInLine") << other;
    QTest::newRow("closed at once") << manner("closeAtOnce") << bare;
    QTest::newRow("refuses to connect") << manner("refuse") << bare;
}

void TestVersionQuery::recognisesWhatIsBehind()
{
    QFETCH(QJsonObject, tunnel);
    ScanLab lab({moduleAt(moduleIp, moduleMac, tunnel)});
    const std::atomic_bool stopped{false};
    QTEST(joined(queryVersion(module(), shortWaits(), stopped)), "expected");
}

void TestVersionQuery::anAddressWithoutHost()
{
    const std::atomic_bool stopped{false};
    QCOMPARE(joined(queryVersion(module(), {300, 300, 300}, stopped)), record("4100", {}, {}, false));
}

// A module that answers the scan three times is asked once.
void TestVersionQuery::asksInTwoSteps()
{
    QJsonObject module = moduleAt(moduleIp, moduleMac, QJsonObject());
    module.insert(QStringLiteral("faults"), QJsonObject{{QStringLiteral("duplicate"), 3}});
    ScanLab lab({module});
    Client client;
    QCOMPARE(client.scan({wst0()}).size(), 1);
    QVERIFY(lab.waitForEvent(QStringLiteral("disconnected")));
    QStringList lines;
    for (const QJsonObject &event : lab.events(QStringLiteral("lineReceived"))) {
        lines.append(event.value(QStringLiteral("line")).toString());
    }
    QCOMPARE(lines, QStringList({QStringLiteral("MVER"), QStringLiteral("MRG:22")}));
}

// A third silent, a third slow; one after the other they would take more than 30 seconds.
void TestVersionQuery::queriesRunInRounds()
{
    constexpr int count = 60;
    constexpr int threads = 10;
    constexpr int readWait = 1000;
    QJsonArray modules;
    for (int i = 0; i < count; ++i) {
        const QJsonObject tunnel = i % 3 == 0   ? manner("silent")
                                   : i % 3 == 1 ? manner("late", 250)
                                                : QJsonObject();
        modules.append(moduleAt(QStringLiteral("192.168.0.%1").arg(10 + i), macText(i), tunnel));
    }
    ScanLab lab(modules);
    Client client;
    client.setTcpThreads(threads);
    client.setTcpWaitRead(readWait);
    QElapsedTimer clock;
    clock.start();
    qint64 waited = 0;
    QSignalSpy progress(&client, &Client::signalUpdateProgressBar);
    connect(&client, &Client::signalUpdateProgressBar, this,
            [&] { waited = progress.size() == 81 ? clock.elapsed() : waited; });
    int turns = 0;
    QTimer windowAlive;
    connect(&windowAlive, &QTimer::timeout, this, [&turns] { ++turns; });
    windowAlive.start(20);
    const QList<Device_t> found = client.scan({wst0()});

    const qint64 rounds = (count + threads - 1) / threads;
    QVERIFY2(clock.elapsed() - waited < rounds * readWait * 3 / 2,
             qPrintable(QStringLiteral("%1 ms").arg(clock.elapsed() - waited)));
    QVERIFY2(turns > 30, "the window stood still");
    QCOMPARE(found.size(), count);
    QHash<QString, QString> codes;
    for (const Device_t &device : found) {
        codes.insert(device[Mac], device[Code]);
    }
    for (int i = 0; i < count; ++i) {
        QCOMPARE(codes.value(macText(i)), i % 3 == 0 ? QStringLiteral("4100") : QStringLiteral("4200"));
    }
}

void TestVersionQuery::endsWhileModulesAreAsked_data()
{
    QTest::addColumn<bool>("quits");
    QTest::newRow("stop") << false;
    QTest::newRow("end of the program") << true;
}

void TestVersionQuery::endsWhileModulesAreAsked()
{
    QFETCH(bool, quits);
    QJsonArray modules;
    for (int i = 0; i < 5; ++i) {
        modules.append(moduleAt(QStringLiteral("192.168.0.%1").arg(10 + i), macText(i), manner("silent")));
    }
    ScanLab lab(modules);
    Client client;
    client.setTcpThreads(2); // so that some wait for their turn
    client.setTcpWaitRead(3600 * 1000);
    int found = 0;
    QTimer::singleShot(0, &client, [&client, &found] {
        found = client.scan({wst0()}).size();
        QCoreApplication::quit();
    });
    bool ended = false;
    QTimer watch;
    connect(&watch, &QTimer::timeout, this, [&] {
        if (!ended && lab.events(QStringLiteral("connected")).size() >= 2) {
            ended = true;
            if (quits) {
                QCoreApplication::quit();
            } else {
                client.requestStop();
            }
        }
    });
    watch.start(20);
    QCoreApplication::exec();
    QCOMPARE(found, 5);
    // A thread is counted for a moment after its last task has ended; a query would wait for an hour.
    QTRY_COMPARE(QThreadPool::globalInstance()->activeThreadCount(), 0);
    QCOMPARE(lab.events(QStringLiteral("connected")).size(), 2);
}

// The module answers the scan, but what is sent to it alone is lost: connecting takes its whole wait.
void TestVersionQuery::stopEndsConnecting()
{
    ScanLab lab({moduleAt(moduleIp, moduleMac, QJsonObject())});
    QVERIFY(ip("neighbour replace 192.168.0.60 lladdr 02:00:00:00:00:01 dev wst0 nud permanent"));
    Client client;
    client.setTcpWaitConnected(8000);
    QElapsedTimer sinceStop;
    QSignalSpy progress(&client, &Client::signalUpdateProgressBar);
    connect(&client, &Client::signalUpdateProgressBar, this, [&] {
        if (progress.size() == 81) {
            QTimer::singleShot(300, &client, [&] {
                sinceStop.start();
                client.requestStop();
            });
        }
    });
    const QList<Device_t> found = client.scan({wst0()});
    QVERIFY2(sinceStop.isValid(), "the query ended before the stop");
    QVERIFY2(sinceStop.elapsed() < 2000, qPrintable(QStringLiteral("%1 ms").arg(sinceStop.elapsed())));
    QCOMPARE(found.size(), 1);
    QCOMPARE(joined(found.first()), record("4100", {}, {}, false));
    QVERIFY(client.wasStopped());

    QVERIFY(ip("neighbour delete 192.168.0.60 dev wst0"));
    client.clearDevices();
    const QList<Device_t> again = client.scan({wst0()});
    QCOMPARE(again.size(), 1);
    QCOMPARE(again.first()[Code], QStringLiteral("4200"));
    QVERIFY(!client.wasStopped());
    QCOMPARE(client.problem(), QString());
}

QTEST_GUILESS_MAIN(TestVersionQuery)
#include "tst_versionquery.moc"
