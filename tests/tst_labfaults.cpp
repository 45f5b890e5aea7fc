#include "labprocess.h"
#include "labroom.h"
#include "udpprobe.h"
#include "updateroom.h"

#include <QJsonDocument>
#include <QTest>

#include <functional>

using namespace labroom;
using updateroom::Client;
using updateroom::waitMs;

namespace {

const QString ip = QStringLiteral("192.168.0.10");
const QString fence = QStringLiteral("192.168.0.240");
const QString moduleIp = QStringLiteral("192.168.0.50");

QJsonObject instrument(const char *kind, const QJsonObject &faults)
{
    QJsonObject one{{QStringLiteral("kind"), QString::fromLatin1(kind)},
                    {QStringLiteral("code"), QStringLiteral("1900")},
                    {QStringLiteral("mac"), QStringLiteral("00:1A:2B:00:00:10")},
                    {QStringLiteral("ip"), ip}};
    return with(one, "faults", faults);
}

// What the instrument sends for its queries, in order, besides a healthy neighbour; nothing at all if
// that one was not heard either.
std::optional<QVector<QByteArray>> answers(const QJsonObject &instrument, int queries = 1)
{
    LabProcess lab;
    if (!lab.start(scenarioOf({instrument, plain("00:1A:2B:00:00:FE", "192.168.0.240")}))) {
        qWarning("%s", qPrintable(lab.errorText()));
        return std::nullopt;
    }
    UdpProbe probe(onCable0());
    for (int i = 0; i < queries; ++i) {
        probe.send(discoveryQuery(), ip, discoveryPort);
    }
    const auto replies = probe.receiveUntil(fence, 1);
    if (!replies) {
        qWarning("the healthy neighbour did not answer");
        return std::nullopt;
    }
    QVector<QByteArray> bytes;
    for (const UdpProbe::Reply &reply : *replies) {
        bytes.append(reply.bytes);
    }
    return bytes;
}

QJsonDocument payload(const QByteArray &reply)
{
    return QJsonDocument::fromJson(reply.mid(12));
}

// A module with this tunnel, at 192.168.0.50.
QJsonObject moduleWith(const QByteArray &tunnel)
{
    return with(module("00:20:4A:AD:64:70", "192.168.0.50"), "tunnel", object(tunnel.constData()));
}

} // namespace

// How instruments fail when a scenario asks them to.
class TestLabFaults : public QObject
{
    Q_OBJECT

private slots:
    void contentIsSpoiled_data();
    void contentIsSpoiled();
    void queriesAreDropped_data();
    void queriesAreDropped();
    void lateReplyComesAfterTheOthers();
    void repliesAreDoubled();
    void garbageIsRepeatable();

    void tunnelAnswersCommands_data();
    void tunnelAnswersCommands();
    void tunnelTakesOneClientAtATime();
    void tunnelSendsLongLines_data();
    void tunnelSendsLongLines();
    void silentTunnelTakesEverything();
    void tunnelClosesAtOnce();
    void tunnelRefuses();
};

using Check = std::function<bool(const QByteArray &)>;
Q_DECLARE_METATYPE(Check)

void TestLabFaults::contentIsSpoiled_data()
{
    QTest::addColumn<QByteArray>("kind");
    QTest::addColumn<QJsonObject>("faults");
    QTest::addColumn<Check>("isRight");
    const auto row = [](const char *name, const char *kind, const char *faults, const Check &isRight) {
        QTest::newRow(name) << QByteArray(kind) << object(faults) << isRight;
    };
    row("truncated", "powerSupply", R"({"truncate":20})",
        [](const QByteArray &reply) { return reply.size() == 20 && reply.startsWith("Quorvex Dev:"); });
    row("cut to nothing", "powerSupply", R"({"truncate":0})",
        [](const QByteArray &reply) { return reply.isEmpty(); });
    row("oversized", "powerSupply", R"({"oversize":5000})",
        [](const QByteArray &reply) { return reply.size() == 5000 && reply.startsWith("Quorvex Dev:\x19"); });
    row("wrong prefix", "powerSupply", R"({"wrongPrefix":"Quorvex Dex:"})",
        [](const QByteArray &reply) { return reply.size() == 248 && reply.startsWith("Quorvex Dex:\x19"); });
    row("embedded NUL", "json", R"({"embeddedNul":30})",
        [](const QByteArray &reply) { return reply.indexOf('\0') == 30; });
    row("invalid JSON", "json", R"({"invalidJson":true})",
        [](const QByteArray &reply) { return reply.startsWith("Quorvex MS2:{") && payload(reply).isNull(); });
    row("JSON array", "json", R"({"jsonArray":true})",
        [](const QByteArray &reply) { return payload(reply).isArray(); });
}

void TestLabFaults::contentIsSpoiled()
{
    QFETCH(QByteArray, kind);
    QFETCH(QJsonObject, faults);
    QFETCH(Check, isRight);
    const auto replies = answers(instrument(kind.constData(), faults));
    QVERIFY(replies);
    QCOMPARE(replies->size(), 1);
    QVERIFY2(isRight(replies->first()), replies->first().toHex(' ').constData());
    const auto healthy = answers(instrument(kind.constData(), {}));
    QVERIFY(healthy);
    QCOMPARE(healthy->size(), 1);
    QVERIFY(!isRight(healthy->first()));
}

void TestLabFaults::queriesAreDropped_data()
{
    QTest::addColumn<QJsonObject>("faults");
    QTest::addColumn<int>("answered"); // of six
    QTest::newRow("the first two") << object(R"({"dropFirst":2})") << 4;
    QTest::newRow("every third") << object(R"({"dropEvery":3})") << 4;
    QTest::newRow("all") << object(R"({"dropEvery":1})") << 0;
}

void TestLabFaults::queriesAreDropped()
{
    QFETCH(QJsonObject, faults);
    QFETCH(int, answered);
    const auto replies = answers(instrument("powerSupply", faults), 6);
    QVERIFY(replies);
    QCOMPARE(replies->size(), answered);
}

void TestLabFaults::lateReplyComesAfterTheOthers()
{
    LabProcess lab;
    play(lab, {instrument("powerSupply", object(R"({"delayMs":1000})")),
               plain("00:1A:2B:00:00:FE", "192.168.0.240")});
    UdpProbe probe(onCable0());
    probe.send(discoveryQuery(), ip, discoveryPort);
    probe.send(discoveryQuery(), fence, discoveryPort);
    QStringList from;
    for (const UdpProbe::Reply &reply : probe.receiveAll(2)) {
        from.append(reply.from);
    }
    QCOMPARE(from, QStringList({fence, ip}));
}

void TestLabFaults::repliesAreDoubled()
{
    const auto replies = answers(instrument("powerSupply", object(R"({"duplicate":3})")));
    QVERIFY(replies);
    QCOMPARE(replies->size(), 3);
    QCOMPARE(replies->at(0), replies->at(2));
}

void TestLabFaults::garbageIsRepeatable()
{
    const QJsonObject babbling = instrument("powerSupply", object(R"({"garbage":{"bytes":100,"count":3}})"));
    const auto heard = answers(babbling);
    QVERIFY(heard);
    const QVector<QByteArray> &once = *heard;
    QCOMPARE(once.size(), 4);
    QVERIFY(once[0].size() == 100 && once[0] != once[1] && once[1] != once[2]);
    QVERIFY(once[3].startsWith("Quorvex Dev:"));
    QVERIFY(answers(babbling) == once);

    const QJsonObject only = instrument("powerSupply", object(R"({"garbage":{"bytes":100,"instead":true}})"));
    QVERIFY(answers(only) == once.mid(0, 1));
}

void TestLabFaults::tunnelAnswersCommands_data()
{
    QTest::addColumn<QJsonObject>("module");
    QTest::addColumn<QByteArray>("sent");
    QTest::addColumn<QByteArray>("answer");
    const QByteArray version = "#MVER:ROVAN-MOTOR:x:1.07\r\n";
    QTest::newRow("serial number") << moduleWith("{}") << QByteArray("MRG:22\r\n")
                                   << QByteArray("21Y08W0131\r\n");
    QTest::newRow("two at once, an unknown one between")
        << moduleWith("{}") << QByteArray("MVER\r\nMOO\r\nMVER\r\n") << version + version;
    QTest::newRow("three parts") << moduleWith(R"({"answers":{"MVER":"#MVER:ROVAN-MOTOR:1.07"}})")
                                 << QByteArray("MVER\r\n") << QByteArray("#MVER:ROVAN-MOTOR:1.07\r\n");
}

void TestLabFaults::tunnelAnswersCommands()
{
    QFETCH(QJsonObject, module);
    QFETCH(QByteArray, sent);
    QFETCH(QByteArray, answer);
    LabProcess lab;
    play(lab, {module});
    Client client;
    QVERIFY(client.connectNow(moduleIp));
    for (const char byte : sent) { // as slowly as a serial line
        client.write(&byte, 1);
        client.flush();
    }
    QCOMPARE(client.readUntil(answer), answer);
    QVERIFY(lab.waitForEvent(QStringLiteral("lineReceived")));
    QCOMPARE(field(lab.events(QStringLiteral("lineReceived")).value(0), "line"),
             QString::fromLatin1(sent.left(sent.indexOf('\r'))));
}

void TestLabFaults::tunnelTakesOneClientAtATime()
{
    LabProcess lab;
    play(lab, {moduleWith("{}")});
    Client first;
    QVERIFY(first.connectNow(moduleIp));
    QVERIFY(lab.waitForEvent(QStringLiteral("connected")));
    Client second;
    QVERIFY(!second.connectNow(moduleIp));
    QCOMPARE(second.error(), QAbstractSocket::ConnectionRefusedError);
    QVERIFY(first.ask("MVER\r\n").startsWith("#MVER")); // the first is not disturbed
    first.disconnectFromHost();
    QVERIFY(lab.waitForEvent(QStringLiteral("disconnected")));
    QVERIFY(second.connectNow(moduleIp));
}

void TestLabFaults::tunnelSendsLongLines_data()
{
    QTest::addColumn<QByteArray>("manner");
    QTest::addColumn<int>("size");
    QTest::addColumn<int>("lineEnd");
    QTest::newRow("endless") << QByteArray("endless") << 300000 << -1;
    QTest::newRow("megabyte") << QByteArray("megabyte") << 1024 * 1024 + 2 << 1024 * 1024;
}

void TestLabFaults::tunnelSendsLongLines()
{
    QFETCH(QByteArray, manner);
    QFETCH(int, size);
    LabProcess lab;
    play(lab, {moduleWith(R"({"manner":")" + manner + "\"}")});
    Client client;
    QVERIFY(client.connectNow(moduleIp));
    client.write("MVER\r\n");
    while (client.bytesAvailable() < size && client.waitForReadyRead(waitMs)) {
    }
    const QByteArray bytes = client.readAll();
    QVERIFY(bytes.size() >= size);
    QTEST(bytes.indexOf('\r'), "lineEnd");
    client.abort();
    QVERIFY(lab.waitForEvent(QStringLiteral("disconnected")));
}

void TestLabFaults::silentTunnelTakesEverything()
{
    LabProcess lab;
    play(lab, {moduleWith(R"({"manner":"silent"})")});
    Client client;
    QVERIFY(client.connectNow(moduleIp));
    client.write("MVER\r\n");
    QVERIFY(client.waitForBytesWritten(waitMs));
    client.disconnectFromHost();
    QVERIFY(lab.waitForEvent(QStringLiteral("disconnected"))); // only now: it stayed until then
    QCOMPARE(client.bytesAvailable(), 0);
    QVERIFY(lab.events(QStringLiteral("lineReceived")).isEmpty());
}

void TestLabFaults::tunnelClosesAtOnce()
{
    LabProcess lab;
    play(lab, {moduleWith(R"({"manner":"closeAtOnce"})")});
    for (int i = 0; i < 2; ++i) {
        Client client;
        QVERIFY(client.connectNow(moduleIp));
        QVERIFY(client.state() == QAbstractSocket::UnconnectedState || client.waitForDisconnected(waitMs));
        QCOMPARE(client.bytesAvailable(), 0);
    }
    QVERIFY(lab.waitForEvent(QStringLiteral("accepted"), 2));
}

void TestLabFaults::tunnelRefuses()
{
    LabProcess lab;
    play(lab, {moduleWith(R"({"manner":"refuse"})")});
    Client client;
    QVERIFY(!client.connectNow(moduleIp));
    QCOMPARE(client.error(), QAbstractSocket::ConnectionRefusedError);
}

QTEST_GUILESS_MAIN(TestLabFaults)
#include "tst_labfaults.moc"
