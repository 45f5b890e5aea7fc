#include "client.h"
#include "labprocess.h"
#include "support/scanfixture.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QSignalSpy>
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
    void stopEndsTheWait();
    void stopEndsTheWalk();
    void quitEndsTheScan();
    void saysWhatItCouldNotDo();
};

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

// A window that paints for half of each step does not make the scan longer.
void TestScanRun::stepsKeepToOneClock()
{
    Client client;
    client.setScanTime(1600);
    qint64 painting = 0;
    connect(&client, &Client::signalUpdateProgressBar, this, [&painting] {
        QElapsedTimer paint;
        paint.start();
        QThread::msleep(10);
        painting += paint.elapsed();
    });
    QElapsedTimer clock;
    clock.start();
    client.scan({});
    QVERIFY(clock.elapsed() >= 1600);
    QVERIFY2(clock.elapsed() < 1600 + painting / 2, "the time of painting was added");
}

void TestScanRun::aSecondScanIsRefused()
{
    LabProcess lab;
    QVERIFY2(lab.start(scenarioOf(
                 {supply(11),
                  supply(12, {{QStringLiteral("faults"), QJsonObject{{QStringLiteral("delayMs"), 200}}}})})),
             qPrintable(lab.errorText()));
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

void TestScanRun::stopEndsTheWait()
{
    Client client;
    client.requestStop(); // no scan runs, so this stops none
    client.setScanTime(3600 * 1000);
    QSignalSpy progress(&client, &Client::signalUpdateProgressBar);
    QTimer::singleShot(50, &client, &Client::requestStop);
    client.scan({wst0()});
    QCOMPARE(progress.size(), 2);
    QCOMPARE(progress.last().first().toInt(), 100);
    client.setScanTime(80);
    client.scan({});
    QCOMPARE(progress.size(), 2 + 82); // the next one is whole again
}

void TestScanRun::stopEndsTheWalk()
{
    LabProcess lab;
    QVERIFY2(lab.start(scenarioOf({supply(11)})), qPrintable(lab.errorText()));
    Client client;
    client.setScanTime(3600 * 1000);
    client.setSendUnicast(true);
    client.setStartIp(address("11.0.0.0")); // no route to any of them
    client.setEndIp(address("223.255.255.255"));
    QTimer::singleShot(50, &client, &Client::requestStop);
    QVERIFY(client.scan({wst0()}).isEmpty());
    QVERIFY2(queriesSeen(lab).isEmpty(), "no broadcast after the stop");
}

void TestScanRun::quitEndsTheScan()
{
    Client client;
    client.setScanTime(3600 * 1000);
    QSignalSpy progress(&client, &Client::signalUpdateProgressBar);
    QTimer::singleShot(0, &client, [&client] { client.scan({wst0()}); });
    QTimer::singleShot(50, qApp, &QCoreApplication::quit);
    QCoreApplication::exec();
    QVERIFY(!client.isScanning());
    QVERIFY(progress.size() < 10);
    QCOMPARE(progress.last().first().toInt(), 100);
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

QTEST_GUILESS_MAIN(TestScanRun)
#include "tst_scanrun.moc"
