#include "imagerun.h"
#include "labprocess.h"
#include "labroom.h"
#include "updateroom.h"

#include <QTemporaryDir>
#include <QTest>

using imagerun::device;
using imagerun::Run;

namespace {

const QString header = QStringLiteral(" ===  U P D A T E   T H E   D E V I C E  ===");
const QString otherAddress = QStringLiteral("192.168.0.71");
const QString otherMac = QStringLiteral("00:1A:2B:00:00:71");

} // namespace

// Which instruments one run of the worker turns to, and in which order.
class TestUpdateOrder : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void runsWithoutWork_data();
    void runsWithoutWork();
    void recoveryModeIsNotAsked();
    void selectedFirstThenManual();
    void manualAfterAFailure_data();
    void manualAfterAFailure();
    void barBeginsAnew();

private:
    QTemporaryDir folder;
    QString path;
    QByteArray image;
};

void TestUpdateOrder::initTestCase()
{
    path = folder.filePath(QStringLiteral("image.bin"));
    image = updateroom::firmwareFile(path, 50000);
}

void TestUpdateOrder::runsWithoutWork_data()
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

void TestUpdateOrder::runsWithoutWork()
{
    QFETCH(QList<bool>, selected);
    QFETCH(int, known);
    QList<Device_t> devices;
    for (int i = 0; i < known; ++i) {
        devices.append(device(QStringLiteral("1100")));
    }
    QFETCH(int, rows);
    const Run seen = imagerun::run({selected, devices, path, {}, {}, rows});
    QVERIFY(seen.ended);
    QVERIFY(seen.log.isEmpty() && seen.completed == 0 && seen.failed == 0);
}

// It knows no version any more.
void TestUpdateOrder::recoveryModeIsNotAsked()
{
    LabProcess lab;
    updateroom::startLab(lab, R"({"kind":"json","code":"1F80","texts":{"FW":"BOOT"}})");
    const Run seen = imagerun::run({{true}, {device(QStringLiteral("1F80"))}, path});
    QVERIFY2(seen.completed == 1 && seen.failed == 0, qPrintable(seen.log.join(QLatin1Char('\n'))));
    QVERIFY(updateroom::storedIs(lab, image));
    QCOMPARE(imagerun::linesOf(lab),
             QStringList({QStringLiteral("MST"), QStringLiteral("MRP"), QStringLiteral("MREBOOT")}));
    QCOMPARE(seen.removed, QVector<int>{0});
}

void TestUpdateOrder::selectedFirstThenManual()
{
    LabProcess lab;
    updateroom::startLab(lab, updateroom::powerSupply);
    const Run seen = imagerun::run({{true}, {device(QStringLiteral("1100"))}, path, updateroom::address()});
    QVERIFY2(seen.completed == 1 && seen.failed == 0, qPrintable(seen.log.join(QLatin1Char('\n'))));
    QCOMPARE(lab.events(QStringLiteral("imageStored")).size(), 2);
    QCOMPARE(seen.log.count(header), 2);
    // Each begins at 0, and 100 says that all is done.
    QCOMPARE(seen.progress.count(0), 2);
    QCOMPARE(seen.progress.count(100), 1);
    QCOMPARE(seen.progress.last(), 100);
}

// The version check ends the whole run; an update that fails leaves the manual address its turn.
void TestUpdateOrder::manualAfterAFailure_data()
{
    QTest::addColumn<QByteArray>("update");
    QTest::addColumn<QString>("error");
    QTest::addColumn<QString>("stopAt");
    QTest::addColumn<bool>("goesOn");
    const auto row = [](const char *name, const char *update, const char *error, const char *stopAt,
                        bool goesOn) {
        QTest::newRow(name) << QByteArray(update) << error << stopAt << goesOn;
    };
    row("version refused", R"({"nakAt":"VER"})", "No response from device", "", false);
    row("status refused", R"({"nakAt":"MST"})", "ERROR: Status not available!", "", true);
    row("image refused", R"({"nakAt":"image"})", "ERROR: image refused", "", true);
    row("stopped", "{}", "ERROR: Update timed out!", "DC-Link: ", false);
}

void TestUpdateOrder::manualAfterAFailure()
{
    QFETCH(QByteArray, update);
    QFETCH(QString, error);
    QFETCH(QString, stopAt);
    QFETCH(bool, goesOn);
    const QJsonObject other = labroom::with(
        labroom::with(updateroom::instrument(updateroom::powerSupply), "ip", otherAddress), "mac", otherMac);
    LabProcess lab;
    labroom::play(lab, {updateroom::instrument(updateroom::powerSupply, update), other});
    const Run seen = imagerun::run({{true}, {device(QStringLiteral("1100"))}, path, otherAddress, stopAt});
    QVERIFY2(seen.log.contains(error), qPrintable(seen.log.join(QLatin1Char('\n'))));
    QCOMPARE(seen.log.contains(QStringLiteral("Device IP: ") + otherAddress), goesOn);
    QCOMPARE(updateroom::imageIn(lab, otherMac) == image, goesOn);
    // However the second one ends, one of them was not updated.
    QCOMPARE(seen.failed, 1);
    QCOMPARE(seen.completed, 0);
    QCOMPARE(seen.progress.count(0), goesOn ? 2 : 1);
    QVERIFY(!seen.progress.contains(100));
}

// The bar may still show the end of the run before.
void TestUpdateOrder::barBeginsAnew()
{
    const Run seen = imagerun::run({{true}, {device(QStringLiteral("1100"))}, path});
    QCOMPARE(seen.log.last(), QStringLiteral("Device Unconnected! exit..."));
    QCOMPARE(seen.progress, QVector<int>{0});
}

QTEST_GUILESS_MAIN(TestUpdateOrder)
#include "tst_updateorder.moc"
