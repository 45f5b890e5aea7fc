#include "firmwareupgrade.h"
#include "labprocess.h"
#include "labroom.h"
#include "quickpacing.h"
#include "updateroom.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

namespace {

constexpr int runTimeoutMs = 60000;

struct Run
{
    QStringList log;
    QVector<int> progress;
    QVector<qint64> progressMs; // when, counted from the start
    int completed = 0;
    int failed = 0;
    bool ended = false;
};

Pacing imagePacing()
{
    Pacing pacing = quickPacing();
    pacing.commandAnswer = std::chrono::milliseconds(1500);
    pacing.eraseAnswer = std::chrono::milliseconds(1500);
    pacing.imageAnswer = std::chrono::milliseconds(2500);
    return pacing;
}

Device_t device(const QString &code)
{
    Device_t record;
    record[Code] = code;
    record[Ip] = updateroom::address();
    return record;
}

} // namespace

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
    void runsWithoutWork_data();
    void runsWithoutWork();
    void selectedFirstThenManual();
    void stopIsHonouredUntilTheImageBegins_data();
    void stopIsHonouredUntilTheImageBegins();

private:
    Run run(const QList<bool> &selected, const QList<Device_t> &devices, const QString &path,
            const QString &manualIp = {}, const QString &stopAt = {}, int rows = -1) const;
    Run update(const QString &code, const QString &stopAt = {}) const
    {
        return run({true}, {device(code)}, path, {}, stopAt);
    }

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

Run TestImageUpdate::run(const QList<bool> &selected, const QList<Device_t> &devices, const QString &file,
                         const QString &manualIp, const QString &stopAt, int rows) const
{
    Run seen;
    QElapsedTimer clock;
    clock.start();
    firmwareUpgrade worker(file, rows < 0 ? devices.size() : rows, selected, devices, manualIp, nullptr,
                           imagePacing());
    connect(&worker, &firmwareUpgrade::signalPrintMessage, this,
            [&](const QString &line, bool) { seen.log.append(line); });
    // On the worker's own thread, so that the request comes before its next step.
    connect(
        &worker, &firmwareUpgrade::signalPrintMessage, &worker,
        [&](const QString &line, bool) {
            if (!stopAt.isEmpty() && line.startsWith(stopAt)) {
                worker.requestInterruption();
            }
        },
        Qt::DirectConnection);
    connect(&worker, &firmwareUpgrade::signalProgressBarUpdate, this, [&](int value) {
        seen.progress.append(value);
        seen.progressMs.append(clock.elapsed());
    });
    connect(&worker, &firmwareUpgrade::signalProcedureCompleted, this, [&] { ++seen.completed; });
    connect(&worker, &firmwareUpgrade::signalErrorDetected, this, [&] { ++seen.failed; });
    // A queued call from the worker to the loop is an order of events that the thread sanitizer sees.
    QEventLoop loop;
    connect(&worker, &QThread::finished, &loop, [&] {
        seen.ended = true;
        loop.quit();
    });
    QTimer::singleShot(runTimeoutMs, &loop, &QEventLoop::quit);
    worker.start();
    loop.exec();
    return seen;
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
    QStringList lines;
    for (const QJsonObject &event : lab.events(QStringLiteral("lineReceived"))) {
        lines.append(event.value(QLatin1String("line")).toString());
    }
    QCOMPARE(lines.first(), QStringLiteral("VER"));
    QVERIFY2(lines.contains(question), qPrintable(lines.join(QLatin1Char(' '))));
    QVERIFY(seen.log.filter(QStringLiteral("Device name: ")).size() == 1);
    QCOMPARE(!seen.log.filter(QStringLiteral("DC-Link: ")).isEmpty(),
             question.startsWith(QLatin1String("MR")));

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
    const Run seen = run({true}, {device(QStringLiteral("1100"))}, file.fileName());
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
    row("image cut", supply, R"({"cutAfterBytes":40000})", "1100", "ERROR: ", true);
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
    const Run seen = this->update(code);
    QVERIFY(seen.ended);
    QVERIFY2(seen.completed == 0 && seen.failed == 1, qPrintable(seen.log.join(QLatin1Char('\n'))));
    QVERIFY2(seen.log.last().startsWith(error), qPrintable(seen.log.last()));
    QVERIFY(!seen.progress.contains(100));
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
    const Run seen = run({true}, {device(QStringLiteral("1F80"))}, useless);
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

void TestImageUpdate::runsWithoutWork_data()
{
    QTest::addColumn<QList<bool>>("selected");
    QTest::addColumn<int>("known");
    QTest::addColumn<int>("rows");
    QTest::newRow("nothing selected") << QList<bool>{false, false} << 2 << 2;
    QTest::newRow("no flags") << QList<bool>{} << 2 << 2;
    QTest::newRow("more flags than devices") << QList<bool>{false, false, true} << 2 << 3;
    QTest::newRow("no devices") << QList<bool>{true} << 0 << 1;
    QTest::newRow("beyond the rows") << QList<bool>{false, true} << 2 << 1;
}

void TestImageUpdate::runsWithoutWork()
{
    QFETCH(QList<bool>, selected);
    QFETCH(int, known);
    QList<Device_t> devices;
    for (int i = 0; i < known; ++i) {
        devices.append(device(QStringLiteral("1100")));
    }
    QFETCH(int, rows);
    const Run seen = run(selected, devices, path, {}, {}, rows);
    QVERIFY(seen.ended);
    QVERIFY(seen.log.isEmpty() && seen.completed == 0 && seen.failed == 0);
}

void TestImageUpdate::selectedFirstThenManual()
{
    LabProcess lab;
    QVERIFY2(lab.start(labroom::scenarioOf({updateroom::instrument(QLatin1String(updateroom::powerSupply))})),
             qPrintable(lab.errorText()));
    const Run seen = run({true}, {device(QStringLiteral("1100"))}, path, updateroom::address());
    QVERIFY2(seen.completed == 1 && seen.failed == 0, qPrintable(seen.log.join(QLatin1Char('\n'))));
    QCOMPARE(lab.events(QStringLiteral("imageStored")).size(), 2);
    QCOMPARE(seen.log.filter(QStringLiteral(" ===  U P D A T E   T H E   D E V I C E  ===")).size(), 2);
}

void TestImageUpdate::stopIsHonouredUntilTheImageBegins_data()
{
    QTest::addColumn<QString>("played");
    QTest::addColumn<QString>("code");
    QTest::addColumn<QString>("stopAt");
    QTest::addColumn<bool>("stops");
    const QString supply = QLatin1String(updateroom::powerSupply);
    const QString pico = QLatin1String(updateroom::picoammeter);
    QTest::newRow("connecting") << supply << "1100"
                                << "Try to connect..." << true;
    QTest::newRow("version known") << supply << "1100"
                                   << "Device name: " << true;
    QTest::newRow("DC link known") << supply << "1100"
                                   << "DC-Link: " << true;
    QTest::newRow("erasing") << pico << "2100"
                             << "Erasing Strimo memory..." << false;
}

void TestImageUpdate::stopIsHonouredUntilTheImageBegins()
{
    QFETCH(QString, played);
    QFETCH(QString, code);
    QFETCH(QString, stopAt);
    QFETCH(bool, stops);
    LabProcess lab;
    QVERIFY2(lab.start(labroom::scenarioOf({updateroom::instrument(played)})), qPrintable(lab.errorText()));
    const Run seen = update(code, stopAt);
    QVERIFY2(seen.failed == (stops ? 1 : 0) && seen.completed == (stops ? 0 : 1),
             qPrintable(seen.log.join(QLatin1Char('\n'))));
    QCOMPARE(seen.log.contains(QStringLiteral("ERROR: Update timed out!")), stops);
    QCOMPARE(lab.events(QStringLiteral("imageStored")).isEmpty(), stops);
}

QTEST_GUILESS_MAIN(TestImageUpdate)
#include "tst_imageupdate.moc"
