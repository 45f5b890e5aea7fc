#include "client.h"
#include "devicetables.h"
#include "labroom.h"
#include "networkinterfaces.h"
#include "support/scanfixture.h"

#include <QCheckBox>
#include <QJsonArray>
#include <QNetworkProxy>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableWidget>
#include <QTest>
#include <QThread>
#include <QUdpSocket>

#include <thread>

using namespace labroom;

// What a scan finds on a real network, with the virtual lab's events as witness of what crossed the wire, and
// the choice of the interfaces that it asks by.
class TestDiscovery : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { QNetworkProxy::setApplicationProxy(QNetworkProxy::NoProxy); }

    void findsEverythingOnce_data();
    void findsEverythingOnce();
    void losesNoneOfABurst();
    void losesNothingWhileItAsks();
    void asksTickedInterfacesOnly();
    void walksTheRange();
    void theFirstReplyCounts();
    void choosesInterfaces();
    void cancelledChoiceChangesNothing();
    void choicesAreKeptByName();
};

namespace {

const char *const both = "wst0@192.168.0.100 wst1@10.20.30.100";

QString ipsOf(const QList<Device_t> &devices)
{
    QStringList ips;
    for (const Device_t &device : devices) {
        ips.append(device[Ip]);
    }
    ips.sort();
    return ips.join(QLatin1Char(' '));
}

// What scans find that are repeated until they have found so many: a busy machine misses a reply.
QList<Device_t> heard(Client &client, const char *interfaces, int count)
{
    QList<Device_t> found = client.scan(interfacesOf(interfaces));
    for (int scans = 1; scans < 10 && found.size() < count; ++scans) {
        found = client.scan(interfacesOf(interfaces));
    }
    return found;
}

} // namespace

void TestDiscovery::findsEverythingOnce_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<bool>("healthy"); // then every instrument is to be found
    QTest::newRow("one of everything") << "showcase.json" << true;
    QTest::newRow("among faulty ones") << "faults.json" << false;
}

void TestDiscovery::findsEverythingOnce()
{
    QFETCH(QString, file);
    QFETCH(bool, healthy);
    LabProcess lab;
    QVERIFY2(lab.startFile(file), qPrintable(lab.errorText()));
    QMap<QString, QJsonObject> expected; // by MAC
    const QJsonArray instruments = LabProcess::scenario(file).value(QStringLiteral("instruments")).toArray();
    for (const QJsonValue &instrument : instruments) {
        const QJsonObject expect = instrument.toObject().value(QStringLiteral("expect")).toObject();
        if (!expect.isEmpty()) {
            expected.insert(field(expect, "MAC"), expect);
        }
    }
    QVERIFY(healthy ? expected.size() == instruments.size() : expected.size() > 5);

    // No proxy knows the way to an instrument.
    QNetworkProxy::setApplicationProxy({QNetworkProxy::Socks5Proxy, QStringLiteral("127.0.0.1"), 1});
    Client client;
    client.setScanTime(800);
    const QList<Device_t> found = heard(client, both, healthy ? expected.size() : 25);
    QMap<QString, QJsonObject> seen;
    QSet<QString> macs;
    for (const Device_t &device : found) {
        macs.insert(device[Mac]);
        QJsonObject texts;
        for (int i = 0; i < deviceFieldCount; ++i) {
            const QString key = devicetables::fieldKey(i);
            if (expected.value(device[Mac]).contains(key)) {
                texts.insert(key, device.fields[static_cast<std::size_t>(i)]);
            }
        }
        if (!texts.isEmpty()) {
            seen.insert(device[Mac], texts);
        }
    }
    QCOMPARE(seen, expected);
    QCOMPARE(macs.size(), found.size());
    QVERIFY(!healthy || found.size() == expected.size());
}

void TestDiscovery::losesNoneOfABurst()
{
    constexpr int count = 5000;
    LabProcess lab;
    QVERIFY2(lab.start(scenarioOf({}),
                       {QStringLiteral("--count"), QString::number(count), QStringLiteral("--verbose")}),
             qPrintable(lab.errorText()));
    Client client;
    client.setScanTime(60000);
    int steps = 0; // since the last reply was sent
    connect(&client, &Client::signalUpdateProgressBar, this, [&] {
        steps += lab.events(QStringLiteral("reply")).size() >= count ? 1 : 0;
        if (steps == 3) {
            client.requestStop();
        }
    });
    QCOMPARE(client.scan(interfacesOf(both)).size(), count);
    QVERIFY2(client.wasStopped(), "not all instruments have replied");
}

// While a query leaves from an interface's address, replies to that very address and port must not
// be swallowed: of a stream of numbered replies, no more than a receive buffer of the usual size can
// hold, none may be missing between the first and the last.
void TestDiscovery::losesNothingWhileItAsks()
{
    std::thread chatter;
    Client client;
    client.setScanTime(800); // so that the rest of the stream arrives on a busy machine too
    connect(&client, &Client::signalUpdateProgressBar, this, [&chatter](int value) {
        if (value == 0) {
            chatter = std::thread([] {
                QUdpSocket socket;
                for (int number = 1000; number < 1400; ++number) {
                    const QByteArray head = "Quorvex Dev:" + QByteArray::fromHex("2100001A");
                    socket.writeDatagram(head + QByteArray::number(number) + QByteArray(228, '\0'),
                                         QHostAddress(onCable0()), discoveryPort);
                    QThread::usleep(200);
                }
            });
        }
    });
    const QByteArray often = QByteArray("wst0@192.168.0.100 ").repeated(500);
    QList<int> numbers;
    for (const Device_t &device : client.scan(interfacesOf(often.constData()))) {
        numbers.append(QByteArray::fromHex(device[Mac].mid(6).remove(QLatin1Char(':')).toLatin1()).toInt());
    }
    chatter.join();
    std::sort(numbers.begin(), numbers.end());
    QVERIFY2(numbers.size() > 50, "too few to tell");
    QCOMPARE(numbers.last() - numbers.first() + 1, numbers.size());
}

// A broadcast on an interface shows that sockets can share the port: with the listen socket in their
// way none would ever leave.
void TestDiscovery::asksTickedInterfacesOnly()
{
    const char *rows[][3] = {
        {"", "", ""},
        {"-wst0@192.168.0.100 wst1@10.20.30.100", "1", ""},
        {"Docker0@192.168.0.100 wst1@10.20.30.100", "01", ""},
        {"docker0@192.168.0.100 wst0@0.0.0.0 cut@192.168.0 wst1@10.20.30.100", "1", ""},
        {"gone@192.168.7.7 wst1@10.20.30.100", "1", "gone: The address is not available"}};
    QVERIFY(ip("route add default dev wst0")); // what is sent without knowing where to has a way out
    for (const auto &[interfaces, asked, problem] : rows) {
        LabProcess lab;
        play(lab, {supply(11)});
        Client client;
        client.scan(interfacesOf(interfaces));
        QStringList expected; // "Quorvex Dev?", and a module's
        if (QByteArray(asked).contains('0')) {
            expected << QStringLiteral("lab0 192.168.0.100:30718 192.168.0.255:30718 000100f6")
                     << QStringLiteral(
                            "lab0 192.168.0.100:30719 255.255.255.255:30719 51756f72766578204465763f");
        }
        if (QByteArray(asked).contains('1')) {
            expected << QStringLiteral("lab1 10.20.30.100:30718 10.20.30.255:30718 000100f6")
                     << QStringLiteral(
                            "lab1 10.20.30.100:30719 255.255.255.255:30719 51756f72766578204465763f");
        }
        QStringList seen = queriesSeen(lab);
        seen.sort();
        QCOMPARE(seen, expected);
        QCOMPARE(client.interfacesQueried(), expected.size() / 2);
        QCOMPARE(client.problem(), QString::fromLatin1(problem));
    }
    QVERIFY(ip("route del default"));
}

// One that babbles before it replies is lost on the unicast socket, and on that one only; one that is
// reached both ways is listed once; and what was found stays until it is cleared.
void TestDiscovery::walksTheRange()
{
    const QJsonObject babble = object(R"({"garbage":{"bytes":40}})");
    LabProcess lab;
    play(lab, {supply(10), with(supply(11), "faults", babble), supply(12), supply(14), supply(15)});
    Client client;
    client.setScanTime(400);
    walk(client, "192.168.0.11", "192.168.0.14");
    QCOMPARE(ipsOf(heard(client, "", 2)), QStringLiteral("192.168.0.12 192.168.0.14"));
    QSet<QString> asked;
    for (const QString &query : queriesSeen(lab)) {
        const int port = query.section(QLatin1Char(' '), 1, 1).section(QLatin1Char(':'), 1).toInt();
        QVERIFY2(port > 1023 && port != discoveryPort, "not a user's port, or answers miss the socket");
        asked.insert(query.section(QLatin1Char(' '), 2, 2));
    }
    QCOMPARE(asked, (QSet<QString>{QStringLiteral("192.168.0.11:30719"), QStringLiteral("192.168.0.12:30719"),
                                   QStringLiteral("192.168.0.14:30719")}));
    client.setSendUnicast(false);
    QCOMPARE(client.scan({}).size(), 2);
    client.setSendUnicast(true);
    QCOMPARE(heard(client, both, 5).size(), 5);
    client.clearDevices();
    client.setSendUnicast(false);
    QCOMPARE(client.scan({}).size(), 0);
}

// Of two that claim the same MAC address, be they instruments or modules.
void TestDiscovery::theFirstReplyCounts()
{
    Client client;
    QUdpSocket near;
    QUdpSocket far;
    QVERIFY(near.bind(QHostAddress(onCable0())) && far.bind(QHostAddress(onCable1())));
    connect(&client, &Client::signalUpdateProgressBar, this, [&](int value) {
        if (value == 1) {
            client.disconnect(this);
            for (const char *reply : {"2100001A2B000001", "2180001A2B000001"}) {
                near.writeDatagram("Quorvex Dev:" + hex(reply), QHostAddress(onCable0()), discoveryPort);
            }
            for (QUdpSocket *module : {&near, &far}) {
                module->writeDatagram(QByteArray(24, '\0') + hex("00204A000001"), QHostAddress(onCable0()),
                                      modulePort);
            }
        }
    });
    const QList<Device_t> found = client.scan(interfacesOf("wst0@192.168.0.100"));
    QCOMPARE(found.size(), 2);
    QCOMPARE(found.first()[Code] + found.last()[Ip], QStringLiteral("2100") + onCable0());
}

// The column of the boxes is narrower than a box, and a click anywhere in a row ticks it.
void TestDiscovery::choosesInterfaces()
{
    qRegisterMetaType<QList<interfaces_t>>();
    NetworkInterfaces dialog;
    dialog.setInterfaces(interfacesOf("wst0@192.168.0.100 -wst1@10.20.30.100 enx001122334455@10.0.0.7"));
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    auto *table = dialog.findChild<QTableWidget *>();
    QStringList texts;
    for (int row = 0; row < table->rowCount(); ++row) {
        auto *box = qobject_cast<QCheckBox *>(table->cellWidget(row, 0));
        texts.append(box->isChecked() ? QStringLiteral("+") : QStringLiteral("-"));
        for (int column = 1; column < table->columnCount(); ++column) {
            texts.append(table->item(row, column)->text());
        }
        const QPoint middle(13, box->height() / 2);
        QCOMPARE(dialog.childAt(box->mapTo(&dialog, middle)), box);
        QTest::mouseClick(box, Qt::LeftButton, {}, middle);
    }
    QCOMPARE(texts.join(QLatin1Char(' ')),
             QStringLiteral("+ wst0 192.168.0.100 255.255.255.0 - wst1 10.20.30.100 255.255.255.0 "
                            "+ enx001122334455 10.0.0.7 255.255.255.0"));
    QTest::mouseClick(table->viewport(), Qt::LeftButton, {},
                      table->visualItemRect(table->item(2, 2)).center());

    QSignalSpy applied(&dialog, &NetworkInterfaces::signalUpdateNetworkList);
    auto *apply = dialog.findChild<QPushButton *>(QStringLiteral("applyBtn"));
    QTest::mouseClick(apply, Qt::LeftButton);
    const auto expected = interfacesOf("-wst0@192.168.0.100 wst1@10.20.30.100 enx001122334455@10.0.0.7");
    QCOMPARE(applied.takeFirst().first().value<QList<interfaces_t>>(), expected);
    QCOMPARE(dialog.interfaces(), expected);
    QVERIFY(dialog.isVisible() && applied.isEmpty()); // closing it is for whoever opened it

    auto *hint = dialog.findChild<QWidget *>(QStringLiteral("labelNoNetwork"));
    QVERIFY(!hint->isVisible());
    dialog.setInterfaces({});
    QVERIFY(hint->isVisible());
}

void TestDiscovery::cancelledChoiceChangesNothing()
{
    NetworkInterfaces dialog;
    dialog.setInterfaces(interfacesOf(both));
    dialog.show();
    QSignalSpy applied(&dialog, &NetworkInterfaces::signalUpdateNetworkList);
    QSignalSpy closed(&dialog, &NetworkInterfaces::signalClose);
    const auto box = [&dialog] {
        return qobject_cast<QCheckBox *>(dialog.findChild<QTableWidget *>()->cellWidget(0, 0));
    };
    box()->setChecked(false);
    QTest::mouseClick(dialog.findChild<QPushButton *>(QStringLiteral("cancelBtn")), Qt::LeftButton);
    QTest::keyClick(&dialog, Qt::Key_Escape);
    dialog.close();
    QCOMPARE(closed.size(), 3);
    QVERIFY(applied.isEmpty() && dialog.interfaces() == interfacesOf(both));
    dialog.fillTable();
    QVERIFY(box()->isChecked());
}

// This computer's, of which the second is not to be asked; a second address follows the first of its name.
void TestDiscovery::choicesAreKeptByName()
{
    QCOMPARE(localInterfaces({}), interfacesOf(both)); // new ones are ticked, and loopback is none
    const auto before = interfacesOf("wst0@1.1.1.1 -wst0@192.168.0.100 -wst1@10.20.30.100");
    NetworkInterfaces dialog;
    dialog.setInterfaces(before);
    QCOMPARE(dialog.current(), interfacesOf("wst0@192.168.0.100 -wst1@10.20.30.100"));
}

QTEST_MAIN(TestDiscovery)
#include "tst_discovery.moc"
