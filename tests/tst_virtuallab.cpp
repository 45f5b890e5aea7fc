#include "labprocess.h"
#include "labroom.h"
#include "udpprobe.h"

#include <QJsonDocument>
#include <QTest>

#include <utility>

namespace {

// The bytes that the wire shall carry at an offset, as hexadecimal or as text.
struct Piece
{
    int offset;
    QByteArray bytes;
};

} // namespace

using namespace labroom;
using Pieces = QVector<Piece>;
Q_DECLARE_METATYPE(Pieces)

// What virtual instruments answer, to whom, and who hears what.
class TestVirtualLab : public QObject
{
    Q_OBJECT

private slots:
    void repliesCarryTheirBytes_data();
    void repliesCarryTheirBytes();
    void jsonRepliesCarryTheirKeys();
    void modulesAnswerOnlyFourByteQueries_data();
    void modulesAnswerOnlyFourByteQueries();
    void oneHearsItsCableAndItsAddress_data();
    void oneHearsItsCableAndItsAddress();
    void everyDatagramThatArrivesIsToldOnce();
};

void TestVirtualLab::repliesCarryTheirBytes_data()
{
    QTest::addColumn<QJsonObject>("instrument");
    QTest::addColumn<Pieces>("pieces");

    const Piece common{14, hex("001a2b3c4d5e"
                               "c0a8000a"
                               "ffffff00"
                               "c0a80001")};
    QTest::newRow("power supply, six parts")
        << object(R"({"kind":"powerSupply","code":"1100","firmware":"2.1.04","serial":"24001","module":"QPS",
                      "note":"N","site":"S","dhcp":true})")
        << Pieces{{0, "Quorvex Dev:"},
                  {12, hex("1100")},
                  common,
                  {44, QByteArrayLiteral("2.1.04\r\n24001\r\nQPS\r\nN\r\n1\r\nS\r\n\0")},
                  {247, QByteArray(1, '\0')}};
    QTest::newRow("power supply, five parts")
        << object(R"({"kind":"powerSupply","code":"1400","firmware":"2","serial":"3","module":"Q","note":"N",
                      "parts":5})")
        << Pieces{{12, hex("1400")}, common, {44, QByteArrayLiteral("2\r\n3\r\nQ\r\nN\r\n0\r\n\0")}};
    QTest::newRow("power supply, four parts")
        << object(R"({"kind":"powerSupply","code":"1100","firmware":"2","serial":"3","module":"Q","note":"N",
                      "parts":4})")
        << Pieces{common, {44, QByteArrayLiteral("2\r\n3\r\nQ\r\nN\r\n\0")}};
    QTest::newRow("1600 like a beamline instrument")
        << object(R"({"kind":"beamline","code":"1600","firmware":"1311","module":"QT16","serial":2117006})")
        << Pieces{{12, hex("1600")}, common, {36, "QT16"}, {44, "1311" + hex("00204d8e")}};
    QTest::newRow("beamline")
        << object(R"({"kind":"beamline","code":"2180","firmware":"1203","module":"QB4A","serial":1812345})")
        << Pieces{{12, hex("2180")}, common, {36, "QB4A"}, {44, "1203" + hex("001ba779")}};
    QTest::newRow("beamline, sub-code that no catalogue has")
        << object(R"({"kind":"beamline","code":"2137"})") << Pieces{{12, hex("2137")}, common};
    QTest::newRow("transducer")
        << object(
               R"({"kind":"transducer","code":"3100","firmware":"2011","serial":"12345678","module":"QCT"})")
        << Pieces{{12, hex("3100")}, common, {44, "2011" + hex("12345678") + QByteArrayLiteral("QCT\0")}};
    QTest::newRow("tools")
        << object(R"({"kind":"tools","code":"6100","firmware":"1005","serial":"19070042","module":"LINK"})")
        << Pieces{{12, hex("6100")}, common, {44, "1005" + hex("19070042") + QByteArrayLiteral("LINK\0")}};
}

void TestVirtualLab::repliesCarryTheirBytes()
{
    QFETCH(QJsonObject, instrument);
    QFETCH(Pieces, pieces);
    instrument[QStringLiteral("mac")] = QStringLiteral("00:1A:2B:3C:4D:5E");
    instrument[QStringLiteral("ip")] = QStringLiteral("192.168.0.10");
    LabProcess lab;
    play(lab, {instrument});

    UdpProbe probe(onCable0());
    probe.send(discoveryQuery(), everyone(), discoveryPort);
    const auto reply = probe.receive();
    QVERIFY(reply);
    QCOMPARE(reply->from, QStringLiteral("192.168.0.10"));
    QCOMPARE(reply->port, discoveryPort);
    QCOMPARE(reply->bytes.size(), 248);
    for (const Piece &piece : std::as_const(pieces)) {
        QCOMPARE(reply->bytes.mid(piece.offset, piece.bytes.size()).toHex(' '), piece.bytes.toHex(' '));
    }
}

void TestVirtualLab::jsonRepliesCarryTheirKeys()
{
    LabProcess lab;
    play(lab, {object(
                  R"({"kind":"json","code":"5100","mac":"00:1A:2B:3C:4D:5E","ip":"10.20.30.9","dhcp":true,
                     "texts":{"BRAND":"HALVERN","SLOT":"4","UPTIME":7,"GATEWAY":null}})")});
    UdpProbe probe(onCable1());
    probe.send(discoveryQuery(), QStringLiteral("10.20.30.9"), discoveryPort);
    const auto reply = probe.receive();
    QVERIFY(reply);
    QCOMPARE(reply->bytes.left(12), QByteArrayLiteral("Quorvex MS2:"));
    QJsonObject keys = QJsonDocument::fromJson(reply->bytes.mid(12)).object();
    keys.remove(QStringLiteral("FAMILY")); // as the catalogue has it
    keys.remove(QStringLiteral("DEVICE"));
    QCOMPARE(keys, object(R"({"CODE":"5100","MAC":"00:1A:2B:3C:4D:5E","IP":"10.20.30.9",
                              "NETMASK":"255.255.255.0","DHCP":"1","BRAND":"HALVERN","SLOT":"4","UPTIME":7})"));
}

void TestVirtualLab::modulesAnswerOnlyFourByteQueries_data()
{
    QTest::addColumn<QByteArray>("query");
    QTest::addColumn<int>("size"); // of the answer; 0: none
    QTest::addColumn<Pieces>("pieces");

    const Pieces identification{{0, hex("000000f7")}, {8, "X5"}, {24, hex("00204aad6470")}};
    QTest::newRow("identification") << hex("000000f6") << 30 << identification;
    QTest::newRow("identification, second byte 01") << hex("000100f6") << 30 << identification;
    QTest::newRow("version") << hex("000000f4") << 33
                             << Pieces{{0, hex("000000f5")}, {16, QByteArrayLiteral("6.5.0.7\0")}};
    QTest::newRow("setup record") << hex("000000f8") << 124
                                  << Pieces{{0, hex("000000f9"
                                                    "c0a80032")},
                                            {24, hex("1127")}};
    QTest::newRow("second byte 02") << hex("000200f6") << 0 << Pieces{};
    QTest::newRow("third byte 01") << hex("000001f6") << 0 << Pieces{};
    QTest::newRow("five bytes") << hex("000000f600") << 0 << Pieces{};
    QTest::newRow("three bytes") << hex("0000f6") << 0 << Pieces{};
    QTest::newRow("another function") << hex("000000e8") << 0 << Pieces{};
}

void TestVirtualLab::modulesAnswerOnlyFourByteQueries()
{
    QFETCH(QByteArray, query);
    QFETCH(int, size);
    QFETCH(Pieces, pieces);
    LabProcess lab;
    play(lab, {module("00:20:4A:AD:64:70", "192.168.0.50")});
    UdpProbe probe(onCable0());
    probe.send(query, QStringLiteral("192.168.0.255"), modulePort);
    if (size == 0) {
        QVERIFY(lab.waitForEvent(QStringLiteral("ignored")));
        probe.send(hex("000000f4"), QStringLiteral("192.168.0.50"), modulePort); // the only answer
        QCOMPARE(probe.receive()->bytes.size(), 33);
        return;
    }
    const auto reply = probe.receive();
    QVERIFY(reply);
    QCOMPARE(reply->from, QStringLiteral("192.168.0.50"));
    QCOMPARE(reply->port, modulePort);
    QCOMPARE(reply->bytes.size(), size);
    for (const Piece &piece : std::as_const(pieces)) {
        QCOMPARE(reply->bytes.mid(piece.offset, piece.bytes.size()).toHex(' '), piece.bytes.toHex(' '));
    }
}

void TestVirtualLab::oneHearsItsCableAndItsAddress_data()
{
    QTest::addColumn<QString>("from");
    QTest::addColumn<QString>("to");
    QTest::addColumn<QString>("answering"); // the last number of their addresses

    const auto row = [](const char *name, const QString &from, const char *to, const char *answering) {
        QTest::newRow(name) << from << to << answering;
    };
    row("limited broadcast on the first cable", onCable0(), "255.255.255.255", "11 12");
    row("limited broadcast on the second", onCable1(), "255.255.255.255", "21 22");
    row("directed at the first", onCable0(), "192.168.0.255", "11 12");
    row("directed at the second", onCable1(), "10.20.30.255", "21 22");
    row("one address", onCable0(), "192.168.0.11", "11");
    row("the lab host itself", onCable0(), "192.168.0.250", "");
}

void TestVirtualLab::oneHearsItsCableAndItsAddress()
{
    QFETCH(QString, from);
    QFETCH(QString, to);
    QFETCH(QString, answering);
    LabProcess lab;
    play(lab, {
                  plain("00:1A:2B:00:00:11", "192.168.0.11"),
                  plain("00:1A:2B:00:00:12", "172.16.9.12"),
                  plain("00:1A:2B:00:00:21", "10.20.30.21", "lab1"),
                  plain("00:1A:2B:00:00:22", "192.168.0.22", "lab1"),
                  plain("00:1A:2B:00:00:FE", "192.168.0.240"),
                  plain("00:1A:2B:00:00:FF", "10.20.30.240", "lab1"),
              });
    const QString fence =
        from == onCable0() ? QStringLiteral("192.168.0.240") : QStringLiteral("10.20.30.240");
    UdpProbe probe(from);
    probe.send(discoveryQuery(), to, discoveryPort);
    const bool broadcast = to.endsWith(QStringLiteral(".255"));
    QStringList answered;
    const auto replies = probe.receiveUntil(fence, broadcast ? 2 : 1);
    QVERIFY2(replies, "the healthy neighbour did not answer");
    for (const UdpProbe::Reply &reply : *replies) {
        answered.append(reply.from.section(QLatin1Char('.'), 3));
    }
    answered.sort();
    QCOMPARE(answered.join(QLatin1Char(' ')), answering);
}

void TestVirtualLab::everyDatagramThatArrivesIsToldOnce()
{
    LabProcess lab;
    QVERIFY2(lab.startCount(20), qPrintable(lab.errorText()));
    UdpProbe probe(onCable1());
    probe.send(discoveryQuery(), everyone(), discoveryPort);
    QCOMPARE(probe.receiveAll(10).size(), 10);
    probe.send(QByteArrayLiteral("Quorvex Who?"), QStringLiteral("10.20.30.255"), discoveryPort);
    QVERIFY(lab.waitForEvent(QStringLiteral("ignored")));

    const QVector<QJsonObject> queries = lab.events(QStringLiteral("query"));
    QCOMPARE(queries.size(), 1);
    QCOMPARE(queries[0].value(QStringLiteral("interface")).toString(), QStringLiteral("lab1"));
    QCOMPARE(queries[0].value(QStringLiteral("to")).toString(), QStringLiteral("255.255.255.255:30719"));
    QCOMPARE(queries[0].value(QStringLiteral("bytes")).toString(),
             QString::fromLatin1(discoveryQuery().toHex()));
    QCOMPARE(queries[0].value(QStringLiteral("heardBy")).toInt(), 10);
    const QJsonObject ignored = lab.events(QStringLiteral("ignored")).value(0);
    QCOMPARE(ignored.value(QStringLiteral("reason")).toString(), QStringLiteral("unknown"));
    QCOMPARE(lab.events().size(), 3); // with "ready"
}

QTEST_GUILESS_MAIN(TestVirtualLab)
#include "tst_virtuallab.moc"
