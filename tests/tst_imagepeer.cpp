#include "beamlineupdate.h"
#include "dialogue.h"
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
    void peerIsHeardOut_data();
    void peerIsHeardOut();
    void slowSendingEnds();
    void consentBeforeTheLastPieceIsEarly();
    void imageIsARegularFile();

private:
    struct Report
    {
        bool updated = false;
        QStringList errors;
    };

    template <typename Procedure, typename... More>
    Report update(const ScriptedPeer &peer, const Pacing &pacing, const More &...more);

    QTemporaryDir folder;
    QString path;
    QByteArray image;
};

namespace {

const QString loopback = QStringLiteral("127.0.0.1");
constexpr auto variant = PowerSupplyUpdate::Variant::Standard;

// More than the system takes from us before the peer reads.
constexpr int imageBytes = 2 * 1024 * 1024;
constexpr int moment = 100;

const QByteArray commands = QByteArrayLiteral("MST\r\nMRP\r\n");

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

// Every sector of the image, and the question whether it may be written.
QByteArray eraseSteps()
{
    QByteArray steps;
    for (int i = 0; i < imageBytes / updateroom::sectorSize; ++i) {
        steps += ">EPCSER:" + QByteArray::number(i) + "\\r  <#ACK\\r\\n  ";
    }
    return steps + ">EPCSWR\\r";
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
    report.updated = procedure.program(loopback, path);
    return report;
}

// The second line of an answer comes when the first has been read: the next command is not answered by it.
void TestImagePeer::lateLineIsNoAnswer()
{
    const Dialogue dialogue(">one\\r  <first\\r\\n  .100  <more of the first\\r\\n  >two\\r  <second\\r\\n");
    const ScriptedPeer peer(dialogue.script());
    const Pacing pacing = peerPacing();
    LineConversation link('\n', pacing.written);
    QVERIFY(link.open(loopback, peer.port(), pacing.tunnelConnect, Interruption::Ignored));
    QCOMPARE(link.ask("one\r", pacing.tunnelConnect, Interruption::Ignored), QStringLiteral("first"));
    QThread::msleep(3UL * moment);
    QCOMPARE(link.ask("two\r", pacing.tunnelConnect, Interruption::Ignored), QStringLiteral("second"));
}

void TestImagePeer::peerIsHeardOut_data()
{
    QTest::addColumn<bool>("beamline");
    QTest::addColumn<QByteArray>("steps");
    QTest::addColumn<QString>("error");
    for (const DialogueRow &row : dialoguesIn("image.txt", {{"erase", eraseSteps()}})) {
        QTest::newRow((row.section + ": " + row.name).constData())
            << (row.section == "beamline") << row.steps << row.log;
    }
}

// What the instrument got to the last byte, and what the user reads: nothing for a success.
void TestImagePeer::peerIsHeardOut()
{
    QFETCH(bool, beamline);
    QFETCH(QByteArray, steps);
    QFETCH(QString, error);
    const Dialogue dialogue(steps, image);
    const ScriptedPeer peer(dialogue.script());
    const Report report = beamline ? update<BeamlineUpdate>(peer, peerPacing())
                                   : update<PowerSupplyUpdate>(peer, peerPacing(), variant);
    QCOMPARE(report.errors, error.isEmpty() ? QStringList() : QStringList{error});
    QCOMPARE(report.updated, error.isEmpty());
    QTRY_COMPARE(peer.endedConnections(), 1);
    QVERIFY(dialogue.isHeard(peer.received()));
}

// An instrument that takes a little now and then keeps every single wait short; the whole is bounded too.
void TestImagePeer::slowSendingEnds()
{
    const ScriptedPeer peer(Dialogue(">MST\\r\\n  <#MST:0\\r\\n  >MRP\\r\\n  <#MRP:1\\r\\n  .500").script());
    Pacing pacing = peerPacing();
    pacing.sendingGrace = std::chrono::milliseconds(moment);
    pacing.slowestBytesPerSecond = 1024 * 1024 * 1024;
    const Report report = update<PowerSupplyUpdate>(peer, pacing, variant);
    QCOMPARE(report.errors, QStringList{QStringLiteral("ERROR: writing failed!")});
    QVERIFY(peer.received().size() < commands.size() + image.size());
}

// It is on its way, but most of it is still here.
void TestImagePeer::consentBeforeTheLastPieceIsEarly()
{
    const ScriptedPeer peer(Dialogue(">2000  <#ACK\\r\\n  .100  >image  .100  <#NAK\\r\\n", image).script());
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
