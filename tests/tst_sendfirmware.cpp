#include "hextext.h"
#include "quickpacing.h"
#include "scriptedpeer.h"
#include "sendfirmware.h"
#include "threadrun.h"

#include <QElapsedTimer>
#include <QFile>
#include <QSemaphore>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

#include <sys/socket.h>

// The boot loader's dialogue against peers that play a DSP behind its tunnel: the bytes of each
// packet, the pages, and how every failure ends.
class TestSendFirmware : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void pagesCrossTheWire();
    void everyFiftyFirstPacketMovesTheBar();
    void eraseIsJudgedByItsReply_data();
    void eraseIsJudgedByItsReply();
    void answerWithinTheFirstWaitStaysForTheNextReply();
    void blocksOutsideTheFlashAreRefused_data();
    void blocksOutsideTheFlashAreRefused();
    void uselessFileOpensNoConnection_data();
    void uselessFileOpensNoConnection();
    void droppedLinesAreTold();
    void lostConnectionIsNoCompletion_data();
    void lostConnectionIsNoCompletion();
    void stalledConnectionIsNoCompletion();
    void unreachableHostFails();
    void verifyReadsTheAnswers_data();
    void verifyReadsTheAnswers();
    void interruptionIsHonouredUntilTheErase_data();
    void interruptionIsHonouredUntilTheErase();

private:
    struct Report
    {
        QStringList errors;
        QStringList messages;
        int steps = 0;
    };

    void follow(const SendFirmware &sender, Report *report);
    Report program(const QString &host, quint16 port, const Pacing &pacing = quickPacing());
    Report program(const ScriptedPeer &peer, const Pacing &pacing = quickPacing())
    {
        return program(loopback, peer.port(), pacing);
    }
    void useFile(const QByteArray &content);
    void useBlocks(const QVector<QPair<quint32, QByteArray>> &blocks) { useFile(hexText(blocks)); }

    const QString loopback = QStringLiteral("127.0.0.1");
    QTemporaryDir folder;
    QString hexFile;
};

namespace {

using Connection = ScriptedPeer::Connection;

const QByteArray erasePacket = QByteArray::fromHex("0C0E0E010B0E");
const QByteArray endOfPage = QByteArray::fromHex("0C0E0B000E");
const QString outside = QStringLiteral("ERROR: address are outside the programmable address range");

// Behind the first wait for a reply, also where we are held up before it, and well within the second.
constexpr int answerMs = 600;

// Takes the erase and answers.
void erase(Connection &dsp)
{
    dsp.read(erasePacket.size());
    dsp.wait(answerMs);
    dsp.send("ACK\n");
}

QByteArray addressPacket(quint32 address)
{
    return QByteArray::fromHex("0C0E0A04" + QByteArray::number(address, 16).rightJustified(8, '0') + "0E");
}

QByteArray dataPackets(const QByteArray &data)
{
    QByteArray bytes;
    for (int at = 0; at < data.size(); at += 32) {
        const QByteArray part = data.mid(at, 32);
        bytes += QByteArray::fromHex("0C0E0C") + static_cast<char>(part.size()) + part + '\x0E';
    }
    return bytes;
}

QByteArray counting(int size)
{
    QByteArray bytes;
    for (int i = 0; i < size; ++i) {
        bytes.append(static_cast<char>(i * 7));
    }
    return bytes;
}

} // namespace

void TestSendFirmware::initTestCase()
{
    QVERIFY(qEnvironmentVariableIsSet("LAB_NET"));
    QVERIFY(folder.isValid());
    hexFile = folder.filePath(QStringLiteral("firmware.hex"));
}

void TestSendFirmware::useFile(const QByteArray &content)
{
    QFile file(hexFile);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(content), qint64(content.size()));
}

void TestSendFirmware::follow(const SendFirmware &sender, Report *report)
{
    connect(
        &sender, &SendFirmware::signalErrorDetected, &sender,
        [report](const QString &text) { report->errors << text; }, Qt::DirectConnection);
    connect(
        &sender, &SendFirmware::signalPrintMessage, &sender,
        [report](const QString &text) { report->messages << text; }, Qt::DirectConnection);
    connect(
        &sender, &SendFirmware::signalIncreaseProgressBar, &sender, [report] { ++report->steps; },
        Qt::DirectConnection);
}

TestSendFirmware::Report TestSendFirmware::program(const QString &host, quint16 port, const Pacing &pacing)
{
    XPortPorts ports;
    ports.tunnel = port;
    SendFirmware sender(nullptr, pacing, ports);
    Report report;
    follow(sender, &report);
    sender.program(hexFile, host);
    return report;
}

void TestSendFirmware::pagesCrossTheWire()
{
    const QByteArray first = counting(600);
    const QByteArray second = counting(32);
    useBlocks({{0x3e8000, first}, {0x3f8f00, second}});
    const ScriptedPeer dsp(erase);
    const Report report = program(dsp);
    QCOMPARE(report.errors, QStringList());
    QCOMPARE(report.messages,
             (QStringList{QStringLiteral("Send Erase Packet..."), QStringLiteral("Erase Timeout 20s"),
                          QStringLiteral("Memory erased!"), QStringLiteral("Write memory..."),
                          QStringLiteral("Writing completed!")}));
    const QByteArray expected = erasePacket + addressPacket(0x3e8000) + dataPackets(first.left(512)) +
                                endOfPage + addressPacket(0x3e8100) + dataPackets(first.mid(512)) +
                                endOfPage + addressPacket(0x3f8f00) + dataPackets(second) + endOfPage;
    QTRY_COMPARE(dsp.received().toHex(), expected.toHex());
}

void TestSendFirmware::everyFiftyFirstPacketMovesTheBar()
{
    const int beforeWriting = 3; // start, file read, erase
    const QVector<QPair<int, int>> rows{{51 * 32, 0}, {51 * 32 + 1, 1}, {102 * 32, 1}, {102 * 32 + 1, 2}};
    for (const auto &[size, moves] : rows) {
        useBlocks({{0x3e8000, counting(size)}});
        QCOMPARE(program(ScriptedPeer(erase)).steps, beforeWriting + moves);
    }
}

void TestSendFirmware::eraseIsJudgedByItsReply_data()
{
    QTest::addColumn<QByteArrayList>("pieces");
    QTest::addColumn<bool>("erased");
    QTest::newRow("in pieces") << QByteArrayList{"A", "CK", "\n"} << true;
    QTest::newRow("text ends at a zero byte") << QByteArrayList{QByteArray("ACK\n\0rest", 9)} << true;
    QTest::newRow("no line feed") << QByteArrayList{"ACK"} << false;
    QTest::newRow("refused") << QByteArrayList{"NAK\n"} << false;
    QTest::newRow("lower case") << QByteArrayList{"ack\n"} << false;
    QTest::newRow("twice") << QByteArrayList{"ACK\n", "ACK\n"} << false;
    QTest::newRow("silence") << QByteArrayList{} << false;
    QTest::newRow("cut") << QByteArrayList{"cut"} << false;
}

void TestSendFirmware::eraseIsJudgedByItsReply()
{
    QFETCH(QByteArrayList, pieces);
    QFETCH(bool, erased);
    useBlocks({{0x3e8000, counting(32)}});
    const ScriptedPeer dsp([&pieces](Connection &connection) {
        connection.read(erasePacket.size());
        if (pieces.value(0) == "cut") {
            connection.close();
            return;
        }
        connection.wait(answerMs);
        for (const QByteArray &piece : pieces) {
            connection.send(piece);
            connection.wait(60);
        }
    });
    const Report report = program(dsp);
    const QStringList failure{QStringLiteral("ERROR: Flash Erase failed!")};
    QCOMPARE(report.errors, erased ? QStringList() : failure);
    if (!erased) {
        QTRY_COMPARE(dsp.received(), erasePacket);
        QVERIFY(!report.messages.contains(QStringLiteral("Memory erased!")));
    }
}

void TestSendFirmware::answerWithinTheFirstWaitStaysForTheNextReply()
{
    const ScriptedPeer dsp([](Connection &connection) {
        connection.send("ACK\n");
        connection.read(1);
        connection.wait(answerMs);
        connection.send("more");
    });
    QTcpSocket socket;
    socket.connectToHost(loopback, dsp.port());
    QVERIFY(socket.waitForConnected());
    Pacing pacing = quickPacing();
    pacing.replyFirst = std::chrono::seconds(5);
    QCOMPARE(SendFirmware(nullptr, pacing).readReply(200, &socket), QString());
    QCOMPARE(socket.bytesAvailable(), qint64(4));
    SendFirmware sender(nullptr, quickPacing());
    sender.sendPacket("x", &socket);
    QCOMPARE(sender.readReply(200, &socket), QStringLiteral("ACK\nmore"));
}

void TestSendFirmware::blocksOutsideTheFlashAreRefused_data()
{
    QTest::addColumn<quint32>("address");
    QTest::addColumn<int>("size");
    QTest::addColumn<int>("pages");
    QTest::addColumn<bool>("refused");
    QTest::newRow("one word below") << 0x3e7fffu << 32 << 0 << true;
    QTest::newRow("first word") << 0x3e8000u << 32 << 1 << false;
    QTest::newRow("last word") << 0x3f8f00u << 32 << 1 << false;
    QTest::newRow("one word above") << 0x3f8f01u << 32 << 0 << true;
    QTest::newRow("as far as the last page goes") << 0x3f8f00u << 512 << 1 << false;
    QTest::newRow("runs out of the flash") << 0x3f8f00u << 513 << 1 << true;
}

void TestSendFirmware::blocksOutsideTheFlashAreRefused()
{
    QFETCH(quint32, address);
    QFETCH(int, size);
    QFETCH(int, pages);
    QFETCH(bool, refused);
    const QByteArray follower(16, 'f');
    useBlocks({{address, counting(size)}, {0x3f0000, follower}});
    const ScriptedPeer dsp(erase);
    const Report report = program(dsp);
    QCOMPARE(report.errors, refused ? QStringList{outside} : QStringList());
    QCOMPARE(report.messages.last(), QStringLiteral("Writing completed!"));
    // The block after it is written all the same.
    QTRY_VERIFY(dsp.received().endsWith(addressPacket(0x3f0000) + dataPackets(follower) + endOfPage));
    QCOMPARE(dsp.received().count(endOfPage), pages + 1);
}

void TestSendFirmware::uselessFileOpensNoConnection_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("not HEX") << QByteArray("MZ\n");
    QTest::newRow("breaks off") << hexText({{0x3e8000, "ab"}}) + "\n";
    QTest::newRow("no data record") << hexText({});
    QTest::newRow("record without data") << QByteArray(":0000000000\n:00000001FF\n");
    QTest::newRow("data behind an empty record of its address")
        << QByteArray(":0000000000\n:0200000061623B\n:00000001FF\n");
}

void TestSendFirmware::uselessFileOpensNoConnection()
{
    QFETCH(QByteArray, content);
    useFile(content);
    const ScriptedPeer dsp(erase);
    const Report report = program(dsp);
    QCOMPARE(report.errors, QStringList{QStringLiteral("ERROR: Parsing Failed!")});
    QCOMPARE(report.steps, 2);
    QCOMPARE(dsp.connections(), 0);
}

void TestSendFirmware::droppedLinesAreTold()
{
    QByteArray damaged = hexRecord(0x8010, "cd");
    damaged[10] = damaged[10] == '0' ? '1' : '0';
    useFile(damaged + '\n' + damaged + '\n' + hexText({{0x3e8000, counting(32)}}));
    const Report report = program(ScriptedPeer(erase));
    QCOMPARE(report.errors, QStringList());
    QVERIFY2(report.messages.first().startsWith(QLatin1String("WARNING: 2 line")),
             qPrintable(report.messages.first()));
    QCOMPARE(report.messages.filter(QStringLiteral("WARNING:")).size(), 1);
}

void TestSendFirmware::lostConnectionIsNoCompletion_data()
{
    QTest::addColumn<QByteArray>("how");
    QTest::addColumn<int>("afterPage");
    QTest::newRow("closed before the first page") << QByteArray("close") << 0;
    QTest::newRow("closed in the middle") << QByteArray("close") << 2;
    QTest::newRow("closed during the last page's pause") << QByteArray("close") << 4;
    QTest::newRow("reset during the last page's pause") << QByteArray("reset") << 4;
    QTest::newRow("closed behind words of its own") << QByteArray("talk") << 4;
}

void TestSendFirmware::lostConnectionIsNoCompletion()
{
    QFETCH(QByteArray, how);
    QFETCH(int, afterPage);
    useBlocks({{0x3e8000, counting(1024)}, {0x3f0000, counting(1024)}});
    const ScriptedPeer dsp([&how, afterPage](Connection &connection) {
        erase(connection);
        for (int page = 0; page < afterPage; ++page) {
            connection.readUntil(endOfPage);
        }
        if (how == "talk") {
            connection.send("ACK\nACK\n");
        }
        how == "reset" ? connection.reset() : connection.close();
    });
    Pacing pacing = quickPacing();
    pacing.page = std::chrono::milliseconds(150); // the cut falls into it
    const Report report = program(dsp, pacing);
    QCOMPARE(report.errors, QStringList{QStringLiteral("ERROR: writing failed!")});
    QVERIFY(!report.messages.contains(QStringLiteral("Writing completed!")));
}

// A module that takes no more bytes and closes nothing: nobody ever reads from this server.
void TestSendFirmware::stalledConnectionIsNoCompletion()
{
    QTcpServer server;
    QVERIFY(server.listen(QHostAddress::LocalHost));
    const int small = 4096;
    setsockopt(static_cast<int>(server.socketDescriptor()), SOL_SOCKET, SO_RCVBUF, &small, sizeof small);
    QTcpSocket socket;
    socket.connectToHost(loopback, server.serverPort());
    QVERIFY(socket.waitForConnected());
    socket.setSocketOption(QAbstractSocket::SendBufferSizeSocketOption, 4096);
    Pacing pacing = quickPacing();
    pacing.written = std::chrono::milliseconds(1500);
    pacing.page = std::chrono::milliseconds(0);
    SendFirmware sender(nullptr, pacing);
    Report report;
    follow(sender, &report);
    QElapsedTimer clock;
    clock.start();
    sender.writeBlock(0x3e8000, QByteArray(0x10f00 * 2, 'x'), true, &socket);
    QCOMPARE(report.errors, QStringList{QStringLiteral("ERROR: writing failed!")});
    QVERIFY(clock.elapsed() < 15000); // the first packet that does not leave ends it
}

void TestSendFirmware::unreachableHostFails()
{
    useBlocks({{0x3e8000, counting(32)}});
    const QStringList failure{QStringLiteral("ERROR: Connection Failed!!")};
    QCOMPARE(program(loopback, ScriptedPeer::closedPort()).errors, failure);
    QElapsedTimer clock;
    clock.start();
    QCOMPARE(program(QStringLiteral("192.168.0.77"), 10001).errors, failure); // nobody has this address
    QVERIFY(clock.elapsed() < 15000);
}

void TestSendFirmware::verifyReadsTheAnswers_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<int>("pages");
    QTest::addColumn<QStringList>("errors");
    QTest::newRow("all as written") << QByteArray("ACK\n") << 2 << QStringList();
    QTest::newRow("a page differs") << QByteArray("NAK\n") << 1
                                    << QStringList{QStringLiteral("ERROR: verify failed!")};
}

void TestSendFirmware::verifyReadsTheAnswers()
{
    QFETCH(QByteArray, answer);
    QFETCH(int, pages);
    QFETCH(QStringList, errors);
    const QByteArray verifyPage = QByteArray::fromHex("0C0E0D000E");
    const ScriptedPeer dsp([&](Connection &connection) {
        while (!connection.readUntil(verifyPage).isEmpty()) {
            connection.wait(answerMs);
            connection.send(answer);
        }
    });
    QTcpSocket socket;
    socket.connectToHost(loopback, dsp.port());
    QVERIFY(socket.waitForConnected());
    Pacing pacing = quickPacing();
    pacing.replyTenth = std::chrono::milliseconds(400);
    SendFirmware sender(nullptr, pacing);
    Report report;
    follow(sender, &report);
    sender.writeBlock(0x3e8000, counting(600), false, &socket);
    QCOMPARE(report.errors, errors);
    QCOMPARE(dsp.received().count(verifyPage), pages);
}

void TestSendFirmware::interruptionIsHonouredUntilTheErase_data()
{
    QTest::addColumn<QString>("stage");
    for (const char *stage : {"connecting", "settling", "erasing", "writing"}) {
        QTest::newRow(stage) << QString::fromLatin1(stage);
    }
}

void TestSendFirmware::interruptionIsHonouredUntilTheErase()
{
    QFETCH(QString, stage);
    const bool honoured = stage == QLatin1String("connecting") || stage == QLatin1String("settling");
    useBlocks({{0x3e8000, counting(1024)}});
    QSemaphore reached;
    const ScriptedPeer dsp([&](Connection &connection) {
        if (stage == QLatin1String("settling")) {
            reached.release();
        }
        connection.read(erasePacket.size());
        if (stage == QLatin1String("erasing")) {
            reached.release();
        }
        connection.wait(answerMs);
        connection.send("ACK\n");
        connection.readUntil(endOfPage);
        reached.release();
    });
    Pacing pacing = quickPacing();
    pacing.tunnelConnect = std::chrono::minutes(5);
    if (stage == QLatin1String("settling")) {
        pacing.tunnelSettle = std::chrono::minutes(5);
    }
    const bool connecting = stage == QLatin1String("connecting");
    XPortPorts ports;
    ports.tunnel = connecting ? ports.tunnel : dsp.port();
    const QString host = connecting ? QStringLiteral("192.168.0.77") : loopback;
    Report report;
    ThreadRun run([&] {
        SendFirmware sender(nullptr, pacing, ports);
        follow(sender, &report);
        sender.program(hexFile, host);
    });
    QVERIFY(connecting || reached.tryAcquire(1, 20000));
    run.interrupt();
    QVERIFY(run.wait(20000));
    if (honoured) {
        QCOMPARE(report.errors, QStringList{QStringLiteral("ERROR: Update timed out!")});
        QCOMPARE(report.messages, QStringList());
        QVERIFY(dsp.received().isEmpty());
    } else {
        QCOMPARE(report.errors, QStringList());
        QCOMPARE(report.messages.last(), QStringLiteral("Writing completed!"));
        QTRY_COMPARE(dsp.received().count(endOfPage), 2);
    }
}

QTEST_GUILESS_MAIN(TestSendFirmware)
#include "tst_sendfirmware.moc"
