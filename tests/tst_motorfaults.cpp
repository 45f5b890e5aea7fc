#include "labroom.h"
#include "motorbench.h"

#include <QElapsedTimer>
#include <QTest>

using namespace labroom;
using namespace motorbench;

// How the virtual motor driver fails when a scenario wants it to.
class TestMotorFaults : public QObject
{
    Q_OBJECT

private slots:
    void lineTakesItsTime();
    void dspFaultsShow_data();
    void dspFaultsShow();
    void tunnelFaultsShow();
};

namespace {

// The event says that a client did.
bool leftTheTunnel(const QJsonObject &event)
{
    return field(event, "event") == QLatin1String("disconnected") &&
           event.value(QStringLiteral("port")).toInt() == tunnelPort;
}

} // namespace

void TestMotorFaults::lineTakesItsTime()
{
    MotorLab lab;
    lab.startDriver(R"({"baudrate":38400,"pacedLine":true})");
    QVERIFY(setPins("06"));
    Client tunnel(tunnelPort);
    QElapsedTimer time;
    time.start();
    const QByteArray blanks(384, ' '); // an image may begin with them; 384 bytes take a tenth of a second
    QCOMPARE(tunnel.exchange("a" + blanks + image(), "FF"), "a" + blanks + image().trimmed());
    QVERIFY(time.elapsed() >= 90);
}

void TestMotorFaults::dspFaultsShow_data()
{
    QTest::addColumn<QByteArray>("faults");
    QTest::addColumn<QByteArray>("answer"); // to "a", the image and an erase
    QTest::addColumn<bool>("erased");
    const QByteArray loaded = "a" + image().trimmed();
    QTest::newRow("no newline") << QByteArray(R"({"eraseAnswer":"ackWithoutNewline"})") << loaded + "ACK"
                                << true;
    QTest::newRow("in pieces") << QByteArray(R"({"pieceBytes":1,"pieceMs":1})") << loaded + "ACK\n" << true;
    QTest::newRow("old bytes first") << QByteArray(R"({"oldBytes":"#OLD\r\n"})")
                                     << "#OLD\r\n" + loaded + "ACK\n"
                                     << true;
    QTest::newRow("cut in another connection")
        << QByteArray(R"({"cutAfterBytes":10,"cutConnection":2})") << loaded + "ACK\n"
        << true;
}

void TestMotorFaults::dspFaultsShow()
{
    QFETCH(QByteArray, faults);
    QFETCH(QByteArray, answer);
    QFETCH(bool, erased);
    MotorLab lab;
    lab.startDriver("{\"baudrate\":38400,\"faults\":" + faults + "}");
    QVERIFY(setPins("05"));
    Client tunnel(tunnelPort);
    tunnel.send("a" + image().trimmed() + erasePacket());
    QCOMPARE(tunnel.until(answer), answer);
    QCOMPARE(tunnel.rest(), QByteArray());
    tunnel.hangUp();
    QVERIFY(lab.waitForEvent(leftTheTunnel)); // and with it, everything that was sent was taken
    const QByteArray flash = lab.dump(QStringLiteral("communication"));
    QCOMPARE(flash.count('\xFF') == flash.size(), erased);
}

void TestMotorFaults::tunnelFaultsShow()
{
    MotorLab lab;
    lab.startDriver(
        R"({"faults":{"gpioWrongAnswerAt":4,"cutAfterBytes":6,"cutConnection":1,"oldBytes":""}})");
    {
        Client cut(tunnelPort);
        cut.send("MVER\r\n");
        QVERIFY(cut.isDropped());
        QCOMPARE(lab.events(QStringLiteral("connectionCut")).size(), 1);
    }
    // What the instrument had to say meets the next client.
    QCOMPARE(Client(tunnelPort).until("\n"), QByteArray("#MVER:ROVAN-MOTOR:x:1.07\r\n"));
    Client gpio(gpioPort);
    gpio.exchange(hex("190700000007000000 1A0700000000000000 1B0700000000000000"), hex("1B00000000"));
    QCOMPARE(gpio.exchange(hex("1B0700000005000000"), zeros(3)).toHex(), QByteArray("1b02000000"));
    QCOMPARE(gpio.exchange(hex("130000000000000000"), zeros(4)).toHex(), QByteArray("1300000000"));
}

QTEST_GUILESS_MAIN(TestMotorFaults)
#include "tst_motorfaults.moc"
