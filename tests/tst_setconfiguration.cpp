#include "changenetworkconfiguration.h"
#include "labprocess.h"
#include "labroom.h"
#include "support/wiretap.h"
#include "udpprobe.h"

#include <QElapsedTimer>
#include <QNetworkProxy>
#include <QTest>
#include <QUdpSocket>

using namespace labroom;

namespace {

const QString instrumentMac = QStringLiteral("00:1A:2B:3C:4D:5E");

// To 192.168.0.50/24, gateway 192.168.0.1, DHCP on.
constexpr quint32 newIp = 0xC0A80032u;
constexpr quint32 newMask = 0xFFFFFF00u;
constexpr quint32 newGateway = 0xC0A80001u;
const QString setHex =
    QStringLiteral("51756f72766578205365743a001a2b3c4d5e2711c0a80032ffffff00c0a8000101000000");
const QString ipSetupHex = QStringLiteral("000000fc49502d53455455500000") + QStringLiteral("4d5ec0a80032");

// The workstation's two cables.
QList<interfaces_t> cables(bool first, bool second)
{
    return {{QStringLiteral("wst0"), onCable0(), QStringLiteral("255.255.255.0"), first},
            {QStringLiteral("wst1"), onCable1(), QStringLiteral("255.255.255.0"), second}};
}

QStringList row(const QString &mac, const char *ip, const char *mask = "255.255.255.0")
{
    return {QStringLiteral("Family"), QStringLiteral("SN"),      mac,
            QString::fromLatin1(ip),  QString::fromLatin1(mask), QStringLiteral("10.20.30.1")};
}

QString macOf(int n)
{
    return QStringLiteral("00:1A:2B:00:%1:%2")
        .arg(n / 256, 2, 16, QLatin1Char('0'))
        .arg(n % 256, 2, 16, QLatin1Char('0'))
        .toUpper();
}

// Orders the instrument to its new address, with the unicast to `address`.
bool sendNew(const QList<interfaces_t> &interfaces, const QString &address = onCable0())
{
    return changeNetworkConfiguration().setConfiguration(interfaces, instrumentMac, 10001, newIp, newMask,
                                                         newGateway, 1, QHostAddress(address));
}

// A desktop whose connections go through a proxy that cannot be reached, while it lives.
class DeadProxy
{
public:
    DeadProxy()
    {
        QNetworkProxy::setApplicationProxy(
            QNetworkProxy(QNetworkProxy::Socks5Proxy, QStringLiteral("127.0.0.1"), 1));
    }
    ~DeadProxy() { QNetworkProxy::setApplicationProxy(QNetworkProxy::NoProxy); }
    Q_DISABLE_COPY(DeadProxy)
};

} // namespace

// What leaves the workstation, in its order, and what it does to the virtual instruments.
class TestSetConfiguration : public QObject
{
    Q_OBJECT

private slots:
    void sendsInOrder_data();
    void sendsInOrder();
    void sendsPastTheDesktopsProxy();
    void refuses_data();
    void refuses();
    void passesOverABrokenInterface();
    void reachesInstrumentAndModule();
    void appliesRowsInOrder();
    void stopsBetweenRows();
};

void TestSetConfiguration::sendsInOrder_data()
{
    QTest::addColumn<bool>("first");
    QTest::addColumn<bool>("second");
    QTest::newRow("both interfaces") << true << true;
    QTest::newRow("one ticked") << false << true;
    QTest::newRow("none ticked") << false << false;
}

void TestSetConfiguration::sendsInOrder()
{
    QFETCH(bool, first);
    QFETCH(bool, second);
    LabProcess lab;
    QVERIFY2(lab.start(scenarioOf({plain("00:1A:2B:00:00:01", "192.168.0.10")})),
             qPrintable(lab.errorText()));
    UdpProbe probe(onCable0()); // so that the kernel knows the way to the instrument already
    probe.send(discoveryQuery(), QStringLiteral("192.168.0.10"), discoveryPort);
    QVERIFY(probe.receive());

    QUdpSocket scan; // a scan of another window must not keep us from sending
    QVERIFY(scan.bind(QHostAddress::AnyIPv4, discoveryPort,
                      QAbstractSocket::ShareAddress | QAbstractSocket::ReuseAddressHint));
    WireTap wire;
    QVERIFY(wire.isOpen());
    QElapsedTimer elapsed;
    elapsed.start();
    QVERIFY(sendNew(cables(first, second), QStringLiteral("192.168.0.10")));
    QVERIFY(elapsed.elapsed() >= (first ? 10 : 0) + (second ? 10 : 0));

    QStringList expected{QStringLiteral("wst0 192.168.0.100:* > 192.168.0.10:30719 ") + setHex};
    if (first) {
        expected << QStringLiteral("wst0 192.168.0.100:30719 > 255.255.255.255:30719 ") + setHex
                 << QStringLiteral("wst0 192.168.0.100:30719 > 255.255.255.255:30718 ") + ipSetupHex;
    }
    if (second) {
        expected << QStringLiteral("wst1 10.20.30.100:30719 > 255.255.255.255:30719 ") + setHex
                 << QStringLiteral("wst1 10.20.30.100:30719 > 255.255.255.255:30718 ") + ipSetupHex;
    }
    QCOMPARE(wire.take(), expected);
}

// Instruments are on the cable; the way to the web is not the way to them.
void TestSetConfiguration::sendsPastTheDesktopsProxy()
{
    const DeadProxy proxy;
    WireTap wire;
    QVERIFY(wire.isOpen());
    QVERIFY(sendNew(cables(true, false)));
    QCOMPARE(wire.take(),
             QStringList({QStringLiteral("lo 192.168.0.100:* > 192.168.0.100:30719 ") + setHex,
                          QStringLiteral("wst0 192.168.0.100:30719 > 255.255.255.255:30719 ") + setHex,
                          QStringLiteral("wst0 192.168.0.100:30719 > 255.255.255.255:30718 ") + ipSetupHex}));
}

void TestSetConfiguration::refuses_data()
{
    QTest::addColumn<QString>("mac");
    QTest::addColumn<int>("port");
    QTest::addColumn<quint32>("ip");
    QTest::addColumn<quint32>("mask");
    QTest::addColumn<quint32>("gateway");

    QTest::newRow("MAC text") << "00:1A:2B:3C:4D" << 10001 << newIp << newMask << newGateway;
    QTest::newRow("port 0") << instrumentMac << 0 << newIp << newMask << newGateway;
    for (const quint32 address : {0u, 0xFFFFFFFFu}) {
        const QByteArray text = QHostAddress(address).toString().toLatin1();
        QTest::newRow("ip " + text) << instrumentMac << 10001 << address << newMask << newGateway;
        QTest::newRow("mask " + text) << instrumentMac << 10001 << newIp << address << newGateway;
        QTest::newRow("gateway, with DHCP, " + text) << instrumentMac << 10001 << newIp << newMask << address;
    }
}

void TestSetConfiguration::refuses()
{
    QFETCH(QString, mac);
    QFETCH(int, port);
    QFETCH(quint32, ip);
    QFETCH(quint32, mask);
    QFETCH(quint32, gateway);
    WireTap wire;
    QVERIFY(wire.isOpen());
    QVERIFY(!changeNetworkConfiguration().setConfiguration(
        cables(true, true), mac, static_cast<quint16>(port), ip, mask, gateway, 1, QHostAddress(onCable0())));
    QCOMPARE(wire.take(), QStringList());
}

void TestSetConfiguration::passesOverABrokenInterface()
{
    QList<interfaces_t> interfaces = cables(true, true);
    interfaces[0].ip = QStringLiteral("192.168.0.200"); // gone since the list was made
    interfaces.prepend({QStringLiteral("odd"), QStringLiteral("not an address"), QString(), true});
    WireTap wire;
    QVERIFY(sendNew(interfaces));
    const QStringList sent = wire.take();
    QCOMPARE(sent.size(), 3);
    QVERIFY(sent.at(0).startsWith(QStringLiteral("lo ")));
    QVERIFY(sent.at(1).startsWith(QStringLiteral("wst1 10.20.30.100:30719 > 255.255.255.255:30719")));
    QVERIFY(sent.at(2).startsWith(QStringLiteral("wst1 10.20.30.100:30719 > 255.255.255.255:30718")));
}

void TestSetConfiguration::reachesInstrumentAndModule()
{
    LabProcess lab;
    QVERIFY2(lab.start(scenarioOf({with(plain("00:1A:2B:3C:4D:5E", "172.16.0.9", "lab1"), "applyMs", 0),
                                   with(module("00:20:4A:AD:64:70", "10.20.30.60"), "restartMs", 0)})),
             qPrintable(lab.errorText()));
    changeNetworkConfiguration sender;
    const QHostAddress notThere(QStringLiteral("192.168.0.10"));
    for (const QList<interfaces_t> &interfaces : {cables(true, false), cables(false, true)}) {
        QVERIFY(sender.setConfiguration(interfaces, instrumentMac, 10001, 0x0A141E32u, newMask, 0x0A141E01u,
                                        0, notThere));
        QVERIFY(sender.setConfiguration(interfaces, QStringLiteral("00-20-4A-AD-64-70"), 10001, 0x0A141E33u,
                                        newMask, 0x0A141E01u, 0, notThere));
    }
    QVERIFY(lab.waitForEvent(QStringLiteral("addressChanged"), 2));
    const QJsonObject set = lab.events(QStringLiteral("set")).value(0);
    QCOMPARE(field(set, "mac"), instrumentMac);
    QCOMPARE(field(set, "via"), QStringLiteral("broadcast"));
    QCOMPARE(field(set, "ip"), QStringLiteral("10.20.30.50"));
    const QJsonObject ipSetup = lab.events(QStringLiteral("ipSetup")).value(0);
    QCOMPARE(field(ipSetup, "bytes"),
             QStringLiteral("000000fc49502d534554555000006470") + QStringLiteral("0a141e33"));
}

void TestSetConfiguration::appliesRowsInOrder()
{
    LabProcess lab;
    QVERIFY2(lab.start(scenarioOf({with(with(plain("00:1A:2B:00:00:01", "10.20.30.11"), "count", 4),
                                        "interface", QStringLiteral("lab1"))})),
             qPrintable(lab.errorText()));
    QList<QStringList> rows{row(macOf(2), "10.20.30.52"), row(macOf(3), "10.20.30"),
                            row(macOf(1), "10.20.30.51"), row(macOf(4), "10.20.30.54", "255.255.255.255")};
    changeNetworkConfiguration sender;
    WireTap wire;
    QVERIFY(!sender.applyList(cables(false, true), rows)); // the last one was refused
    QStringList sent = wire.take();
    QCOMPARE(sent.size(), 6);
    // The row does not say where its instrument is: the unicast goes nowhere.
    QVERIFY2(sent.at(0).startsWith(QStringLiteral("lo ")) && sent.at(0).contains(QStringLiteral(":30719 ")),
             qPrintable(sent.at(0)));
    QVERIFY(
        sent.at(0).endsWith(QStringLiteral("001a2b00000227110a141e34ffffff000a141e0100000000"))); // DHCP off
    QVERIFY(lab.waitForEvent(QStringLiteral("addressChanged"), 2));
    QStringList set;
    for (const QJsonObject &event : lab.events(QStringLiteral("set"))) {
        set.append(field(event, "mac") + QLatin1Char(' ') + field(event, "ip"));
    }
    QCOMPARE(set, QStringList({macOf(2) + QStringLiteral(" 10.20.30.52"),
                               macOf(1) + QStringLiteral(" 10.20.30.51")}));

    QVERIFY(!sender.applyList(cables(false, true), {}));
    QVERIFY(!sender.applyList(cables(false, true), {QStringList(rows.first().mid(0, 5)), rows.first()}));
    QCOMPARE(wire.take(), QStringList());
    rows.last() = row(macOf(4), "10.20.30.54");
    rows.append(QStringList());
    rows.append(row(macOf(3), "10.20.30.53")); // behind the row that ends the list
    QVERIFY(sender.applyList(cables(false, true), rows.mid(3)));
    QCOMPARE(wire.take().size(), 3);
}

void TestSetConfiguration::stopsBetweenRows()
{
    const QList<QStringList> rows{row(macOf(1), "10.20.30.51"), row(macOf(2), "10.20.30.52"),
                                  row(macOf(3), "10.20.30.53")};
    QList<int> asked;
    WireTap wire;
    QVERIFY(changeNetworkConfiguration().applyList(cables(true, true), rows, [&asked](int position) {
        asked.append(position);
        return position < 1;
    }));
    QCOMPARE(asked, QList<int>({0, 1}));
    QCOMPARE(wire.take().size(), 5);
}

QTEST_GUILESS_MAIN(TestSetConfiguration)
#include "tst_setconfiguration.moc"
