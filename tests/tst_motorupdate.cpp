#include "dialogue.h"
#include "dspprogmode.h"
#include "hextext.h"
#include "labroom.h"
#include "lineconversation.h"
#include "motorupdate.h"
#include "quickpacing.h"
#include "sendfirmware.h"
#include "xportconfiguration.h"

#include <QFile>
#include <QNetworkProxy>
#include <QRegularExpression>
#include <QSemaphore>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <algorithm>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

// The update of a motor driver: each part of it against peers that say the wrong thing, as
// tests/dialogues/motordriver.txt has them, and the whole of it against the motor driver of the lab, down to
// the words in its flash.
class TestMotorUpdate : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QVERIFY(qEnvironmentVariableIsSet("LAB_NET")); }
    void cleanupTestCase();
    void partIsHeardOut_data();
    void partIsHeardOut();
    void stalledConnectionIsNoCompletion();
    void refusedFileTouchesNothing();
    void driverIsProgrammed_data();
    void driverIsProgrammed();
    void faultyDriverIsNoSuccess_data();
    void faultyDriverIsNoSuccess();

private:
    struct Talk
    {
        QString told;
        bool heard = false;
        QByteArray received;
    };
    Talk talk(const DialogueRow &row, int number);
    QStringList playPart(const DialogueRow &row, quint16 port, const QString &file, int *moves);
    QStringList writeAll(quint16 port, std::chrono::milliseconds written);
    static void verifyBar(const UpdateRecord &record);

    QTemporaryDir folder;
    std::mutex reading;   // only one update reads a file at a time
    QSemaphore places{8}; // talks at once; they wait more than they work
    std::map<QByteArray, std::future<Talk>> talks;
    std::vector<std::unique_ptr<QThread>> threads;
};

using Blocks = QVector<QPair<quint32, QByteArray>>;
Q_DECLARE_METATYPE(DialogueRow)

namespace {

using std::chrono::milliseconds;

constexpr std::chrono::minutes ages(5);
constexpr quint16 nobody = 1; // listens at this port
const QString loopback = QStringLiteral("127.0.0.1");
const QString control = QStringLiteral("control");
const QString communication = QStringLiteral("communication");
const QRegularExpression bad(QStringLiteral("^(ERROR|WARNING):"));
const QStringList completed{QStringLiteral("completed")};
const QStringList failed{QStringLiteral("failed")};
const char controlFile[] = "Rovan_Motor_Control_DSP_v2.hex";
const QByteArray bootloader = QByteArray(":020000040000FA\r\n").repeated(3000);

// The waits that a row is about are so long that only what it shows can end them, or long enough for a peer
// that is held up.
Pacing pacingFor(const DialogueRow &row)
{
    const auto has = [&row](const char *text) { return row.steps.contains(text); };
    Pacing pacing = quickPacing();
    pacing.longestAnswer = has("~20") ? milliseconds(1000) : pacing.longestAnswer;
    pacing.menuSilence = milliseconds(row.name.startsWith("never") ? 60 : 200);
    pacing.page = has("!close") || has("!reset") ? milliseconds(2000) : milliseconds(1);
    pacing.replyFirst = row.name.contains("first second") ? milliseconds(5000) : milliseconds(50);
    pacing.replyTenth = milliseconds(row.section == "compared flash" ? 400 : 6);
    pacing.gpioConnect = milliseconds(row.section == "boot loader" ? 1 : 3000);
    if (row.name == "nobody listens") {
        pacing.menuConnect = pacing.gpioConnect = pacing.tunnelConnect = milliseconds(300);
    }
    if (has("!stop")) {
        pacing.gpioAnswer = pacing.autobaud = pacing.bootAnswer = ages;
    }
    if (row.steps.startsWith("!stop")) {
        pacing.menuSilence = pacing.tunnelSettle = ages;
    }
    return pacing;
}

QByteArray fileFor(const DialogueRow &row)
{
    if (row.section == "boot loader") {
        return bootloader;
    }
    Blocks blocks;
    for (const QByteArray &word : row.name.split(' ')) {
        const int plus = word.indexOf('+');
        if (plus > 0) {
            blocks.append({word.left(plus).toUInt(nullptr, 16), QByteArray(word.mid(plus + 1).toInt(), 'x')});
        }
    }
    const QByteArray damaged = row.name == "damaged lines" ? ":0100000041BF\n:0100000041BF\n" : "";
    return damaged + hexText(blocks.isEmpty() ? Blocks{{0x3e8000, QByteArray(32, 'x')}} : blocks);
}

} // namespace

void TestMotorUpdate::cleanupTestCase()
{
    for (const auto &thread : threads) {
        thread->wait();
    }
}

// What the user is told of the part that the row is about.
QStringList TestMotorUpdate::playPart(const DialogueRow &row, quint16 port, const QString &file, int *moves)
{
    constexpr Interruption rule = Interruption::Honoured;
    const Pacing pacing = pacingFor(row);
    const bool boots = row.section == "boot loader";
    const XPortPorts ports{port, port, boots ? nobody : port};
    QStringList told;
    const auto move = [moves] { ++*moves; };
    const auto tell = [&told](const QString &line) { told += QStringList{line}.filter(bad); };
    if (row.section == "menu" || row.section == "banner word") {
        xPortConfiguration module(nullptr, rule, pacing, ports);
        connect(&module, &xPortConfiguration::signalIncreaseProgressBar, &module, move);
        connect(&module, &xPortConfiguration::signalPrintMessage, &module, tell);
        if (row.section == "banner word") {
            return {module.readBannerWord(loopback)};
        }
        const bool set = module.setBaudrate(loopback, 38400);
        told += module.rateRefused() ? QStringList{QStringLiteral("refused")} : QStringList();
        return told + (set ? QStringList() : QStringList{QStringLiteral("not set")});
    }
    if (boots || row.section.startsWith("pins")) {
        dspProgMode dsp(nullptr, rule, pacing, ports,
                        row.name == "no image" ? file + QLatin1Char('?') : file);
        if (boots) {
            dsp.setState(1, loopback); // in vain, but it tells the address
        }
        connect(&dsp, &dspProgMode::signalIncreaseProgressBar, &dsp, move);
        connect(&dsp, &dspProgMode::signalError, &dsp, tell);
        boots ? dsp.loadBootloader() : dsp.setState(row.section.right(1).toInt(), loopback);
        return told;
    }
    if (row.section == "lines") {
        LineConversation link('\n', pacing.written);
        link.open(loopback, port, pacing.tunnelConnect, rule);
        return {link.ask("MVER\r\n", pacing.tunnelConnect, rule)};
    }
    SendFirmware sender(nullptr, pacing, ports);
    connect(&sender, &SendFirmware::signalIncreaseProgressBar, &sender, move);
    connect(&sender, &SendFirmware::signalErrorDetected, &sender, tell);
    connect(&sender, &SendFirmware::signalPrintMessage, &sender, tell);
    if (row.section == "compared flash") {
        QTcpSocket socket;
        socket.connectToHost(loopback, port);
        socket.waitForConnected();
        sender.writeBlock(0x3e8000, QByteArray(600, 'x'), false, &socket);
        return told;
    }
    std::unique_lock lock(reading);
    const QString objection = row.section == "judged flash" ? sender.prepare(file) : QString();
    if (!objection.isEmpty()) {
        return {objection};
    }
    connect(&sender, &SendFirmware::signalIncreaseProgressBar, &sender, [&] {
        if (*moves == 2) { // it has been read
            lock.unlock();
        }
    });
    sender.program(file, loopback);
    return told;
}

TestMotorUpdate::Talk TestMotorUpdate::talk(const DialogueRow &row, int number)
{
    places.acquire();
    const QSemaphoreReleaser release(places);
    QFile file(folder.filePath(QString::number(number)));
    file.open(QIODevice::WriteOnly);
    file.write(fileFor(row));
    file.close();
    const QByteArray image = row.section == "menu" ? QByteArray("\r\n").repeated(6) : bootloader;
    const Dialogue dialogue(row.steps, image);
    const ScriptedPeer peer(
        dialogue.script([worker = QThread::currentThread()] { worker->requestInterruption(); }));
    const quint16 port = row.name == "nobody listens" ? nobody : peer.port();
    int moves = 0;
    QStringList told = playPart(row, port, file.fileName(), &moves);
    if (told.filter(QRegularExpression(QStringLiteral("ERROR|not set"))).isEmpty()) {
        told += QStringLiteral("%1 moves").arg(moves);
    }
    const bool ended =
        QTest::qWaitFor([&] { return peer.endedConnections() == (row.steps.trimmed().isEmpty() ? 0 : 1); });
    const QByteArray received = peer.received();
    return {told.join(QStringLiteral(", ")), ended && dialogue.isHeard(received), received};
}

void TestMotorUpdate::partIsHeardOut_data()
{
    QTest::addColumn<DialogueRow>("row");
    for (const DialogueRow &row : dialoguesIn("motordriver.txt")) {
        if (!row.section.startsWith("lab")) {
            QTest::newRow((row.section + ": " + row.name).constData()) << row;
            const int number = static_cast<int>(talks.size());
            const auto seen = std::make_shared<std::promise<Talk>>(); // an order that a sanitizer can see
            talks.insert({row.section + row.name + row.steps, seen->get_future()});
            threads.emplace_back(QThread::create([=] { seen->set_value(talk(row, number)); }));
            threads.back()->start();
        }
    }
}

void TestMotorUpdate::partIsHeardOut()
{
    QFETCH(DialogueRow, row);
    const Talk seen = talks.at(row.section + row.name + row.steps).get();
    QCOMPARE(seen.told, row.log);
    QVERIFY2(seen.heard, seen.received.toPercentEncoding().constData());
}

// More goes to the peer than the system takes from us before it reads.
QStringList TestMotorUpdate::writeAll(quint16 port, milliseconds written)
{
    QTcpSocket socket;
    socket.connectToHost(loopback, port);
    socket.waitForConnected();
    socket.setSocketOption(QAbstractSocket::SendBufferSizeSocketOption, 4096);
    Pacing pacing = quickPacing();
    pacing.written = written;
    pacing.page = milliseconds(0);
    SendFirmware sender(nullptr, pacing);
    QStringList errors;
    connect(&sender, &SendFirmware::signalErrorDetected, this, [&](const QString &text) { errors << text; });
    for (int i = 0; i < 8 && errors.isEmpty(); ++i) {
        sender.writeBlock(0x3e8000, QByteArray(0x10f00 * 2, 'x'), true, &socket);
    }
    return errors;
}

// Nobody reads from the one, and to wait for each packet would take hours. The other is only slow.
void TestMotorUpdate::stalledConnectionIsNoCompletion()
{
    QTcpServer server;
    QVERIFY(server.listen(QHostAddress::LocalHost));
    QCOMPARE(writeAll(server.serverPort(), milliseconds(1500)).value(0),
             QStringLiteral("ERROR: writing failed!"));
    const ScriptedPeer peer(Dialogue(".1000").script());
    QCOMPARE(writeAll(peer.port(), ages), QStringList());
}

// It only moves forward, and shows 100 when all is done.
void TestMotorUpdate::verifyBar(const UpdateRecord &record)
{
    QVERIFY(std::is_sorted(record.bar.cbegin(), record.bar.cend()));
    QCOMPARE(record.bar.count(100), record.end == completed ? 1 : 0);
}

// Nobody is there: to ask somebody would be another error.
void TestMotorUpdate::refusedFileTouchesNothing()
{
    MotorUpdate driver;
    const Blocks outside{{0x3e8000, "good"}, {0x3f9000, "bad"}};
    UpdateRecord record = driver.run(driver.file(controlFile, outside), quickPacing());
    QCOMPARE(record.log.last(), QStringLiteral("ERROR: address are outside the programmable address range"));
    QCOMPARE(record.end, failed);
    record = driver.run(driver.file("rovan_motor_control_dsp.hex", MotorUpdate::program()), quickPacing());
    QCOMPARE(record.log.last(), QStringLiteral("ERROR: wrong Firmware!"));
    QCOMPARE(record.end, failed);
}

void TestMotorUpdate::driverIsProgrammed_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("code");
    QTest::addColumn<Blocks>("blocks");
    QTest::addColumn<QByteArray>("motor");
    // A name of both is the Communication DSP's. All prompts of a real menu, and it is asked to stop too
    // late.
    QTest::newRow("Communication DSP")
        << QStringLiteral("Rovan_Motor_Control_DSP_Rovan_Motor_Communication_DSP") << QStringLiteral("4200")
        << MotorUpdate::program() << QByteArray(R"({"faults":{"channelPrompts":0}})");
    // The bar has less room than a whole flash has steps. Someone builds the file anew meanwhile.
    QByteArray words;
    for (int page = 0; page < 256; ++page) {
        for (int word = 0; word < 256; ++word) {
            words.append(static_cast<char>(word)).append(static_cast<char>(page));
        }
    }
    QTest::newRow("Control DSP")
        << QString::fromLatin1(controlFile) << QStringLiteral("4100") << Blocks{{0x3e8000, words}}
        << QByteArray(R"({"faults":{"channelPrompts":26,"bannerPauseMs":400,"pieceBytes":7,"pieceMs":1,
                          "oldBytes":"#OLD\r\n"}})");
}

void TestMotorUpdate::driverIsProgrammed()
{
    QFETCH(QString, name);
    QFETCH(QString, code);
    QFETCH(Blocks, blocks);
    QFETCH(QByteArray, motor);
    const bool whole = code == QLatin1String("4100");
    const QString dsp = whole ? control : communication;
    const QString other = whole ? communication : control;
    MotorUpdate driver;
    driver.startLab(labroom::object(motor.constData()));
    const QByteArray before = driver.dump(other);
    const QString path = driver.file(name.toLatin1().constData(), blocks);
    Pacing pacing = labPacing();
    pacing.page = milliseconds(2);
    QNetworkProxy::setApplicationProxy({QNetworkProxy::Socks5Proxy, loopback, 1}); // nobody: never asked
    const UpdateRecord record = driver.run(
        path, pacing, QLatin1String(whole ? "Set GPIO" : "Erase Timeout"),
        [&](QThread *worker) {
            whole ? void(driver.file(controlFile, {{0x3e8000, "other"}})) : worker->requestInterruption();
        },
        code);
    QNetworkProxy::setApplicationProxy(QNetworkProxy::NoProxy);

    const QString asked = QStringLiteral("Try to connect...\nDevice Connected!\nCheck version...\n"
                                         "Socket closed, continue...\n"
                                         "Device name: #MVER:ROVAN-MOTOR:x:1.07\n");
    const QString expected =
        QStringLiteral(
            " ===  U P D A T E   T H E   D E V I C E  ===\nDevice IP: 192.168.0.60\nFirmware : %1\n"
            "%2Update Rovan-Motor Firmware:\nThe '%3 DSP' will be programmed...\n"
            "Set Baudrate to 38400...\nDone!\nSet GPIO...\nDone!\nLoad Bootloader...\nDone!\n"
            "Program...\nSend Erase Packet...\nErase Timeout 20s\nMemory erased!\nWrite memory...\n"
            "Writing completed!\nDone!\nSet Baudrate to 921600...\nDone!\nLantronix Ready!\n"
            "Reset DSP...\nProcess completed! wait for restart...")
            .arg(path, whole ? QString() : asked, QLatin1String(whole ? "Control" : "Communication"));
    QCOMPARE(record.log.join(QLatin1Char(10)), expected);
    QCOMPARE(record.lastStoppable, QStringLiteral("Program..."));
    QCOMPARE(record.end, completed);
    QVERIFY(!record.wasStopped && record.bar.first() == 0);
    QVERIFY(record.bar.contains(71)); // it moves behind the flash too
    QCOMPARE(record.bar.last(), 100);
    verifyBar(record);
    const int written = record.bar.value(record.bar.indexOf(70) - 1);
    QVERIFY2(!whole || (written > 55 && written < 69), qPrintable(QString::number(written)));

    QVERIFY(driver.dump(dsp) == MotorUpdate::flashWith(blocks));
    QVERIFY(driver.dump(other) == before);
    const QJsonObject state = driver.state();
    QCOMPARE(state.value(QStringLiteral("baudrate")).toInt(), 921600);
    QCOMPARE(state.value(QStringLiteral("pins")).toString(), QStringLiteral("normal"));
    QCOMPARE(driver.ask("MVER"), QByteArray("#MVER:ROVAN-MOTOR:x:1.07\r\n"));
}

void TestMotorUpdate::faultyDriverIsNoSuccess_data()
{
    QTest::addColumn<DialogueRow>("row");
    for (const DialogueRow &row : dialoguesIn("motordriver.txt")) {
        if (row.section.startsWith("lab")) {
            QTest::newRow(row.name.constData()) << row;
        }
    }
}

void TestMotorUpdate::faultyDriverIsNoSuccess()
{
    QFETCH(DialogueRow, row);
    const QString stopAt = QString::fromLatin1(row.name).section(QStringLiteral("stopped at "), 1);
    const bool untouched = row.section.contains("untouched");
    MotorUpdate driver;
    driver.startLab(labroom::object(row.steps.constData()));
    const QByteArray before = driver.dump(control);
    Pacing pacing = labPacing();
    pacing.page = milliseconds(200); // the lab needs time to cut as well
    const UpdateRecord record = driver.run(driver.file(controlFile, MotorUpdate::program()), pacing, stopAt,
                                           [](QThread *worker) { worker->requestInterruption(); });
    QCOMPARE(record.log.filter(bad).join(QStringLiteral(", ")), row.log);
    QVERIFY(bad.match(record.log.last()).hasMatch());
    QCOMPARE(record.end, failed);
    QCOMPARE(record.wasStopped, !stopAt.isEmpty());
    verifyBar(record);
    QCOMPARE(driver.dump(control) == before, untouched);
    QVERIFY(untouched || driver.state().value(QStringLiteral("baudrate")).toInt() == 38400);
}

QTEST_GUILESS_MAIN(TestMotorUpdate)
#include "tst_motorupdate.moc"
