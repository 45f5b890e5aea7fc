#include "beamlineupdate.h"
#include "imagesender.h"
#include "lineconversation.h"
#include "parsehex.h"
#include "powersupplyupdate.h"
#include "quickpacing.h"
#include "scriptedpeer.h"
#include "updateroom.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <sys/stat.h>

// The update procedures of power supplies and beamline instruments against peers that say the wrong
// thing, or the right thing at the wrong time.
class TestImagePeer : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void lateLineIsNoAnswer();
    void eraseIsTakenByAWholeLine_data();
    void eraseIsTakenByAWholeLine();
    void powerSupplyIsHeardOut_data();
    void powerSupplyIsHeardOut();
    void beamlineIsHeardOut_data();
    void beamlineIsHeardOut();
    void refusalEndsTheSending_data();
    void refusalEndsTheSending();
    void slowSendingEnds();
    void consentBeforeTheLastPieceIsEarly();
    void imageIsARegularFile();

private:
    struct Report
    {
        bool updated = false;
        QStringList errors;
        QStringList messages;
    };

    template <typename Procedure, typename... More>
    Report update(const ScriptedPeer &peer, const Pacing &pacing, const More &...more);

    QTemporaryDir folder;
    QString path;
    QByteArray image;
};

using Connection = ScriptedPeer::Connection;
using Script = ScriptedPeer::Script;
Q_DECLARE_METATYPE(Script)

namespace {

const QString loopback = QStringLiteral("127.0.0.1");
constexpr auto variant = PowerSupplyUpdate::Variant::Standard;

// More than the system takes from us before the peer reads.
constexpr int imageBytes = 2 * 1024 * 1024;
constexpr int aFewBytes = 2000;
constexpr int moment = 100;

const QByteArray commands = QByteArrayLiteral("MST\r\nMRP\r\n");
const QByteArray reboot = QByteArrayLiteral("MREBOOT\r\n");
const QString noAnswer = QStringLiteral("ERROR: No answer to the firmware!");
const QString notWritten = QStringLiteral("ERROR: writing failed!");

Pacing peerPacing()
{
    using std::chrono::milliseconds;
    Pacing pacing = quickPacing();
    pacing.commandAnswer = milliseconds(1500);
    pacing.eraseAnswer = milliseconds(1500);
    pacing.imageAnswer = milliseconds(1500);
    pacing.longestVerdict = milliseconds(2500);
    return pacing;
}

XPortPorts tunnelPort(const ScriptedPeer &peer)
{
    XPortPorts ports;
    ports.tunnel = peer.port();
    return ports;
}

// Everything up to the image, whose DC link is answered like this.
void answerQuestions(Connection &connection, const QByteArray &dcLink = "#MRP:48.02 V\r\n")
{
    connection.readUntil("MST\r\n");
    connection.send("#MST:00000000\r\n");
    connection.readUntil("MRP\r\n");
    connection.send(dcLink);
}

// Says something while the image is on its way, and gives it time to arrive.
void interject(Connection &connection, const QByteArray &words)
{
    connection.read(aFewBytes);
    connection.send(words);
    connection.wait(moment);
}

Script afterImage(const QByteArray &words)
{
    return [words](Connection &connection) {
        answerQuestions(connection);
        connection.read(imageBytes);
        connection.send(words);
    };
}

// Goes on with single bytes for much longer than anybody waits, and then agrees.
void drag(Connection &connection, const QByteArray &consent)
{
    for (int i = 0; i < 200 && connection.isOpen(); ++i) {
        connection.send(".");
        connection.wait(20);
    }
    connection.send(consent);
}

int sectors()
{
    return imageBytes / updateroom::sectorSize;
}

void eraseAll(Connection &connection)
{
    for (int i = 0; i < sectors(); ++i) {
        connection.readUntil("\r");
        connection.send("#ACK\r\n");
    }
    connection.readUntil("EPCSWR\r");
}

} // namespace

void TestImagePeer::initTestCase()
{
    path = folder.filePath(QStringLiteral("image.bin"));
    image = updateroom::firmwareFile(path, imageBytes);
}

template <typename Procedure, typename... More>
TestImagePeer::Report TestImagePeer::update(const ScriptedPeer &peer, const Pacing &pacing,
                                            const More &...more)
{
    Report report;
    PointOfNoReturn noReturn;
    Procedure procedure(noReturn, pacing, tunnelPort(peer), more...);
    connect(&procedure, &Procedure::signalErrorDetected, this,
            [&report](const QString &error) { report.errors << error; });
    connect(&procedure, &Procedure::signalPrintMessage, this,
            [&report](const QString &message) { report.messages << message; });
    report.updated = procedure.program(loopback, path);
    return report;
}

// The second line of an answer comes when the first has been read: the next command is not answered by it.
void TestImagePeer::lateLineIsNoAnswer()
{
    const ScriptedPeer peer([](Connection &connection) {
        connection.readUntil("one\r");
        connection.send("first\r\n");
        connection.wait(moment);
        connection.send("more of the first\r\n");
        connection.readUntil("two\r");
        connection.send("second\r\n");
    });
    const Pacing pacing = peerPacing();
    LineConversation link('\n', pacing.written);
    QVERIFY(link.open(loopback, peer.port(), pacing.tunnelConnect, Interruption::Ignored));
    QCOMPARE(link.ask("one\r", pacing.tunnelConnect, Interruption::Ignored), QStringLiteral("first"));
    QThread::msleep(3UL * moment);
    QCOMPARE(link.ask("two\r", pacing.tunnelConnect, Interruption::Ignored), QStringLiteral("second"));
}

void TestImagePeer::eraseIsTakenByAWholeLine_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<bool>("taken");
    QTest::newRow("no line end") << QByteArray("#ACK") << false;
    QTest::newRow("half a line end") << QByteArray("#ACK\r") << false;
    QTest::newRow("refused at once") << QByteArray("#NAK\r\n") << false;
    QTest::newRow("taken, and refused") << QByteArray("#ACK\r\n#NAK\r\n") << false;
    QTest::newRow("LF alone") << QByteArray("#ACK\n") << true;
}

void TestImagePeer::eraseIsTakenByAWholeLine()
{
    QFETCH(QByteArray, answer);
    QFETCH(bool, taken);
    const ScriptedPeer peer([&answer](Connection &connection) {
        connection.readUntil("EPCSER:0\r");
        connection.send(answer);
        connection.readUntil("EPCSER:1\r");
        connection.send("#NAK\r\n");
    });
    const Report report = update<BeamlineUpdate>(peer, peerPacing());
    QCOMPARE(report.errors, QStringList{QStringLiteral("ERROR: Flash Erase failed!")});
    QCOMPARE(peer.received(), taken ? QByteArray("EPCSER:0\rEPCSER:1\r") : QByteArray("EPCSER:0\r"));
}

// All of the image is sent; the error is what the user reads, empty for a success.
void TestImagePeer::powerSupplyIsHeardOut_data()
{
    QTest::addColumn<Script>("script");
    QTest::addColumn<QString>("error");
    const auto early = [](const QByteArray &words, const QByteArray &last) -> Script {
        return [words, last](Connection &connection) {
            answerQuestions(connection);
            interject(connection, words);
            connection.read(imageBytes - aFewBytes);
            connection.send(last);
        };
    };
    const QString badChecksum = QStringLiteral("ERROR: bad checksum");
    QTest::newRow("consent") << afterImage("#ACK\r\n") << QString();
    QTest::newRow("early consent, refusal") << early("#ACK\r\n", "#NAK:bad checksum\r\n") << badChecksum;
    QTest::newRow("early consent, consent") << early("#ACK\r\n", "#ACK\r\n") << QString();
    QTest::newRow("early consent, silence") << early("#ACK\r\n", "") << noAnswer;
    QTest::newRow("early consent without line end, silence") << early("#ACK", "") << noAnswer;
    QTest::newRow("early consent whose line ends late") << early("#ACK", "\r\n") << noAnswer;
    QTest::newRow("refusal whose line ends late") << early("#NA", "K:bad checksum\r\n") << badChecksum;
    QTest::newRow("consent left over from a question") << Script([](Connection &connection) {
        answerQuestions(connection, "#MRP:48.02 V\r\n#ACK\r\n");
        connection.read(imageBytes);
        connection.send("#NAK:bad checksum\r\n");
    }) << badChecksum;
    QTest::newRow("consent, and at once a refusal")
        << afterImage("#ACK\r\n#NAK:bad checksum\r\n") << badChecksum;
    QTest::newRow("other lines before it") << afterImage("$:done\nready\r\n#ACK\r\n") << QString();
    QTest::newRow("consent without line end") << afterImage("#ACK") << QString();
    QTest::newRow("consent with half a line end") << afterImage("#ACK\r") << QString();
    QTest::newRow("refusal without line end") << afterImage("#NAK:bad checksum") << badChecksum;
    QTest::newRow("refusal and a text in one line") << afterImage("#NAK:bad checksum$:5\n") << badChecksum;
    QTest::newRow("consent in a text") << afterImage("$:no #ACK yet\n$:and no #ACK") << noAnswer;
    QTest::newRow("line that never ends") << Script([](Connection &connection) {
        answerQuestions(connection);
        connection.read(imageBytes);
        drag(connection, "#ACK\r\n");
    }) << noAnswer;
    QTest::newRow("lines without end") << Script([](Connection &connection) {
        answerQuestions(connection);
        connection.read(imageBytes);
        while (connection.isOpen()) {
            connection.send(QByteArrayLiteral("busy\n").repeated(10000));
        }
    }) << noAnswer;
    QTest::newRow("hangs up") << Script([](Connection &connection) {
        answerQuestions(connection);
        connection.read(imageBytes);
        connection.close();
    }) << notWritten;
}

void TestImagePeer::powerSupplyIsHeardOut()
{
    QFETCH(Script, script);
    QFETCH(QString, error);
    const ScriptedPeer peer(script);
    const Report report = update<PowerSupplyUpdate>(peer, peerPacing(), variant);
    QCOMPARE(report.errors, error.isEmpty() ? QStringList() : QStringList{error});
    QCOMPARE(report.updated, error.isEmpty());
    // Nothing follows a refusal, not even the command to start again.
    const QByteArray expected = commands + image + (error.isEmpty() ? reboot : QByteArray());
    QTRY_COMPARE(peer.received().size(), expected.size());
    QVERIFY(peer.received() == expected);
    QCOMPARE(report.messages.first(), QStringLiteral("DC-Link: #MRP:48.02 V"));
}

void TestImagePeer::beamlineIsHeardOut_data()
{
    QTest::addColumn<Script>("script");
    QTest::addColumn<bool>("updated");
    const auto row = [](const char *name, bool updated, const QByteArray &ready, const QByteArray &meanwhile,
                        const QByteArray &last) {
        QTest::newRow(name) << Script([ready, meanwhile, last](Connection &connection) {
            eraseAll(connection);
            connection.send(ready);
            interject(connection, meanwhile);
            connection.read(imageBytes - aFewBytes);
            connection.send(last);
        }) << updated;
    };
    row("consent", true, "#ACK\r\n", "", "#ACK\r\n");
    row("ready in two lines, silence", false, "#ACK\r\n#ACK\r\n", "", "");
    row("ready in two lines, refusal", false, "#ACK\r\n#ACK\r\n", "", "#NAK\r\n");
    row("early consent, silence", false, "#ACK\r\n", "#ACK\r\n", "");
    row("early consent, refusal", false, "#ACK\r\n", "#ACK\r\n", "#NAK\r\n");
    row("early consent, consent", true, "#ACK\r\n", "#ACK\r\n", "#ACK\r\n");
    row("consent, and at once a refusal", false, "#ACK\r\n", "", "#ACK\r\n#NAK\r\n");
    QTest::newRow("consent too late") << Script([](Connection &connection) {
        eraseAll(connection);
        connection.send("#ACK\r\n");
        connection.read(imageBytes);
        drag(connection, "#ACK\r\n");
    }) << false;
}

void TestImagePeer::beamlineIsHeardOut()
{
    QFETCH(Script, script);
    QFETCH(bool, updated);
    const ScriptedPeer peer(script);
    const Report report = update<BeamlineUpdate>(peer, peerPacing());
    QCOMPARE(report.errors, updated ? QStringList() : QStringList{notWritten});
    QCOMPARE(report.updated, updated);
    QVERIFY(peer.received().endsWith("EPCSWR\r" + image));
}

// Whoever says no is not sent the rest, and the user reads why.
void TestImagePeer::refusalEndsTheSending_data()
{
    QTest::addColumn<Script>("script");
    QTest::addColumn<bool>("beamline");
    QTest::addColumn<QString>("error");
    QTest::addColumn<bool>("begun"); // some of the image has left
    const QString wrongHardware = QStringLiteral("ERROR: wrong hardware");
    const auto saying = [](const QByteArray &words, void (Connection::*end)()) -> Script {
        return [words, end](Connection &connection) {
            answerQuestions(connection);
            interject(connection, words);
            if (end != nullptr) {
                (connection.*end)();
            }
        };
    };
    const auto row = [&saying](const char *name, const QByteArray &words, void (Connection::*end)(),
                               const QString &error) {
        QTest::newRow(name) << saying(words, end) << false << error << true;
    };
    row("refusal in the middle", "#NAK:wrong hardware\r\n", nullptr, wrongHardware);
    row("refusal and end", "#NAK:wrong hardware\r\n", &Connection::close, wrongHardware);
    row("refusal and reset", "#NAK:wrong hardware\r\n", &Connection::reset, wrongHardware);
    row("refusal without line end, and reset", "#NAK:wrong hardware", &Connection::reset, wrongHardware);
    row("refusal without a reason", "#NAK\r\n", nullptr, QStringLiteral("ERROR: Firmware refused!"));
    row("reset", "", &Connection::reset, notWritten);
    QTest::newRow("refusal left over from a question") << Script([](Connection &connection) {
        answerQuestions(connection, "#MRP:48.02 V\r\n#NAK:wrong hardware\r\n");
    }) << false << wrongHardware << false;
    QTest::newRow("beamline, in the middle") << Script([](Connection &connection) {
        eraseAll(connection);
        connection.send("#ACK\r\n");
        interject(connection, "#NAK\r\n");
        connection.read(imageBytes);
        connection.send("#ACK\r\n");
    }) << true << notWritten << true;
    QTest::newRow("beamline, before the first byte") << Script([](Connection &connection) {
        eraseAll(connection);
        connection.send("#ACK\r\n#NAK\r\n");
        connection.read(imageBytes);
        connection.send("#ACK\r\n");
    }) << true << notWritten << false;
}

void TestImagePeer::refusalEndsTheSending()
{
    QFETCH(Script, script);
    QFETCH(bool, beamline);
    QFETCH(QString, error);
    QFETCH(bool, begun);
    const ScriptedPeer peer(script);
    const Report report = beamline ? update<BeamlineUpdate>(peer, peerPacing())
                                   : update<PowerSupplyUpdate>(peer, peerPacing(), variant);
    QCOMPARE(report.errors, QStringList{error});
    const QByteArray last = beamline ? QByteArray("EPCSWR\r") : commands;
    const QByteArray sent = peer.received().mid(peer.received().indexOf(last) + last.size());
    QCOMPARE(!sent.isEmpty(), begun);
    QVERIFY(sent.size() < image.size() && image.startsWith(sent));
}

// An instrument that takes a little now and then keeps every single wait short; the whole is bounded too.
void TestImagePeer::slowSendingEnds()
{
    const ScriptedPeer peer([](Connection &connection) {
        answerQuestions(connection);
        connection.wait(5 * moment);
        connection.read(imageBytes);
        connection.send("#ACK\r\n");
    });
    Pacing pacing = peerPacing();
    pacing.sendingGrace = std::chrono::milliseconds(moment);
    pacing.slowestBytesPerSecond = 1024 * 1024 * 1024;
    const Report report = update<PowerSupplyUpdate>(peer, pacing, variant);
    QCOMPARE(report.errors, QStringList{notWritten});
    QVERIFY(peer.received().size() < commands.size() + image.size());
}

// It is on its way, but most of it is still here.
void TestImagePeer::consentBeforeTheLastPieceIsEarly()
{
    const ScriptedPeer peer([](Connection &connection) {
        interject(connection, "#ACK\r\n");
        connection.read(imageBytes - aFewBytes);
        connection.wait(moment);
        connection.send("#NAK\r\n");
    });
    const Pacing pacing = peerPacing();
    LineConversation link('\n', pacing.written);
    QVERIFY(link.open(loopback, peer.port(), pacing.tunnelConnect, Interruption::Ignored));
    const auto meaning = [](const QByteArray &line) {
        return line.contains("NAK") ? ImageSender::Said::Refusal : ImageSender::Said::Consent;
    };
    ImageSender sender(link, pacing, {imageBytes, pacing.imageAnswer, pacing.longestVerdict, meaning, [] {}});
    QCOMPARE(sender.send(image), ImageSender::Outcome::Refusal);
}

// To open a pipe would wait for its other end, and a device may give bytes for ever.
void TestImagePeer::imageIsARegularFile()
{
    const QString pipe = folder.filePath(QStringLiteral("pipe.hex"));
    QCOMPARE(mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    for (const QString &odd : {pipe, QStringLiteral("/dev/zero"), folder.path()}) {
        QVERIFY2(!ImageSender::readImage(odd), qPrintable(odd));
        QCOMPARE(ParseHex().readFile(odd), ParseHex::badRecord);
    }
}

QTEST_GUILESS_MAIN(TestImagePeer)
#include "tst_imagepeer.moc"
