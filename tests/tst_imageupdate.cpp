#include "imagerun.h"
#include "labprocess.h"
#include "labroom.h"
#include "updateroom.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using imagerun::Run;
using updateroom::picoammeter;
using updateroom::powerSupply;

// The worker with power supplies and beamline instruments of the lab: dialogue, faults at every step,
// and what the instrument holds afterwards.
class TestImageUpdate : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void writesTheImage_data();
    void writesTheImage();
    void progressFollowsTheInstrument();
    void faultsEndTheRun_data();
    void faultsEndTheRun();
    void uselessFilesReachNobody_data();
    void uselessFilesReachNobody();
    void othersAreRefused_data();
    void othersAreRefused();
    void stopIsHonouredUntilTheImageBegins_data();
    void stopIsHonouredUntilTheImageBegins();
    void stopBehindTheFirstEraseIsNot();

private:
    Run run(const QString &code, const QString &file, const QString &stopAt = {})
    {
        return imagerun::run({{true}, {imagerun::device(code)}, file, {}, stopAt});
    }
    Run update(const QString &code, const QString &stopAt = {}) { return run(code, path, stopAt); }

    QTemporaryDir folder;
    QString path;
    QByteArray image;
};

namespace {

// As the device table has it.
QString codeOf(const QByteArray &played)
{
    return labroom::field(labroom::object(played.constData()), "code");
}

} // namespace

void TestImageUpdate::initTestCase()
{
    path = folder.filePath(QStringLiteral("image.bin"));
    image = updateroom::firmwareFile(path, 150000);
}

void TestImageUpdate::writesTheImage_data()
{
    QTest::addColumn<QByteArray>("played");
    QTest::addColumn<QByteArray>("update");
    QTest::addColumn<QString>("question"); // the last line before the image
    const auto row = [](const char *name, const char *played, const char *update, const char *question) {
        QTest::newRow(name) << QByteArray(played) << QByteArray(update) << question;
    };
    const char *modular = R"({"kind":"powerSupply","code":"1400"})";
    const char *supply1600 = R"({"kind":"beamline","code":"1600"})";
    row("power supply", powerSupply, "{}", "MRP");
    row("modular supply", modular, "{}", "MRG:83");
    row("answers in pieces", powerSupply, R"({"pieceBytes":2,"pieceMs":1})", "MRP");
    row("slow", powerSupply, R"({"bytesPerSecond":100000})", "MRP");
    row("picoammeter", picoammeter, "{}", "EPCSWR");
    row("1600", supply1600, "{}", "EPCSWR");
}

void TestImageUpdate::writesTheImage()
{
    QFETCH(QByteArray, played);
    QFETCH(QByteArray, update);
    QFETCH(QString, question);
    LabProcess lab;
    updateroom::startLab(lab, played, update);
    const Run seen = this->update(codeOf(played));
    QVERIFY2(seen.completed == 1 && seen.failed == 0, qPrintable(seen.log.join(QLatin1Char('\n'))));
    QVERIFY(updateroom::storedIs(lab, image));
    const QStringList lines = imagerun::linesOf(lab);
    QCOMPARE(lines.first(), QStringLiteral("VER"));
    QVERIFY2(lines.contains(question), qPrintable(lines.join(QLatin1Char(' '))));
    QVERIFY(seen.log.filter(QStringLiteral("Device name: ")).size() == 1);

    // What a power supply says about it is told.
    const bool talks = question.startsWith(QLatin1String("MR"));
    QVERIFY2(seen.lastStoppable.startsWith(talks ? QLatin1String("DC-Link: ") : QLatin1String("Erasing")),
             qPrintable(seen.lastStoppable));
    QCOMPARE(!seen.log.filter(QStringLiteral("DC-Link: ")).isEmpty(), talks);
    QCOMPARE(seen.log.contains(QStringLiteral("Receiving firmware")), talks);
    QCOMPARE(seen.log.filter(QStringLiteral(" bytes received")).size(), talks ? 2 : 0);
    QCOMPARE(seen.log.contains(QStringLiteral("Storing firmware")), talks);

    // One step at a time from 0 to 95, and 100 as the last word.
    QCOMPARE(seen.progress.first(), 0);
    QCOMPARE(seen.progress.last(), 100);
    QCOMPARE(seen.progress.count(1), 95);
    QCOMPARE(seen.progress.size(), 97);
}

// A slow instrument is seen to be slow: what this computer still holds does not count as taken.
void TestImageUpdate::progressFollowsTheInstrument()
{
    constexpr int size = 1500000;
    constexpr int bytesPerSecond = 500000;
    constexpr int halfwayMs = 1000 * (size / 2) / bytesPerSecond;
    LabProcess lab;
    updateroom::startLab(lab, powerSupply, "{\"bytesPerSecond\":" + QByteArray::number(bytesPerSecond) + '}');
    const QString longFile = folder.filePath(QStringLiteral("long.bin"));
    updateroom::firmwareFile(longFile, size);
    const Run seen = run(QStringLiteral("1100"), longFile);
    QCOMPARE(seen.completed, 1);
    // From the first step to the one at half of the image.
    const qint64 taken = seen.progressMs.at(48) - seen.progressMs.at(1);
    QVERIFY2(taken > halfwayMs * 3 / 4, qPrintable(QString::number(taken)));
}

void TestImageUpdate::faultsEndTheRun_data()
{
    QTest::addColumn<QByteArray>("played");
    QTest::addColumn<QByteArray>("update");
    QTest::addColumn<QString>("error");
    QTest::addColumn<bool>("untouched"); // what was stored before is stored still
    const auto row = [](const char *name, const char *played, const char *update, const char *error,
                        bool untouched) {
        QTest::newRow(name) << QByteArray(played) << QByteArray(update) << error << untouched;
    };
    row("version refused", powerSupply, R"({"nakAt":"VER"})", "No response from device", true);
    row("version silent", powerSupply, R"({"silentAt":"VER"})", "No response from device", true);
    row("status refused", powerSupply, R"({"nakAt":"MST"})", "ERROR: Status not available!", true);
    row("status silent", powerSupply, R"({"silentAt":"MST"})", "ERROR: Status not available!", true);
    row("status odd", powerSupply, R"({"wrongAt":{"MST":"#MRP:1"}})", "ERROR: Status not available!", true);
    row("DC link refused", powerSupply, R"({"nakAt":"MRP"})", "ERROR: DC-Link check failed!", true);
    row("DC link silent", powerSupply, R"({"silentAt":"MRP"})", "ERROR: DC-Link check failed!", true);
    row("image refused", powerSupply, R"({"nakAt":"image","nakText":"bad checksum"})", "ERROR: bad checksum",
        true);
    row("image silent", powerSupply, R"({"silentAt":"image"})", "ERROR: No answer to the firmware!", true);
    row("image cut", powerSupply, R"({"cutAfterBytes":40000})", "ERROR: writing failed!", true);
    row("beamline's version refused", picoammeter, R"({"nakAt":"VER"})", "No response from device", true);
    row("erase refused", picoammeter, R"({"nakAt":"EPCSER:0"})", "ERROR: Flash Erase failed!", true);
    row("erase silent", picoammeter, R"({"silentAt":"EPCSER:0"})", "ERROR: Flash Erase failed!", true);
    row("second erase refused", picoammeter, R"({"nakAt":"EPCSER:1"})", "ERROR: Flash Erase failed!", false);
    row("write refused", picoammeter, R"({"nakAt":"EPCSWR"})", "ERROR: writing failed!", false);
    row("write cut", picoammeter, R"({"cutAfterBytes":40000})", "ERROR: writing failed!", false);
    row("end refused", picoammeter, R"({"nakAt":"image"})", "ERROR: writing failed!", false);
    row("end silent", picoammeter, R"({"silentAt":"image"})", "ERROR: writing failed!", false);
}

void TestImageUpdate::faultsEndTheRun()
{
    QFETCH(QByteArray, played);
    QFETCH(QByteArray, update);
    QFETCH(QString, error);
    QFETCH(bool, untouched);
    LabProcess lab;
    updateroom::startLab(lab, played, update);
    const QByteArray before = updateroom::imageIn(lab);
    QVERIFY(before != image);
    const Run seen = this->update(codeOf(played));
    QVERIFY(seen.ended && !seen.wasStopped);
    QVERIFY2(seen.completed == 0 && seen.failed == 1, qPrintable(seen.log.join(QLatin1Char('\n'))));
    QCOMPARE(seen.log.last(), error);
    QCOMPARE(seen.progress.value(0, -1), 0);
    QVERIFY(!seen.progress.contains(100));
    // A refused question is the last thing that the instrument hears.
    const QString refused = labroom::object(update.constData()).value(QLatin1String("nakAt")).toString();
    if (refused != QLatin1String("image") && !refused.isEmpty()) {
        QCOMPARE(imagerun::linesOf(lab).last(), refused);
    }
    if (untouched) {
        QCOMPARE(updateroom::imageIn(lab), before);
    }
}

void TestImageUpdate::uselessFilesReachNobody_data()
{
    QTest::addColumn<qint64>("size"); // -1: no file
    QTest::newRow("missing") << qint64{-1};
    QTest::newRow("empty") << qint64{0};
    QTest::newRow("too large") << qint64{64} * 1024 * 1024 + 1;
}

void TestImageUpdate::uselessFilesReachNobody()
{
    QFETCH(qint64, size);
    const QString useless = folder.filePath(QStringLiteral("useless"));
    QFile::remove(useless);
    QFile file(useless);
    if (size >= 0) {
        QVERIFY(file.open(QIODevice::WriteOnly) && file.resize(size));
        file.close();
    }
    LabProcess lab;
    updateroom::startLab(lab, powerSupply);
    const Run seen = run(QStringLiteral("1F80"), useless);
    QCOMPARE(seen.failed, 1);
    QCOMPARE(seen.log.last(), QStringLiteral("ERROR: Please select a valid firmware!"));
    QVERIFY(lab.events(QStringLiteral("connected")).isEmpty());
}

void TestImageUpdate::othersAreRefused_data()
{
    QTest::addColumn<QString>("code");
    QTest::addColumn<QString>("error");
    const QString unrecognized = QStringLiteral("ERROR: Unrecognized device family!");
    QTest::newRow("transducer") << "3100"
                                << "ERROR: Current Transdurers are not supported!";
    QTest::newRow("tool") << "6100" << unrecognized;
    QTest::newRow("unknown") << "9999" << unrecognized;
    QTest::newRow("lower case") << "1f80" << unrecognized;
}

void TestImageUpdate::othersAreRefused()
{
    QFETCH(QString, code);
    QFETCH(QString, error);
    LabProcess lab;
    updateroom::startLab(lab, powerSupply);
    const Run seen = update(code);
    QCOMPARE(seen.failed, 1);
    QCOMPARE(seen.log.mid(3),
             QStringList({QStringLiteral("Try to connect..."), QStringLiteral("Device Connected!"),
                          QStringLiteral("Check version..."), error}));
    QVERIFY(lab.events(QStringLiteral("lineReceived")).isEmpty());
}

void TestImageUpdate::stopIsHonouredUntilTheImageBegins_data()
{
    QTest::addColumn<QByteArray>("played");
    QTest::addColumn<QString>("stopAt");
    const auto row = [](const char *name, const char *played, const char *stopAt) {
        QTest::newRow(name) << QByteArray(played) << stopAt;
    };
    row("connecting", powerSupply, "Try to connect...");
    row("version known", powerSupply, "Device name: ");
    row("DC link known", powerSupply, "DC-Link: ");
    row("beamline, before the first erase", picoammeter, "Erasing Strimo memory...");
}

void TestImageUpdate::stopIsHonouredUntilTheImageBegins()
{
    QFETCH(QByteArray, played);
    QFETCH(QString, stopAt);
    LabProcess lab;
    updateroom::startLab(lab, played);
    const QByteArray before = updateroom::imageIn(lab);
    const Run seen = update(codeOf(played), stopAt);
    QVERIFY2(seen.failed == 1 && seen.completed == 0, qPrintable(seen.log.join(QLatin1Char('\n'))));
    QCOMPARE(seen.log.last(), QStringLiteral("ERROR: Update timed out!"));
    QVERIFY(seen.wasStopped);
    QVERIFY(imagerun::linesOf(lab).filter(QStringLiteral("EPCS")).isEmpty());
    QCOMPARE(updateroom::imageIn(lab), before);
}

void TestImageUpdate::stopBehindTheFirstEraseIsNot()
{
    LabProcess lab;
    updateroom::startLab(lab, picoammeter, R"({"eraseMs":500})");
    const auto erased = [&lab] { return !lab.events(QStringLiteral("sectorErased")).isEmpty(); };
    const Run seen =
        imagerun::run({{true}, {imagerun::device(QStringLiteral("2100"))}, path, {}, {}, -1, erased});
    QVERIFY(seen.stopRequested && !seen.wasStopped);
    QVERIFY2(seen.failed == 0 && seen.completed == 1, qPrintable(seen.log.join(QLatin1Char('\n'))));
    QVERIFY(updateroom::storedIs(lab, image));
}

QTEST_GUILESS_MAIN(TestImageUpdate)
#include "tst_imageupdate.moc"
