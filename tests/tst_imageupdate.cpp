#include "imagerun.h"
#include "labprocess.h"
#include "labroom.h"
#include "updateroom.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using imagerun::Run;

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

void TestImageUpdate::initTestCase()
{
    image = updateroom::firmware(150000);
    path = folder.filePath(QStringLiteral("image.bin"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(image), qint64{image.size()});
}

void TestImageUpdate::writesTheImage_data()
{
    QTest::addColumn<QString>("played");
    QTest::addColumn<QString>("update");
    QTest::addColumn<QString>("code");
    QTest::addColumn<QString>("question"); // the last line before the image
    const QString supply = QLatin1String(updateroom::powerSupply);
    const QString modular = QStringLiteral(R"({"kind":"powerSupply","code":"1400"})");
    const QString pico = QLatin1String(updateroom::picoammeter);
    const QString supply1600 = QStringLiteral(R"({"kind":"beamline","code":"1600"})");
    QTest::newRow("power supply") << supply << "{}"
                                  << "1100"
                                  << "MRP";
    QTest::newRow("modular supply") << modular << "{}"
                                    << "1400"
                                    << "MRG:83";
    QTest::newRow("answers in pieces") << supply << R"({"pieceBytes":2,"pieceMs":1})"
                                       << "1100"
                                       << "MRP";
    QTest::newRow("slow") << supply << R"({"bytesPerSecond":100000})"
                          << "1100"
                          << "MRP";
    QTest::newRow("picoammeter") << pico << "{}"
                                 << "2100"
                                 << "EPCSWR";
    QTest::newRow("1600") << supply1600 << "{}"
                          << "1600"
                          << "EPCSWR";
}

void TestImageUpdate::writesTheImage()
{
    QFETCH(QString, played);
    QFETCH(QString, update);
    QFETCH(QString, code);
    QFETCH(QString, question);
    LabProcess lab;
    QVERIFY2(lab.start(labroom::scenarioOf({updateroom::instrument(played, update)})),
             qPrintable(lab.errorText()));
    const Run seen = this->update(code);
    QVERIFY2(seen.completed == 1 && seen.failed == 0, qPrintable(seen.log.join(QLatin1Char('\n'))));
    QVERIFY(updateroom::storedIs(lab, image));
    const QStringList lines = imagerun::linesOf(lab);
    QCOMPARE(lines.first(), QStringLiteral("VER"));
    QVERIFY2(lines.contains(question), qPrintable(lines.join(QLatin1Char(' '))));
    QVERIFY(seen.log.filter(QStringLiteral("Device name: ")).size() == 1);
    QCOMPARE(!seen.log.filter(QStringLiteral("DC-Link: ")).isEmpty(),
             question.startsWith(QLatin1String("MR")));

    // What a power supply says about it is told.
    const bool talks = question.startsWith(QLatin1String("MR"));
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
    QVERIFY2(lab.start(labroom::scenarioOf(
                 {updateroom::instrument(QLatin1String(updateroom::powerSupply),
                                         QStringLiteral(R"({"bytesPerSecond":%1})").arg(bytesPerSecond))})),
             qPrintable(lab.errorText()));
    QFile file(folder.filePath(QStringLiteral("long.bin")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(updateroom::firmware(size)), qint64{size});
    file.close();
    const Run seen = run(QStringLiteral("1100"), file.fileName());
    QCOMPARE(seen.completed, 1);
    // From the first step to the one at half of the image.
    const qint64 taken = seen.progressMs.at(48) - seen.progressMs.at(1);
    QVERIFY2(taken > halfwayMs * 3 / 4, qPrintable(QString::number(taken)));
}

void TestImageUpdate::faultsEndTheRun_data()
{
    QTest::addColumn<QString>("played");
    QTest::addColumn<QString>("update");
    QTest::addColumn<QString>("code");
    QTest::addColumn<QString>("error");
    QTest::addColumn<bool>("untouched"); // what was stored before is stored still
    const QString supply = QLatin1String(updateroom::powerSupply);
    const QString pico = QLatin1String(updateroom::picoammeter);
    const auto row = [](const char *name, const QString &played, const char *update, const char *code,
                        const char *error, bool untouched) {
        QTest::newRow(name) << played << QString::fromLatin1(update) << QString::fromLatin1(code)
                            << QString::fromLatin1(error) << untouched;
    };
    row("version refused", supply, R"({"nakAt":"VER"})", "1100", "No response from device", true);
    row("version silent", supply, R"({"silentAt":"VER"})", "1100", "No response from device", true);
    row("status refused", supply, R"({"nakAt":"MST"})", "1100", "ERROR: Status not available!", true);
    row("status silent", supply, R"({"silentAt":"MST"})", "1100", "ERROR: Status not available!", true);
    row("status odd", supply, R"({"wrongAt":{"MST":"#MRP:1"}})", "1100", "ERROR: Status not available!",
        true);
    row("DC link refused", supply, R"({"nakAt":"MRP"})", "1100", "ERROR: DC-Link check failed!", true);
    row("DC link silent", supply, R"({"silentAt":"MRP"})", "1100", "ERROR: DC-Link check failed!", true);
    row("image refused", supply, R"({"nakAt":"image","nakText":"bad checksum"})", "1100",
        "ERROR: bad checksum", true);
    row("image silent", supply, R"({"silentAt":"image"})", "1100", "ERROR: No answer to the firmware!", true);
    row("image cut", supply, R"({"cutAfterBytes":40000})", "1100", "ERROR: writing failed!", true);
    row("beamline's version refused", pico, R"({"nakAt":"VER"})", "2100", "No response from device", true);
    row("erase refused", pico, R"({"nakAt":"EPCSER:0"})", "2100", "ERROR: Flash Erase failed!", true);
    row("erase silent", pico, R"({"silentAt":"EPCSER:0"})", "2100", "ERROR: Flash Erase failed!", true);
    row("second erase refused", pico, R"({"nakAt":"EPCSER:1"})", "2100", "ERROR: Flash Erase failed!", false);
    row("write refused", pico, R"({"nakAt":"EPCSWR"})", "2100", "ERROR: writing failed!", false);
    row("write cut", pico, R"({"cutAfterBytes":40000})", "2100", "ERROR: writing failed!", false);
    row("end refused", pico, R"({"nakAt":"image"})", "2100", "ERROR: writing failed!", false);
    row("end silent", pico, R"({"silentAt":"image"})", "2100", "ERROR: writing failed!", false);
}

void TestImageUpdate::faultsEndTheRun()
{
    QFETCH(QString, played);
    QFETCH(QString, update);
    QFETCH(QString, code);
    QFETCH(QString, error);
    QFETCH(bool, untouched);
    LabProcess lab;
    QVERIFY2(lab.start(labroom::scenarioOf({updateroom::instrument(played, update)})),
             qPrintable(lab.errorText()));
    const QByteArray before = updateroom::imageIn(lab);
    QVERIFY(before != image);
    const Run seen = this->update(code);
    QVERIFY(seen.ended);
    QVERIFY2(seen.completed == 0 && seen.failed == 1, qPrintable(seen.log.join(QLatin1Char('\n'))));
    QCOMPARE(seen.log.last(), error);
    QCOMPARE(seen.progress.value(0, -1), 0);
    QVERIFY(!seen.progress.contains(100));
    // A refused question is the last thing that the instrument hears.
    const QString refused =
        labroom::object(update.toLatin1().constData()).value(QLatin1String("nakAt")).toString();
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
    QVERIFY2(lab.start(labroom::scenarioOf({updateroom::instrument(QLatin1String(updateroom::powerSupply))})),
             qPrintable(lab.errorText()));
    const Run seen = run(QStringLiteral("1F80"), useless);
    QCOMPARE(seen.failed, 1);
    QCOMPARE(seen.log.last(), QStringLiteral("ERROR: Please select a valid firmware!"));
    QVERIFY(lab.events(QStringLiteral("connected")).isEmpty());
}

void TestImageUpdate::othersAreRefused_data()
{
    QTest::addColumn<QString>("code");
    QTest::addColumn<QString>("error");
    QTest::newRow("transducer") << "3100"
                                << "ERROR: Current Transdurers are not supported!";
    QTest::newRow("tool") << "6100"
                          << "ERROR: Unrecognized device family!";
    QTest::newRow("unknown") << "9999"
                             << "ERROR: Unrecognized device family!";
    QTest::newRow("lower case") << "1f80"
                                << "ERROR: Unrecognized device family!";
}

void TestImageUpdate::othersAreRefused()
{
    QFETCH(QString, code);
    QFETCH(QString, error);
    LabProcess lab;
    QVERIFY2(lab.start(labroom::scenarioOf({updateroom::instrument(QLatin1String(updateroom::powerSupply))})),
             qPrintable(lab.errorText()));
    const Run seen = update(code);
    QCOMPARE(seen.failed, 1);
    QCOMPARE(seen.log.mid(3),
             QStringList({QStringLiteral("Try to connect..."), QStringLiteral("Device Connected!"),
                          QStringLiteral("Check version..."), error}));
    QVERIFY(lab.events(QStringLiteral("lineReceived")).isEmpty());
}

void TestImageUpdate::stopIsHonouredUntilTheImageBegins_data()
{
    QTest::addColumn<QString>("played");
    QTest::addColumn<QString>("code");
    QTest::addColumn<QString>("stopAt");
    const QString supply = QLatin1String(updateroom::powerSupply);
    const QString pico = QLatin1String(updateroom::picoammeter);
    QTest::newRow("connecting") << supply << "1100"
                                << "Try to connect...";
    QTest::newRow("version known") << supply << "1100"
                                   << "Device name: ";
    QTest::newRow("DC link known") << supply << "1100"
                                   << "DC-Link: ";
    QTest::newRow("beamline, version known") << pico << "2100"
                                             << "Device name: ";
    QTest::newRow("beamline, before the first erase") << pico << "2100"
                                                      << "Erasing Strimo memory...";
}

void TestImageUpdate::stopIsHonouredUntilTheImageBegins()
{
    QFETCH(QString, played);
    QFETCH(QString, code);
    QFETCH(QString, stopAt);
    LabProcess lab;
    QVERIFY2(lab.start(labroom::scenarioOf({updateroom::instrument(played)})), qPrintable(lab.errorText()));
    const QByteArray before = updateroom::imageIn(lab);
    const Run seen = update(code, stopAt);
    QVERIFY2(seen.failed == 1 && seen.completed == 0, qPrintable(seen.log.join(QLatin1Char('\n'))));
    QCOMPARE(seen.log.last(), QStringLiteral("ERROR: Update timed out!"));
    QVERIFY(imagerun::linesOf(lab).filter(QStringLiteral("EPCS")).isEmpty());
    QCOMPARE(updateroom::imageIn(lab), before);
}

void TestImageUpdate::stopBehindTheFirstEraseIsNot()
{
    LabProcess lab;
    QVERIFY2(lab.start(labroom::scenarioOf({updateroom::instrument(QLatin1String(updateroom::picoammeter),
                                                                   QStringLiteral(R"({"eraseMs":500})"))})),
             qPrintable(lab.errorText()));
    const auto erased = [&lab] { return !lab.events(QStringLiteral("sectorErased")).isEmpty(); };
    const Run seen =
        imagerun::run({{true}, {imagerun::device(QStringLiteral("2100"))}, path, {}, {}, -1, erased});
    QVERIFY(seen.stopRequested);
    QVERIFY2(seen.failed == 0 && seen.completed == 1, qPrintable(seen.log.join(QLatin1Char('\n'))));
    QVERIFY(updateroom::storedIs(lab, image));
}

QTEST_GUILESS_MAIN(TestImageUpdate)
#include "tst_imageupdate.moc"
