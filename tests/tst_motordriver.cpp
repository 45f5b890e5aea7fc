#include "labroom.h"
#include "motorbench.h"

#include <QTest>

using namespace labroom;
using namespace motorbench;

// The virtual motor driver on the wire: a whole update, its ports, its pins and its menu.
class TestMotorDriver : public QObject
{
    Q_OBJECT

private slots:
    void takesAWholeUpdate_data();
    void takesAWholeUpdate();
    void servesOneClientAtATime_data();
    void servesOneClientAtATime();
    void whoCallsAgainAtOnceGetsThrough();
    void pinsAnswerForAllOfThem_data();
    void pinsAnswerForAllOfThem();
    void pinsForgetAtARestart();
    void menuMovesTheModule();
    void menuThatIsNotSavedChangesNothing();
    void newSpeedWaitsForTheRestart();
    void silentSetupClientIsDropped();
};

void TestMotorDriver::takesAWholeUpdate_data()
{
    QTest::addColumn<QByteArray>("pins");
    QTest::addColumn<QString>("dsp");
    QTest::addColumn<QString>("other");
    QTest::newRow("communication") << QByteArray("05") << "communication"
                                   << "control";
    QTest::newRow("control") << QByteArray("06") << "control"
                             << "communication";
}

void TestMotorDriver::takesAWholeUpdate()
{
    QFETCH(QByteArray, pins);
    QFETCH(QString, dsp);
    QFETCH(QString, other);
    MotorLab lab;
    lab.startDriver("{}", 1500);
    const QByteArray before = lab.dump(other);
    QVERIFY(setBaudrate("38400"));
    int refusals = 0;
    while (Client(tunnelPort).isRefused()) {
        ++refusals;
    }
    QVERIFY(refusals >= 2); // for all of the restart, not only until the address is gone
    QVERIFY(lab.waitForEvent(QStringLiteral("rebooted")));
    QVERIFY(setPins(pins.constData()));
    {
        Client loader(tunnelPort);
        QCOMPARE(loader.exchange("a", "a"), QByteArray("a"));
        QCOMPARE(loader.exchange(image(), "FF"), image().trimmed());
    }
    {
        Client tunnel(tunnelPort);
        QCOMPARE(tunnel.exchange(erasePacket(), "\n"), QByteArray("ACK\n"));
        QCOMPARE(tunnel.exchange(pagePackets("3E8000", pageWords(1)), "\n"), QByteArray("ACK\n"));
        QCOMPARE(tunnel.exchange(pagePackets("3F7F00", pageWords(2)), "\n"), QByteArray("ACK\n"));
    }
    QByteArray expected(flashBytes, '\xFF');
    expected.replace(0, 512, pageWords(1));
    expected.replace(2 * (0x3F7F00 - 0x3E8000), 512, pageWords(2));
    QCOMPARE(lab.dump(dsp), expected);
    QCOMPARE(lab.dump(other), before);
    QVERIFY(setBaudrate("921600"));
    QVERIFY(lab.waitForEvent(QStringLiteral("rebooted"), 2));
    QVERIFY(setPins("07"));
    QCOMPARE(Client(tunnelPort).exchange("MVER\r\n", "\n"), QByteArray("#MVER:ROVAN-MOTOR:x:1.07\r\n"));
    QVector<int> stored;
    for (const QJsonObject &event : lab.events(QStringLiteral("parametersStored"))) {
        stored.append(event.value(QStringLiteral("baudrate")).toInt());
    }
    QCOMPARE(stored, (QVector<int>{38400, 921600}));
}

void TestMotorDriver::servesOneClientAtATime_data()
{
    QTest::addColumn<quint16>("port");
    QTest::newRow("setup") << setupPort;
    QTest::newRow("tunnel") << tunnelPort;
}

void TestMotorDriver::servesOneClientAtATime()
{
    QFETCH(quint16, port);
    MotorLab lab;
    lab.startDriver();
    Client first(port);
    QVERIFY(lab.waitForEvent(QStringLiteral("connected")));
    for (int i = 1; i <= 2; ++i) {
        Client second(port);
        QVERIFY(second.isDropped());
        QCOMPARE(second.rest(), QByteArray());
        QVERIFY(lab.waitForEvent(QStringLiteral("refused"), i));
    }
    Client gpio(gpioPort); // beside any other, and beside itself
    Client gpioToo(gpioPort);
    QCOMPARE(gpio.exchange(hex("100000000000000000"), zeros(3)).toHex(), QByteArray("1007000000"));
    QCOMPARE(gpioToo.exchange(hex("110000000000000000"), zeros(4)).toHex(), QByteArray("1100000000"));
    QVERIFY(first.isConnected());
    QVERIFY(lab.waitForEvent(QStringLiteral("connected"), 3));
    first.hangUp();
    Client third(port);
    QVERIFY(lab.waitForEvent(QStringLiteral("connected"), 4));
}

void TestMotorDriver::whoCallsAgainAtOnceGetsThrough()
{
    MotorLab lab;
    lab.startDriver();
    for (int i = 0; i < 200; ++i) {
        Client client(tunnelPort);
        QVERIFY2(client.isConnected(), qPrintable(client.errorText()));
        QCOMPARE(client.exchange("MRG:22\r\n", "\n"), QByteArray("21Y08W0131\r\n"));
    }
}

void TestMotorDriver::pinsAnswerForAllOfThem_data()
{
    QTest::addColumn<QByteArray>("commands");
    QTest::addColumn<QByteArray>("answers");
    const auto row = [](const char *name, const char *commands, const char *answers) {
        QTest::newRow(name) << hex(commands) << hex(answers);
    };
    row("inputs are pulled high", "110000000000000000 130000000000000000", "1100000000 1307000000");
    row("outputs begin inactive", "190700000007000000 130000000000000000", "1907000000 1300000000");
    row("only what is masked changes, all is told",
        "190700000007000000 1B0700000005000000 1B0100000000000000", "1907000000 1B05000000 1B04000000");
    row("active low turns a state over",
        "190700000007000000 1B0200000002000000 1A0100000001000000 "
        "120000000000000000 130000000000000000",
        "1907000000 1B02000000 1A01000000 1201000000 1302000000");
    row("pins there are none of", "19FFFFFFFFFFFFFFFF", "1907000000");
    row("unknown commands", "140000000000000000 1C0700000007000000 130000000000000000", "FF FF 1307000000");
}

void TestMotorDriver::pinsAnswerForAllOfThem()
{
    QFETCH(QByteArray, commands);
    QFETCH(QByteArray, answers);
    MotorLab lab;
    lab.startDriver();
    Client whole(gpioPort);
    QCOMPARE(whole.exchange(commands, answers).toHex(), answers.toHex());
    lab.order("reboot");
    QVERIFY(lab.waitForEvent(QStringLiteral("rebooted")));
    Client pieces(gpioPort);
    for (const char byte : commands) {
        pieces.send(QByteArray(1, byte));
    }
    QCOMPARE(pieces.until(answers).toHex(), answers.toHex());
    QCOMPARE(lab.events(QStringLiteral("gpioCommand")).size(), 2 * commands.size() / 9);
}

void TestMotorDriver::pinsForgetAtARestart()
{
    MotorLab lab;
    lab.startDriver();
    QVERIFY(setPins("05"));
    Client open(gpioPort);
    QVERIFY(setBaudrate("38400"));
    QVERIFY(open.isDropped());
    QVERIFY(lab.waitForEvent(QStringLiteral("rebooted")));
    Client gpio(gpioPort);
    QCOMPARE(gpio.exchange(hex("110000000000000000"), zeros(4)).toHex(), QByteArray("1100000000"));
    QCOMPARE(gpio.exchange(hex("130000000000000000"), zeros(3)).toHex(), QByteArray("1307000000"));
    // The pins are high again, but the DSP was not reset: it still waits for its boot loader.
    QCOMPARE(Client(tunnelPort).exchange("a", "a"), QByteArray("a"));
}

void TestMotorDriver::menuMovesTheModule()
{
    MotorLab lab;
    lab.startDriver();
    Setup setup;
    setup.exchange("0\r\n\r\n\r\n\r\n77\r\nN\r\nN", menuEnd());
    setup.exchange("1\r\n\r\n\r\n\r\n10002\r\n" + QByteArray("\r\n").repeated(15), menuEnd());
    setup.exchange("6\r\n\r\n\r\n\r\n\r\n\r\n\r\n\r\n\r\n\r\nY", menuEnd());
    setup.exchange("9\r\n", lineEnd());
    QVERIFY(lab.waitForEvent(QStringLiteral("rebooted")));
    QCOMPARE(field(lab.events(QStringLiteral("addressChanged")).value(0), "to"),
             QStringLiteral("192.168.0.77"));
    QVERIFY(Client(tunnelPort, "192.168.0.77").isRefused());
    QVERIFY(Client(gpioPort, "192.168.0.77").isRefused());
    QCOMPARE(Client(10002, "192.168.0.77").exchange("MRG:22\r\n", "\n"), QByteArray("21Y08W0131\r\n"));
}

void TestMotorDriver::menuThatIsNotSavedChangesNothing()
{
    MotorLab lab;
    lab.startDriver();
    for (const char *end : {"", "8\r\n"}) { // hung up in the menu, or left without saving
        Setup setup;
        setup.typeBaudrate("38400");
        setup.send(end);
    }
    Client setup(setupPort);
    setup.until(lineEnd());
    QVERIFY(setup.exchange("\r\n", menuEnd()).contains("Baudrate 921600, "));
    setup.send("8\r\n");
    QVERIFY(setup.isDropped());
    QVERIFY(lab.events(QStringLiteral("parametersStored")).isEmpty());
}

void TestMotorDriver::newSpeedWaitsForTheRestart()
{
    MotorLab lab;
    lab.startDriver(R"({"storeMs":600000})");
    Setup setup;
    setup.typeBaudrate("38400");
    QVERIFY(setup.exchange("9\r\n", lineEnd()).contains("Parameters stored ..."));
    QCOMPARE(Client(tunnelPort).exchange("MRG:22\r\n", "\n"), QByteArray("21Y08W0131\r\n"));
}

void TestMotorDriver::silentSetupClientIsDropped()
{
    MotorLab lab;
    lab.startDriver(R"({"windowMs":1500})");
    Client silent(setupPort);
    QVERIFY(silent.isDropped());
    Client awake(setupPort);
    awake.exchange("\r\n", menuEnd());
    QVERIFY(!awake.isDropped(3000)); // two windows long
    QVERIFY(silent.rest().endsWith(lineEnd()));
}

QTEST_GUILESS_MAIN(TestMotorDriver)
#include "tst_motordriver.moc"
