#include "client.h"
#include "devicecatalogue.h"
#include "devicetables.h"
#include "labprocess.h"
#include "support/scanfixture.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QTest>
#include <QThread>
#include <QTimer>
#include <QUdpSocket>

#include <algorithm>

// The scan on a real network, with the virtual lab's events as witness of what crossed the wire.
class TestClient : public QObject
{
    Q_OBJECT

private slots:
    void findsEverythingOnce_data();
    void findsEverythingOnce();
    void losesNoneOfABurst();
    void losesNothingWhileItAsks();
    void asksTickedInterfacesOnly_data();
    void asksTickedInterfacesOnly();
    void walksTheRange();
    void firstUnicastAnswerCounts();
    void waitsForRoomInAWideRange();
    void keepsResultsUntilCleared();
};

namespace {

QStringList ipsOf(const QList<Device_t> &devices)
{
    QStringList ips;
    for (const Device_t &device : devices) {
        ips.append(device[Ip]);
    }
    ips.sort();
    return ips;
}

} // namespace

void TestClient::findsEverythingOnce_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<bool>("healthy"); // then every instrument is to be found
    QTest::newRow("one of everything") << "showcase.json" << true;
    QTest::newRow("among faulty ones") << "faults.json" << false;
}

void TestClient::findsEverythingOnce()
{
    QFETCH(QString, file);
    QFETCH(bool, healthy);
    LabProcess lab;
    QVERIFY2(lab.startFile(file), qPrintable(lab.errorText()));
    Client client;
    client.setScanTime(800);
    client.setTcpWaitRead(1000);
    const QList<Device_t> found = client.scan({wst0(), wst1()});
    QHash<QString, Device_t> byMac;
    for (const Device_t &device : found) {
        QVERIFY2(!byMac.contains(device[Mac]), qPrintable(device[Mac]));
        byMac.insert(device[Mac], device);
    }

    const QJsonArray instruments = LabProcess::scenario(file).value(QStringLiteral("instruments")).toArray();
    QHash<QString, int> fields;
    for (int field = 0; field < deviceFieldCount; ++field) {
        fields.insert(devicetables::fieldKey(field), field);
    }
    int expected = 0;
    for (const QJsonValue &value : instruments) {
        const QJsonObject expect = value.toObject().value(QStringLiteral("expect")).toObject();
        const Device_t device = byMac.value(expect.value(QStringLiteral("MAC")).toString());
        expected += expect.isEmpty() ? 0 : 1;
        for (auto text = expect.begin(); text != expect.end(); ++text) {
            QVERIFY2(fields.contains(text.key()), qPrintable(text.key()));
            QCOMPARE(device[static_cast<DeviceField>(fields.value(text.key()))], text->toString());
        }
        const QString kind = value.toObject().value(QStringLiteral("kind")).toString();
        if (!expect.isEmpty() && kind != QLatin1String("json") && kind != QLatin1String("module")) {
            QCOMPARE(device[Family], devicecatalogue::group(device[Code]));
            QCOMPARE(device[Device], devicecatalogue::desc(device[Code]));
        }
        QJsonArray extra;
        for (const QMap<QString, QString> &entry : device.extra) {
            extra.append(QJsonObject{{entry.firstKey(), entry.first()}});
        }
        QCOMPARE(extra, value.toObject().value(QStringLiteral("expectExtra")).toArray());
    }
    QVERIFY(expected > 10);
    if (healthy) {
        QCOMPARE(expected, instruments.size());
        QCOMPARE(found.size(), expected);
    }
}

namespace {

// How many datagrams have come to the workstation, read by a program or not.
qint64 datagramsCounted()
{
    QFile counters(QStringLiteral("/proc/net/snmp"));
    QList<QByteArrayList> udp; // names, then numbers
    const QList<QByteArray> lines =
        counters.open(QIODevice::ReadOnly) ? counters.readAll().split('\n') : QList<QByteArray>();
    for (const QByteArray &line : lines) {
        if (line.startsWith("Udp: ")) {
            udp.append(line.split(' '));
        }
    }
    qint64 sum = 0;
    for (const char *name : {"InDatagrams", "NoPorts", "InErrors"}) {
        sum += udp.value(1).value(udp.value(0).indexOf(name)).toLongLong();
    }
    return sum;
}

} // namespace

void TestClient::losesNoneOfABurst()
{
    constexpr int count = 5000;
    LabProcess lab;
    QVERIFY2(lab.startCount(count), qPrintable(lab.errorText()));
    Client client;
    client.setScanTime(60000);
    const qint64 before = datagramsCounted();
    int steps = 0; // since all of the lab's replies had been read or lost
    connect(&client, &Client::signalUpdateProgressBar, this, [&client, &steps, before] {
        steps += datagramsCounted() - before >= count ? 1 : 0;
        if (steps == 3) {
            client.requestStop();
        }
    });
    QCOMPARE(client.scan({wst0(), wst1()}).size(), count);
    QVERIFY2(client.wasStopped(), "not all replies have reached this computer");
}

namespace {

// Sends numbered replies to the address that queries are sent from, no more than a receive buffer of
// the usual size can hold.
class Chatter : public QThread
{
public:
    ~Chatter() override { wait(); }

private:
    void run() override
    {
        QUdpSocket socket;
        for (int number = 1000; number < 1400; ++number) {
            const QByteArray reply = "Quorvex Dev:" + QByteArray::fromHex("2100001A") +
                                     QByteArray::number(number) + QByteArray(228, '\0');
            socket.writeDatagram(reply, QHostAddress(wst0().ip), 30719);
            usleep(200);
        }
    }
};

} // namespace

// While a query leaves from an interface's address, replies to that very address and port must not
// be swallowed: of a stream of numbered replies none may be missing between the first and the last.
void TestClient::losesNothingWhileItAsks()
{
    QList<interfaces_t> often;
    for (int i = 0; i < 500; ++i) {
        often.append(wst0());
    }
    Chatter chatter;
    Client client;
    client.setScanTime(800); // so that the rest of the stream arrives on a busy machine too
    connect(&client, &Client::signalUpdateProgressBar, &chatter, [&chatter] { chatter.start(); });
    QList<int> numbers;
    for (const Device_t &device : client.scan(often)) {
        const QString digits = device[Mac].mid(6).remove(QLatin1Char(':'));
        numbers.append(QByteArray::fromHex(digits.toLatin1()).toInt());
    }
    std::sort(numbers.begin(), numbers.end());
    QVERIFY2(numbers.size() > 50, "too few to tell");
    QCOMPARE(numbers.last() - numbers.first() + 1, numbers.size());
}

void TestClient::asksTickedInterfacesOnly_data()
{
    QTest::addColumn<QList<interfaces_t>>("interfaces");
    QTest::addColumn<bool>("first");
    QTest::addColumn<bool>("second");
    const auto change = [](interfaces_t interface, const auto &how) {
        how(interface);
        return interface;
    };
    const auto unticked = [](interfaces_t &interface) { interface.selected = false; };
    const auto named = [](const char *name) {
        return [name](interfaces_t &interface) { interface.name = QString::fromLatin1(name); };
    };
    const auto at = [](const char *ip) {
        return [ip](interfaces_t &interface) { interface.ip = QString::fromLatin1(ip); };
    };

    QTest::newRow("both") << QList<interfaces_t>{wst0(), wst1()} << true << true;
    QTest::newRow("the first") << QList<interfaces_t>{wst0(), change(wst1(), unticked)} << true << false;
    QTest::newRow("the second") << QList<interfaces_t>{change(wst0(), unticked), wst1()} << false << true;
    QTest::newRow("none") << QList<interfaces_t>{} << false << false;
    QTest::newRow("docker0") << QList<interfaces_t>{change(wst0(), named("docker0")), wst1()} << false
                             << true;
    QTest::newRow("Docker0 is no docker0")
        << QList<interfaces_t>{change(wst0(), named("Docker0"))} << true << false;
    QTest::newRow("0.0.0.0") << QList<interfaces_t>{change(wst0(), at("0.0.0.0"))} << false << false;
    QTest::newRow("an address that left")
        << QList<interfaces_t>{change(wst0(), at("192.168.7.7")), wst1()} << false << true;
    QTest::newRow("no address") << QList<interfaces_t>{change(wst0(), at("192.168.0")), wst1()} << false
                                << true;
}

// A broadcast on an interface shows that sockets can share the port: with the listen socket in their
// way none would ever leave.
void TestClient::asksTickedInterfacesOnly()
{
    QFETCH(QList<interfaces_t>, interfaces);
    QFETCH(bool, first);
    QFETCH(bool, second);
    ScanLab lab({supply(11)});
    QVERIFY(ip("route add default dev wst0")); // what is sent without knowing where to has a way out
    Client client;
    client.setScanTime(600);
    const QList<Device_t> found = client.scan(interfaces);
    QVERIFY(ip("route del default"));

    const QString query = QStringLiteral("51756f72766578204465763f"); // "Quorvex Dev?"
    const QString moduleQuery = QStringLiteral("000100f6");
    QStringList expected;
    if (first) {
        expected << QStringLiteral("lab0 192.168.0.100:30719 255.255.255.255:30719 ") + query
                 << QStringLiteral("lab0 192.168.0.100:30718 192.168.0.255:30718 ") + moduleQuery;
    }
    if (second) {
        expected << QStringLiteral("lab1 10.20.30.100:30719 255.255.255.255:30719 ") + query
                 << QStringLiteral("lab1 10.20.30.100:30718 10.20.30.255:30718 ") + moduleQuery;
    }
    QStringList seen = queriesSeen(lab);
    seen.sort();
    expected.sort();
    QCOMPARE(seen, expected);
    QCOMPARE(found.size(), first ? 1 : 0);
}

void TestClient::walksTheRange()
{
    ScanLab lab({supply(10), supply(11), supply(12), supply(14), supply(15)});
    Client client;
    client.setScanTime(400);
    walk(client, "192.168.0.11", "192.168.0.14");
    QCOMPARE(ipsOf(client.scan({})).join(QLatin1Char(' ')),
             QStringLiteral("192.168.0.11 192.168.0.12 192.168.0.14"));

    QStringList asked;
    QSet<QString> ports;
    for (const QString &query : queriesSeen(lab)) {
        asked.append(query.section(QLatin1Char(' '), 2, 2));
        ports.insert(query.section(QLatin1Char(' '), 1, 1));
    }
    QCOMPARE(asked.join(QLatin1Char(' ')),
             QStringLiteral("192.168.0.11:30719 192.168.0.12:30719 192.168.0.14:30719"));
    QCOMPARE(ports.size(), 1);
    QVERIFY2(!ports.values().first().endsWith(QLatin1String(":30719")), "answers would miss the socket");
}

// One that babbles before it replies is lost on the unicast socket, and on that one only; one that is
// reached both ways is listed once.
void TestClient::firstUnicastAnswerCounts()
{
    const QJsonObject babble{
        {QStringLiteral("faults"),
         QJsonObject{{QStringLiteral("garbage"), QJsonObject{{QStringLiteral("bytes"), 40}}}}}};
    ScanLab lab({supply(11, babble), supply(12)});
    Client client;
    client.setScanTime(600);
    walk(client, "192.168.0.11", "192.168.0.12");
    QCOMPARE(ipsOf(client.scan({})), QStringList{QStringLiteral("192.168.0.12")});
    client.clearDevices();
    QCOMPARE(ipsOf(client.scan({wst0()})),
             QStringList({QStringLiteral("192.168.0.11"), QStringLiteral("192.168.0.12")}));
}

// More hosts that are not there than the system's table of neighbours has room for; the one that is
// there comes last and must be asked all the same.
void TestClient::waitsForRoomInAWideRange()
{
    QVERIFY(ip("address add 10.50.0.1/16 dev wst0"));
    ScanLab lab({supply(11, {{QStringLiteral("ip"), QStringLiteral("10.50.5.5")},
                             {QStringLiteral("interface"), QStringLiteral("lab0")}})});
    Client client;
    client.setScanTime(600);
    walk(client, "10.50.0.2", "10.50.5.5");
    int turns = 0;
    QTimer windowAlive;
    connect(&windowAlive, &QTimer::timeout, this, [&turns] { ++turns; });
    windowAlive.start(100);
    client.scan({});
    QCOMPARE(client.problem(), QString());
    QCOMPARE(queriesSeen(lab).size(), 1);
    QVERIFY2(turns > 10, "the window stood still");
}

void TestClient::keepsResultsUntilCleared()
{
    ScanLab lab({supply(11)});
    Client client;
    client.setScanTime(600);
    QCOMPARE(client.scan({wst0()}).size(), 1);
    QVERIFY(lab.stop());
    QCOMPARE(client.scan({wst0()}).size(), 1);
    client.clearDevices();
    QCOMPARE(client.scan({wst0()}).size(), 0);
}

QTEST_GUILESS_MAIN(TestClient)
#include "tst_client.moc"
