#include "labprocess.h"
#include "labroom.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTcpSocket>
#include <QTest>

using namespace labroom;

// The virtual motor driver on the wire: its menu, its pins, its tunnel and its restart.
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
    void silentSetupClientIsDropped();
    void otherSpeedIsNotUnderstood();
    void lineTakesItsTime();
    void menuFaultsShow_data();
    void menuFaultsShow();
    void dspFaultsShow_data();
    void dspFaultsShow();
    void tunnelFaultsShow();
    void dumpRefusesWhatItCannotDo();
    void scenarioIsReadStrictly_data();
    void scenarioIsReadStrictly();

private:
    void start(const char *motor = "{}");
    QByteArray dump(const QString &dsp);

    std::unique_ptr<LabProcess> m_lab;
    QTemporaryDir m_folder;
};

namespace {

const char mac[] = "00:20:4A:AD:64:70";
const char address[] = "192.168.0.60";
constexpr quint16 setupPort = 9999;
constexpr quint16 gpioPort = 30704;
constexpr quint16 tunnelPort = 10001;
constexpr int patienceMs = 10000;
const QByteArray image = ":0400000001020304F2\n:00000001FF\n";
const QByteArray setupEnd("\n\r\0", 3);
const QByteArray menuEnd = "Your choice ? ";
const QByteArray eraseAll = hex("0C0E0E010B0E");

QJsonObject driver(const QJsonObject &motor)
{
    QJsonObject instrument = module(mac, address);
    instrument.insert(QStringLiteral("kind"), QStringLiteral("motorDriver"));
    instrument.insert(QStringLiteral("restartMs"), 300);
    instrument.insert(QStringLiteral("motor"), motor);
    return instrument;
}

// A connection to the motor driver.
struct Client
{
    QTcpSocket socket;
    QByteArray received;

    explicit Client(quint16 port, const char *host = address)
    {
        socket.connectToHost(QString::fromLatin1(host), port);
        socket.waitForConnected(patienceMs);
    }

    bool isConnected() const { return socket.state() == QAbstractSocket::ConnectedState; }

    // Reads until `end` stands at the end of what came since the last call; what came.
    QByteArray until(const QByteArray &end)
    {
        while (!received.endsWith(end) &&
               (socket.bytesAvailable() > 0 || socket.waitForReadyRead(patienceMs))) {
            received += socket.readAll();
        }
        return std::exchange(received, {});
    }

    QByteArray exchange(const QByteArray &bytes, const QByteArray &end)
    {
        socket.write(bytes);
        socket.flush();
        return until(end);
    }

    void send(const QByteArray &bytes)
    {
        socket.write(bytes);
        QVERIFY(socket.bytesToWrite() == 0 || socket.waitForBytesWritten(patienceMs));
    }

    bool isRefused() const { return socket.error() == QAbstractSocket::ConnectionRefusedError; }

    bool isDropped()
    {
        socket.waitForDisconnected(patienceMs);
        return socket.state() == QAbstractSocket::UnconnectedState;
    }
};

// Through the menu to another speed, as a person in a hurry types it.
void setBaudrate(const QByteArray &rate)
{
    Client setup(setupPort);
    setup.until(setupEnd);
    setup.exchange("\r\n", menuEnd);
    setup.exchange("1\r\n" + rate + "\r\n" + QByteArray("\r\n").repeated(18), menuEnd);
    QVERIFY(setup.exchange("9\r\n", setupEnd).contains("Parameters stored ..."));
    QVERIFY(setup.isDropped());
}

void setPins(const char *state)
{
    Client gpio(gpioPort);
    QCOMPARE(gpio.exchange(hex("190700000007000000"), QByteArray(3, '\0')).toHex(), QByteArray("1907000000"));
    QCOMPARE(gpio.exchange(hex("1A0700000000000000"), QByteArray(4, '\0')).toHex(), QByteArray("1a00000000"));
    QCOMPARE(gpio.exchange(hex("1B0700000000000000"), QByteArray(4, '\0')).toHex(), QByteArray("1b00000000"));
    QCOMPARE(gpio.exchange(hex("1B07000000") + hex(state), QByteArray(3, '\0')), hex("1B") + hex(state));
}

// A page of words that are all different, and its packets.
QByteArray pageWords(int page)
{
    QByteArray words;
    for (int i = 0; i < 256; ++i) {
        words.append(char(i)).append(char(page));
    }
    return words;
}

QByteArray pagePackets(const char *wordAddress, const QByteArray &words)
{
    QByteArray packets = hex("0C0E0A0400") + hex(wordAddress) + hex("0E");
    for (int i = 0; i < words.size(); i += 32) {
        packets += hex("0C0E0C20") + words.mid(i, 32) + hex("0E");
    }
    return packets + hex("0C0E0B000E");
}

} // namespace

void TestMotorDriver::start(const char *motor)
{
    QJsonObject fast = object(R"({"eraseMs":0,"pageWriteMs":0,"storeMs":0,"pacedLine":false})");
    const QJsonObject given = object(motor);
    for (auto key = given.constBegin(); key != given.constEnd(); ++key) {
        fast.insert(key.key(), *key);
    }
    m_lab = std::make_unique<LabProcess>();
    QVERIFY2(m_lab->start(scenarioOf({driver(fast)})), qPrintable(m_lab->errorText()));
}

QByteArray TestMotorDriver::dump(const QString &dsp)
{
    const QString path = m_folder.filePath(dsp);
    m_lab->command({{QStringLiteral("command"), QStringLiteral("dumpFlash")},
                    {QStringLiteral("mac"), QLatin1String(mac)},
                    {QStringLiteral("dsp"), dsp},
                    {QStringLiteral("path"), path}});
    m_lab->waitForEvent(QStringLiteral("flashDumped"),
                        m_lab->events(QStringLiteral("flashDumped")).size() + 1);
    QFile file(path);
    file.open(QIODevice::ReadOnly);
    return file.readAll();
}

void TestMotorDriver::takesAWholeUpdate_data()
{
    QTest::addColumn<QByteArray>("pins");
    QTest::addColumn<QString>("dsp");
    QTest::addColumn<QString>("other");
    QTest::newRow("communication") << QByteArray("05000000") << "communication"
                                   << "control";
    QTest::newRow("control") << QByteArray("06000000") << "control"
                             << "communication";
}

void TestMotorDriver::takesAWholeUpdate()
{
    QFETCH(QByteArray, pins);
    QFETCH(QString, dsp);
    QFETCH(QString, other);
    start();
    const QByteArray before = dump(other);
    QCOMPARE(before.size(), 2 * 0x11000);
    setBaudrate("38400");
    QVERIFY(Client(tunnelPort).isRefused());
    QVERIFY(m_lab->waitForEvent(QStringLiteral("rebooted")));
    setPins(pins);
    {
        Client loader(tunnelPort);
        QCOMPARE(loader.exchange("a", "a"), QByteArray("a"));
        QCOMPARE(loader.exchange(image, "FF"), image.trimmed());
    }
    {
        Client tunnel(tunnelPort);
        QCOMPARE(tunnel.exchange(eraseAll, "\n"), QByteArray("ACK\n"));
        QCOMPARE(tunnel.exchange(pagePackets("3E8000", pageWords(1)), "\n"), QByteArray("ACK\n"));
        QCOMPARE(tunnel.exchange(pagePackets("3F7F00", pageWords(2)), "\n"), QByteArray("ACK\n"));
    }
    QByteArray expected(2 * 0x11000, '\xFF');
    expected.replace(0, 512, pageWords(1));
    expected.replace(2 * (0x3F7F00 - 0x3E8000), 512, pageWords(2));
    QCOMPARE(dump(dsp), expected);
    QCOMPARE(dump(other), before);
    setBaudrate("921600");
    QVERIFY(m_lab->waitForEvent(QStringLiteral("rebooted"), 2));
    setPins("07000000");
    QCOMPARE(Client(tunnelPort).exchange("MVER\r\n", "\n"), QByteArray("#MVER:ROVAN-MOTOR:x:1.07\r\n"));
    QVector<int> stored;
    for (const QJsonObject &event : m_lab->events(QStringLiteral("parametersStored"))) {
        stored.append(event.value(QStringLiteral("baudrate")).toInt());
    }
    QCOMPARE(stored, (QVector<int>{38400, 921600}));
}

void TestMotorDriver::servesOneClientAtATime_data()
{
    QTest::addColumn<quint16>("port");
    QTest::addColumn<QString>("connected");
    QTest::addColumn<QString>("disconnected");
    QTest::newRow("setup") << setupPort << "setupConnected"
                           << "setupDisconnected";
    QTest::newRow("tunnel") << tunnelPort << "tunnelConnected"
                            << "tunnelDisconnected";
}

void TestMotorDriver::servesOneClientAtATime()
{
    QFETCH(quint16, port);
    QFETCH(QString, connected);
    QFETCH(QString, disconnected);
    start();
    Client first(port);
    QVERIFY(m_lab->waitForEvent(connected));
    QVERIFY(Client(port).isRefused());
    QVERIFY(Client(port).isRefused());
    Client gpio(gpioPort); // beside any other, and beside itself
    Client gpioToo(gpioPort);
    QCOMPARE(gpio.exchange(hex("100000000000000000"), QByteArray(3, '\0')).toHex(), QByteArray("1007000000"));
    QCOMPARE(gpioToo.exchange(hex("110000000000000000"), QByteArray(4, '\0')).toHex(),
             QByteArray("1100000000"));
    QVERIFY(first.isConnected());
    first.socket.disconnectFromHost();
    QVERIFY(m_lab->waitForEvent(disconnected));
    QVERIFY(Client(port).isConnected());
    QVERIFY(m_lab->waitForEvent(connected, 2));
}

void TestMotorDriver::whoCallsAgainAtOnceGetsThrough()
{
    start();
    for (int i = 0; i < 200; ++i) {
        Client client(tunnelPort);
        QVERIFY2(client.isConnected(), qPrintable(client.socket.errorString()));
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
    start();
    Client whole(gpioPort);
    QCOMPARE(whole.exchange(commands, answers).toHex(), answers.toHex());
    m_lab->command(
        {{QStringLiteral("command"), QStringLiteral("reboot")}, {QStringLiteral("mac"), QLatin1String(mac)}});
    QVERIFY(m_lab->waitForEvent(QStringLiteral("rebooted")));
    Client pieces(gpioPort);
    for (const char byte : commands) {
        pieces.send(QByteArray(1, byte));
    }
    QCOMPARE(pieces.until(answers).toHex(), answers.toHex());
    QCOMPARE(m_lab->events(QStringLiteral("gpioCommand")).size(), 2 * commands.size() / 9);
}

void TestMotorDriver::pinsForgetAtARestart()
{
    start();
    setPins("05000000");
    Client open(gpioPort);
    setBaudrate("38400");
    QVERIFY(open.isDropped());
    QVERIFY(m_lab->waitForEvent(QStringLiteral("rebooted")));
    Client gpio(gpioPort);
    QCOMPARE(gpio.exchange(hex("110000000000000000"), QByteArray(4, '\0')).toHex(), QByteArray("1100000000"));
    QCOMPARE(gpio.exchange(hex("130000000000000000"), QByteArray(3, '\0')).toHex(), QByteArray("1307000000"));
    // The pins are high again, but the DSP was not reset: it still waits for its boot loader.
    QCOMPARE(Client(tunnelPort).exchange("a", "a"), QByteArray("a"));
}

void TestMotorDriver::menuMovesTheModule()
{
    start();
    Client setup(setupPort);
    setup.until(setupEnd);
    setup.exchange("\r\n", menuEnd);
    setup.exchange("0\r\n\r\n\r\n\r\n77\r\nN\r\nN", menuEnd);
    setup.exchange("1\r\n\r\n\r\n\r\n10002\r\n" + QByteArray("\r\n").repeated(15), menuEnd);
    setup.exchange("6\r\n\r\n\r\n\r\n\r\n\r\n\r\n\r\n\r\n\r\nY", menuEnd);
    setup.exchange("9\r\n", setupEnd);
    QVERIFY(m_lab->waitForEvent(QStringLiteral("rebooted")));
    QCOMPARE(field(m_lab->events(QStringLiteral("addressChanged")).value(0), "to"),
             QStringLiteral("192.168.0.77"));
    QVERIFY(Client(tunnelPort, "192.168.0.77").isRefused());
    QVERIFY(Client(gpioPort, "192.168.0.77").isRefused());
    QCOMPARE(Client(10002, "192.168.0.77").exchange("MRG:22\r\n", "\n"), QByteArray("21Y08W0131\r\n"));
}

void TestMotorDriver::menuThatIsNotSavedChangesNothing()
{
    start();
    for (const char *end : {"", "8\r\n"}) { // hung up in the menu, or left without saving
        Client setup(setupPort);
        setup.until(setupEnd);
        setup.exchange("\r\n", menuEnd);
        setup.exchange("1\r\n38400\r\n" + QByteArray("\r\n").repeated(18), menuEnd);
        setup.send(end);
    }
    Client setup(setupPort);
    setup.until(setupEnd);
    QVERIFY(setup.exchange("\r\n", menuEnd).contains("Baudrate 921600, "));
    setup.send("8\r\n");
    QVERIFY(setup.isDropped());
    QVERIFY(m_lab->events(QStringLiteral("parametersStored")).isEmpty());
}

void TestMotorDriver::silentSetupClientIsDropped()
{
    start(R"({"windowMs":50})");
    Client silent(setupPort);
    QVERIFY(silent.isDropped());
    QVERIFY(silent.socket.readAll().endsWith(setupEnd));
}

void TestMotorDriver::otherSpeedIsNotUnderstood()
{
    start(R"({"baudrate":38400})");
    Client tunnel(tunnelPort);
    tunnel.send("MVER\r\n");
    QVERIFY(m_lab->waitForEvent(QStringLiteral("serialGarbled")));
    QVERIFY(m_lab->events(QStringLiteral("lineReceived")).isEmpty());
    setPins("06000000");
    QCOMPARE(tunnel.exchange("a", "a"), QByteArray("a"));
}

void TestMotorDriver::lineTakesItsTime()
{
    start(R"({"baudrate":38400,"pacedLine":true})");
    setPins("06000000");
    Client tunnel(tunnelPort);
    QElapsedTimer time;
    time.start();
    const QByteArray blanks(384, ' '); // an image may begin with them; 384 bytes take a tenth of a second
    QCOMPARE(tunnel.exchange("a" + blanks + image, "FF"), "a" + blanks + image.trimmed());
    QVERIFY(time.elapsed() >= 90);
}

void TestMotorDriver::menuFaultsShow_data()
{
    QTest::addColumn<QByteArray>("motor");
    QTest::addColumn<QByteArray>("keys");
    QTest::addColumn<QByteArray>("end");
    QTest::addColumn<bool>(
        "shown"); // the end comes, else the connection breaks or the text never stands there
    QTest::newRow("fewer prompts") << QByteArray(R"({"faults":{"channelPrompts":7}})")
                                   << "\r\n1\r\n" + QByteArray("\r\n").repeated(7) << menuEnd << true;
    QTest::newRow("refused rate") << QByteArray(R"({"faults":{"refusedBaudrate":38400}})")
                                  << QByteArray("\r\n1\r\n38400\r\n")
                                  << QByteArray("\r\0\nBaudrate (921600) ? ", 22) << true;
    QTest::newRow("regular processor")
        << QByteArray(R"({"baudrate":38400,"highPerformance":false})") << QByteArray("\r\n1\r\n921600\r\n")
        << QByteArray("Enable High Performance (N) ? ") << true;
    QTest::newRow("banner in two pieces")
        << QByteArray(R"({"faults":{"bannerPauseMs":50}})") << QByteArray("\r\n") << menuEnd << true;
    QTest::newRow("answers in pieces") << QByteArray(R"({"faults":{"pieceBytes":100,"pieceMs":1}})")
                                       << QByteArray("\r\n") << menuEnd << true;
    QTest::newRow("hidden text") << QByteArray(R"({"faults":{"hiddenText":"Your choice ?"}})")
                                 << QByteArray("\r\n1\r\n") << QByteArray("Baudrate (921600) ? ") << true;
    QTest::newRow("connection cut") << QByteArray(R"({"faults":{"setupCutAfterBytes":4}})")
                                    << QByteArray("\r\n1\r\n") << QByteArray("Baudrate (921600) ? ") << false;
}

void TestMotorDriver::menuFaultsShow()
{
    QFETCH(QByteArray, motor);
    QFETCH(QByteArray, keys);
    QFETCH(QByteArray, end);
    QFETCH(bool, shown);
    start(motor.constData());
    Client setup(setupPort);
    const QByteArray screen = setup.exchange(keys, end);
    QCOMPARE(screen.endsWith(end), shown);
    QCOMPARE(setup.isConnected(), shown);
    QCOMPARE(screen.contains("Your choice ?"), shown && !motor.contains("hiddenText"));
}

void TestMotorDriver::dspFaultsShow_data()
{
    QTest::addColumn<QByteArray>("faults");
    QTest::addColumn<QByteArray>("answer"); // to "a", the image and an erase
    QTest::addColumn<bool>("erased");
    const QByteArray loaded = "a" + image.trimmed();
    QTest::newRow("none") << QByteArray("{}") << loaded + "ACK\n" << true;
    QTest::newRow("no autobaud") << QByteArray(R"({"noAutobaud":true})") << QByteArray() << false;
    QTest::newRow("nak") << QByteArray(R"({"eraseAnswer":"nak"})") << loaded + "NAK\n" << false;
    QTest::newRow("no newline") << QByteArray(R"({"eraseAnswer":"ackWithoutNewline"})") << loaded + "ACK"
                                << true;
    QTest::newRow("silent") << QByteArray(R"({"eraseAnswer":"silent"})") << loaded << false;
    QTest::newRow("in pieces") << QByteArray(R"({"pieceBytes":1,"pieceMs":1})") << loaded + "ACK\n" << true;
    QTest::newRow("old bytes first") << QByteArray(R"({"oldBytes":"#OLD\r\n"})")
                                     << "#OLD\r\n" + loaded + "ACK\n"
                                     << true;
    QTest::newRow("cut in the image") << QByteArray(R"({"cutAfterBytes":10})") << loaded.left(10) << false;
    QTest::newRow("cut in another connection")
        << QByteArray(R"({"cutAfterBytes":10,"cutConnection":2})") << loaded + "ACK\n"
        << true;
}

void TestMotorDriver::dspFaultsShow()
{
    QFETCH(QByteArray, faults);
    QFETCH(QByteArray, answer);
    QFETCH(bool, erased);
    start("{\"baudrate\":38400,\"faults\":" + faults + "}");
    setPins("05000000");
    Client tunnel(tunnelPort);
    tunnel.send("a" + image.trimmed() + eraseAll);
    QCOMPARE(tunnel.until(answer), answer);
    const QByteArray flash = dump(QStringLiteral("communication")); // all was taken when this is answered
    QCOMPARE(flash.count('\xFF') == flash.size(), erased);
    tunnel.socket.disconnectFromHost();
    QVERIFY(m_lab->waitForEvent(QStringLiteral("tunnelDisconnected")));
    QCOMPARE(tunnel.socket.readAll(), QByteArray());
}

void TestMotorDriver::tunnelFaultsShow()
{
    start(R"({"faults":{"gpioWrongAnswerAt":4,"cutAfterBytes":6,"cutConnection":1,"oldBytes":""}})");
    {
        Client cut(tunnelPort);
        cut.send("MVER\r\n");
        QVERIFY(cut.isDropped());
        QCOMPARE(m_lab->events(QStringLiteral("tunnelCut")).size(), 1);
    }
    // What the instrument had to say meets the next client.
    QCOMPARE(Client(tunnelPort).until("\n"), QByteArray("#MVER:ROVAN-MOTOR:x:1.07\r\n"));
    Client gpio(gpioPort);
    gpio.exchange(hex("190700000007000000 1A0700000000000000 1B0700000000000000"), hex("1B00000000"));
    QCOMPARE(gpio.exchange(hex("1B0700000005000000"), QByteArray(3, '\0')).toHex(), QByteArray("1b02000000"));
    QCOMPARE(gpio.exchange(hex("130000000000000000"), QByteArray(4, '\0')).toHex(), QByteArray("1300000000"));
}

void TestMotorDriver::dumpRefusesWhatItCannotDo()
{
    start();
    QJsonObject command{{QStringLiteral("command"), QStringLiteral("dumpFlash")},
                        {QStringLiteral("mac"), QLatin1String(mac)},
                        {QStringLiteral("dsp"), QStringLiteral("third")},
                        {QStringLiteral("path"), m_folder.filePath(QStringLiteral("no/such/folder"))}};
    m_lab->command(command);
    command.insert(QStringLiteral("dsp"), QStringLiteral("control"));
    m_lab->command(command);
    QVERIFY(m_lab->waitForEvent(QStringLiteral("commandFailed"), 2));
    m_lab->command(
        {{QStringLiteral("command"), QStringLiteral("state")}, {QStringLiteral("mac"), QLatin1String(mac)}});
    QVERIFY(m_lab->waitForEvent(QStringLiteral("state")));
    const QJsonObject state = m_lab->events(QStringLiteral("state")).first();
    QCOMPARE(state.value(QStringLiteral("motor")).toObject().value(QStringLiteral("pins")).toString(),
             QStringLiteral("normal"));
    QVERIFY(m_lab->events(QStringLiteral("flashDumped")).isEmpty());
}

void TestMotorDriver::scenarioIsReadStrictly_data()
{
    QTest::addColumn<QByteArray>("motor");
    QTest::newRow("unknown key") << QByteArray(R"({"erase":1})");
    QTest::newRow("unknown fault") << QByteArray(R"({"faults":{"nak":true}})");
    QTest::newRow("no such rate") << QByteArray(R"({"baudrate":14400})");
    QTest::newRow("no such sector") << QByteArray(R"({"erasedSectors":"ABE"})");
    QTest::newRow("no such answer") << QByteArray(R"({"faults":{"eraseAnswer":"maybe"}})");
    QTest::newRow("answer that is no text") << QByteArray(R"({"answers":{"MVER":1}})");
}

void TestMotorDriver::scenarioIsReadStrictly()
{
    QFETCH(QByteArray, motor);
    LabProcess lab;
    QVERIFY(!lab.start(scenarioOf({driver(object(motor.constData()))})));
    QVERIFY2(lab.errorText().contains(QLatin1String(mac)), qPrintable(lab.errorText()));
}

QTEST_GUILESS_MAIN(TestMotorDriver)
#include "tst_motordriver.moc"
