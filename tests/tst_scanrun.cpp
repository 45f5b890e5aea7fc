#include "client.h"
#include "support/scanfixture.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>
#include <QThread>
#include <QTimer>
#include <QUdpSocket>

// How a scan runs inside its caller's thread: progress, time, and every way to end it.
class TestScanRun : public QObject
{
    Q_OBJECT

private slots:
    void progressWithoutAnInterface();
    void stepsKeepToOneClock();
    void aSecondScanIsRefused();
    void endsInTheWait_data();
    void endsInTheWait();
    void stopKeepsWhatWasFound_data();
    void stopKeepsWhatWasFound();
    void saysWhatItCouldNotDo();
    void takesNothingAfterItsLastStep();
    void everInventedModulesDoNotHoldItUp();
    void asksARackOfModules_data();
    void asksARackOfModules();
};

namespace {

// A host of the workstation that answers for as many serial servers as a test wants, and counts who
// connects to ask what is behind them.
class ModuleHost : public QObject
{
public:
    enum Manner { Silent, Closing };

    explicit ModuleHost(Manner manner)
    {
        connect(&m_server, &QTcpServer::newConnection, this, [this, manner] {
            while (QTcpSocket *connection = m_server.nextPendingConnection()) {
                ++m_asked;
                if (manner == Closing) {
                    connection->deleteLater();
                }
            }
        });
        m_listens = m_server.listen(QHostAddress(wst0().ip), serialTunnelPort);
    }

    bool listens() const { return m_listens; }
    int invented() const { return m_invented; }
    int asked() const { return m_asked; }

    // Sends the reply of a serial server that nobody has heard of.
    void invent()
    {
        ++m_invented;
        const QByteArray number = QByteArray::number(m_invented, 16).rightJustified(6, '0');
        const QByteArray reply =
            QByteArray::fromHex("000000F7") + QByteArray(20, '\0') + QByteArray::fromHex("00204A" + number);
        m_socket.writeDatagram(reply, QHostAddress(wst0().ip), 30718);
    }

private:
    QTcpServer m_server;
    QUdpSocket m_socket;
    bool m_listens = false;
    int m_invented = 0;
    int m_asked = 0;
};

// The UDP ports on which this process, alone on the workstation, hears.
QVector<quint16> portsOfOurs()
{
    QVector<quint16> ports;
    QFile table(QStringLiteral("/proc/net/udp"));
    if (table.open(QIODevice::ReadOnly)) {
        const QList<QByteArray> lines = table.readAll().split('\n').mid(1);
        for (const QByteArray &line : lines) {
            ports.append(line.mid(line.indexOf(':', line.indexOf(':') + 1) + 1, 4).toUShort(nullptr, 16));
        }
    }
    return ports;
}

} // namespace

void TestScanRun::progressWithoutAnInterface()
{
    Client client;
    client.setScanTime(200);
    QList<int> values;
    connect(&client, &Client::signalUpdateProgressBar, this, [&values](int value) { values.append(value); });
    QElapsedTimer clock;
    clock.start();
    QVERIFY(client.scan({}).isEmpty());
    QVERIFY(clock.elapsed() >= 160);
    QCOMPARE(values.size(), 82);
    QCOMPARE(values.takeFirst(), 0);
    QCOMPARE(values.takeLast(), 100);
    QCOMPARE(values.count(1), 80);
}

// A window that paints for most of each step does not make the scan longer. The scan of a machine that
// was busy elsewhere may have been longer all the same; one to which painting is added always is.
void TestScanRun::stepsKeepToOneClock()
{
    bool kept = false;
    for (int attempt = 0; attempt < 10 && !kept; ++attempt) {
        Client client;
        client.setScanTime(1600);
        qint64 painting = 0;
        connect(&client, &Client::signalUpdateProgressBar, this, [&painting] {
            QElapsedTimer paint;
            paint.start();
            QThread::msleep(15);
            painting += paint.elapsed();
        });
        QElapsedTimer clock;
        clock.start();
        client.scan({});
        QVERIFY(clock.elapsed() >= 1600);
        kept = clock.elapsed() < 1600 + painting * 9 / 10;
    }
    QVERIFY2(kept, "the time of painting was added");
}

void TestScanRun::aSecondScanIsRefused()
{
    ScanLab lab({supply(11),
                 supply(12, {{QStringLiteral("faults"), QJsonObject{{QStringLiteral("delayMs"), 200}}}})});
    Client client;
    client.setScanTime(800);
    int refused = 0;
    connect(&client, &Client::signalUpdateProgressBar, this, [&client, &refused](int value) {
        refused += value == 1 && client.isScanning() && client.scan({wst0()}).isEmpty() ? 1 : 0;
    });
    QCOMPARE(client.scan({wst0()}).size(), 2);
    QCOMPARE(refused, 80);
    QVERIFY(!client.isScanning());
    QCOMPARE(queriesSeen(lab).size(), 2);
}

void TestScanRun::endsInTheWait_data()
{
    QTest::addColumn<bool>("quits");
    QTest::newRow("stop") << false;
    QTest::newRow("end of the program") << true;
}

void TestScanRun::endsInTheWait()
{
    QFETCH(bool, quits);
    Client client;
    client.requestStop(); // no scan runs, so this stops none
    client.setScanTime(3600 * 1000);
    QSignalSpy progress(&client, &Client::signalUpdateProgressBar);
    QTimer::singleShot(0, &client, [&client] {
        client.scan({wst0()});
        QCoreApplication::quit();
    });
    QTimer::singleShot(50, &client, [&client, quits] {
        if (quits) {
            QCoreApplication::quit();
        } else {
            client.requestStop();
        }
    });
    QCoreApplication::exec();
    QVERIFY(!client.isScanning());
    QVERIFY(progress.size() < 10);
    QCOMPARE(progress.last().first().toInt(), 100);
    progress.clear();
    client.setScanTime(80);
    client.scan({});
    QCOMPARE(progress.size(), 82); // the next one is whole again
}

void TestScanRun::stopKeepsWhatWasFound_data()
{
    QTest::addColumn<QByteArray>("end"); // of the walk; empty: none
    QTest::newRow("in the wait") << QByteArray();
    QTest::newRow("in the wait after a walk") << QByteArray("192.168.0.12");
    QTest::newRow("in a walk without routes") << QByteArray("223.255.255.255");
    QTest::newRow("in a walk that waits for room") << QByteArray("192.168.255.255");
}

void TestScanRun::stopKeepsWhatWasFound()
{
    QFETCH(QByteArray, end);
    const bool waitsForRoom = end == "192.168.255.255";
    const bool inTheWalk = end.endsWith("255");
    ScanLab lab({supply(11), supply(12)});
    QVERIFY(!waitsForRoom || ip("route add 192.168.0.0/16 dev wst0"));
    Client client;
    client.setScanTime(3600 * 1000);
    if (!end.isEmpty()) {
        walk(client, "192.168.0.11", end.constData());
    }
    QElapsedTimer sinceStop;
    QTimer::singleShot(1500, &client, [&] {
        sinceStop.start();
        client.requestStop();
    });
    const int found = client.scan({wst0()}).size();
    QVERIFY(!waitsForRoom || ip("route delete 192.168.0.0/16 dev wst0"));
    QVERIFY2(sinceStop.isValid(), "the scan ended before the stop");
    QVERIFY2(sinceStop.elapsed() < 15000, qPrintable(QStringLiteral("%1 ms").arg(sinceStop.elapsed())));
    QCOMPARE(found, 2);
    QVERIFY(client.wasStopped());
    QVERIFY2(client.problem().contains(QLatin1String("stopped")), qPrintable(client.problem()));
    const QStringList broadcasts = queriesSeen(lab).filter(QStringLiteral(" 255.255.255.255:"));
    QCOMPARE(broadcasts.size(), inTheWalk ? 0 : 1); // none after the stop

    client.clearDevices();
    client.setScanTime(400);
    client.setSendUnicast(false);
    QCOMPARE(client.scan({wst0()}).size(), 2);
    QVERIFY(!client.wasStopped());
    QCOMPARE(client.problem(), QString());
}

void TestScanRun::saysWhatItCouldNotDo()
{
    Client client;
    client.scan({wst0()});
    QCOMPARE(client.problem(), QString());
    {
        QUdpSocket other;
        QVERIFY(other.bind(QHostAddress(QHostAddress::AnyIPv4), 30719, QUdpSocket::DontShareAddress));
        client.scan({wst0()});
        QVERIFY(client.problem().contains(QLatin1String("30719")));
    }
    interfaces_t gone = wst1();
    gone.ip = QStringLiteral("10.9.9.9");
    client.scan({wst0(), gone});
    QVERIFY2(client.problem().startsWith(QLatin1String("wst1: ")), qPrintable(client.problem()));
    QVERIFY(!client.problem().contains(QLatin1String("wst0")));
    {
        QUdpSocket other;
        QVERIFY(other.bind(QHostAddress(wst0().ip), 30718, QUdpSocket::DontShareAddress));
        client.scan({wst0()});
        QVERIFY2(client.problem().startsWith(QLatin1String("wst0: ")), "serial servers were not asked");
    }
    QVERIFY(ip("link set wst1 down"));
    client.scan({wst1()});
    QVERIFY(ip("link set wst1 up"));
    QVERIFY2(client.problem().startsWith(QLatin1String("wst1: ")), qPrintable(client.problem()));
    client.scan({wst0()});
    QCOMPARE(client.problem(), QString());
}

// The window paints when it hears of the last step, and what arrives meanwhile must not be added
// unchecked: an instrument that replies once more would be listed twice.
void TestScanRun::takesNothingAfterItsLastStep()
{
    ScanLab lab({supply(11)});
    QUdpSocket late;
    QVERIFY(late.bind(QHostAddress(wst0().ip), 0));
    Client client;
    client.setScanTime(400);
    walk(client, "192.168.0.11", "192.168.0.11"); // so that every socket is open
    int sent = 0;
    connect(&client, &Client::signalUpdateProgressBar, this, [&](int value) {
        if (value == 100) {
            const QByteArray reply =
                "Quorvex Dev:" + QByteArray::fromHex("2100001A2B00000B") + QByteArray(228, '\0');
            for (const quint16 port : portsOfOurs()) {
                sent += late.writeDatagram(reply, QHostAddress(wst0().ip), port) == reply.size() ? 1 : 0;
            }
            QTest::qWait(50); // as a window does: it handles events
        }
    });
    const QList<Device_t> found = client.scan({wst0()});
    QVERIFY(sent >= 3);
    QCOMPARE(found.size(), 1);
    QCOMPARE(client.scan({}).size(), 1);
}

// A faulty host that never stops to answer as yet another module, each of which costs a read wait.
// Those that turn up while the first ones are asked are asked too, and that is all.
void TestScanRun::everInventedModulesDoNotHoldItUp()
{
    ModuleHost host(ModuleHost::Silent);
    QVERIFY(host.listens());
    QTimer often;
    connect(&often, &QTimer::timeout, &host, &ModuleHost::invent);
    often.start(100);
    Client client;
    client.setScanTime(400);
    client.setTcpWaitRead(1000);
    int early = 0;
    QSignalSpy progress(&client, &Client::signalUpdateProgressBar);
    connect(&client, &Client::signalUpdateProgressBar, this,
            [&] { early = progress.size() == 81 ? host.invented() : early; });
    bool endless = false;
    QTimer::singleShot(15000, &client, [&] {
        endless = true;
        client.requestStop();
    });
    const int found = client.scan({wst0()}).size();
    QVERIFY2(!endless, "only a stop ended the scan");
    QVERIFY(early > 0);
    QVERIFY2(found > early, "late modules were not asked");
    QCOMPARE(host.asked(), found);
}

void TestScanRun::asksARackOfModules_data()
{
    QTest::addColumn<int>("modules");
    QTest::addColumn<bool>("tooMany");
    QTest::newRow("as many as a scan takes") << Client::mostSerialServers << false;
    QTest::newRow("a flood") << Client::mostSerialServers + 300 << true;
}

void TestScanRun::asksARackOfModules()
{
    QFETCH(int, modules);
    QFETCH(bool, tooMany);
    ModuleHost host(ModuleHost::Closing);
    QVERIFY(host.listens());
    Client client;
    client.setScanTime(800);
    connect(&client, &Client::signalUpdateProgressBar, &host, [&](int value) {
        for (int i = 0; value == 1 && i < 20 && host.invented() < modules; ++i) {
            host.invent();
        }
    });
    const int found = client.scan({wst0()}).size();
    QCOMPARE(host.invented(), modules);
    QCOMPARE(found, std::min<int>(modules, Client::mostSerialServers));
    QCOMPARE(host.asked(), found);
    QCOMPARE(client.problem().contains(QLatin1String("serial servers")), tooMany);
    QCOMPARE(client.problem().isEmpty(), !tooMany);
    client.scan({});
    QCOMPARE(client.problem(), QString());
}

QTEST_GUILESS_MAIN(TestScanRun)
#include "tst_scanrun.moc"
