#include "appsettings.h"
#include "labprocess.h"
#include "windowfixture.h"

#include <QApplication>
#include <QCheckBox>
#include <QFile>
#include <QFileDialog>
#include <QJsonArray>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QRegularExpression>
#include <QTest>
#include <QUrl>

namespace {

constexpr int updatePatienceMs = 60000;

QString macOf(int number)
{
    return QStringLiteral("00:1A:2B:00:00:%1").arg(number, 2, 16, QLatin1Char('0')).toUpper();
}

QJsonObject instrument(const char *kind, const char *code, int number, const QJsonObject &update = {})
{
    QJsonObject object{{QStringLiteral("kind"), QLatin1String(kind)},
                       {QStringLiteral("mac"), macOf(number)},
                       {QStringLiteral("ip"), QStringLiteral("192.168.0.%1").arg(number)},
                       {QStringLiteral("restartMs"), 0}};
    if (*code) {
        object.insert(QStringLiteral("code"), QLatin1String(code));
        object.insert(QStringLiteral("update"), update.isEmpty() ? QJsonValue(true) : QJsonValue(update));
    }
    return object;
}

} // namespace

// The firmware page with the real worker and the virtual instruments: what the user ticks and presses,
// what lands in the instruments, and what the user is told.
class TestFirmwarePage : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void refusesWithoutFileOrSelection();
    void labelsAndFiltersFollowTheInstrument();
    void onlyOneCodeIsUpdatedTogether();
    void progressCountsAsTheWorkerReports();
    void droppedFileBecomesAPath();
    void updatesSeveralInTurn_data();
    void updatesSeveralInTurn();
    void stopsAtAFailureAndKeepsTheRest();
    void unchangedVersionIsSaid();
    void recoversASupplyByManualIp();
    void secondButtonTakesTheSecondFile();
    void timeOutBeforeTheFirstByteStops();
    void timeOutAfterTheFirstByteDoesNot();
    void closingAsksWhileAnUpdateRuns();
    void savesTheLog();

private:
    void openPage(const QVector<QJsonObject> &instruments, const QByteArray &ini = "[scan]\nscanTime=400\n");
    void tick(std::initializer_list<int> numbers) const;
    QCheckBox *boxOf(int number) const;
    bool press(const char *button) const;
    bool isLocked() const { return !fixture->find<QWidget>("updateFwBtn")->isEnabled(); }
    QString log() const { return fixture->find<QPlainTextEdit>("plainTextEditFirmware")->toPlainText(); }
    QByteArray storedImage(int number) const;

    std::unique_ptr<LabProcess> lab;
    std::unique_ptr<WindowFixture> fixture;
    QString firmware;
    QByteArray image;
};

void TestFirmwarePage::init()
{
    fixture.reset();
    lab = std::make_unique<LabProcess>();
    fixture = std::make_unique<WindowFixture>();
    firmware = fixture->homePath() + QLatin1String("/image.updt");
    image.clear();
    for (int i = 0; i < 200000; ++i) {
        image.append(static_cast<char>((i * 7 + i / 251) & 0xFF));
    }
    QFile file(firmware);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(image), qint64{image.size()});
}

void TestFirmwarePage::openPage(const QVector<QJsonObject> &instruments, const QByteArray &ini)
{
    QJsonArray list;
    for (const QJsonObject &one : instruments) {
        list.append(one);
    }
    QVERIFY2(lab->start({{QStringLiteral("instruments"), list}}), qPrintable(lab->errorText()));
    fixture->writeSettings(ini);
    fixture->open();
    QVERIFY(fixture->scan());
    fixture->find<QPushButton>("updateBtn")->click();
    fixture->find<QLineEdit>("lineEditFirmware1")->setText(firmware);
}

QCheckBox *TestFirmwarePage::boxOf(int number) const
{
    return fixture->table()->selectionBox(
        fixture->rowOf(DeviceTable::IpColumn, QStringLiteral("192.168.0.%1").arg(number)));
}

void TestFirmwarePage::tick(std::initializer_list<int> numbers) const
{
    for (const int number : numbers) {
        boxOf(number)->setChecked(true);
    }
}

// Presses a start button and waits until the page is unlocked again.
bool TestFirmwarePage::press(const char *button) const
{
    QTest::mouseClick(fixture->find<QPushButton>(button), Qt::LeftButton);
    return QTest::qWaitFor([this] { return !isLocked(); }, updatePatienceMs);
}

QByteArray TestFirmwarePage::storedImage(int number) const
{
    const QString path = fixture->homePath() + QStringLiteral("/dump%1").arg(number);
    QFile::remove(path);
    lab->command({{QStringLiteral("command"), QStringLiteral("dumpImage")},
                  {QStringLiteral("mac"), macOf(number)},
                  {QStringLiteral("path"), path}});
    QFile file(path);
    const bool dumped = QTest::qWaitFor([&path] { return QFile::exists(path); }, 5000);
    return dumped && file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("no dump");
}

void TestFirmwarePage::refusesWithoutFileOrSelection()
{
    openPage({instrument("powerSupply", "1100", 11)});
    QTest::mouseClick(fixture->find<QPushButton>("updateFwBtn"), Qt::LeftButton);
    QCOMPARE(fixture->boxes().last().title, QStringLiteral("Devices to Update"));
    QCOMPARE(fixture->boxes().last().text, QStringLiteral("ERROR: Select the devices to update!"));
    tick({11});
    for (const char *path : {"", "/..."}) {
        fixture->find<QLineEdit>("lineEditFirmware1")->setText(QLatin1String(path));
        QTest::mouseClick(fixture->find<QPushButton>("updateFwBtn"), Qt::LeftButton);
        QCOMPARE(fixture->boxes().last().title, QStringLiteral("Firmware"));
        QCOMPARE(fixture->boxes().last().text, QStringLiteral("ERROR: Please select a valid firmware!"));
    }
    QCOMPARE(fixture->boxes().size(), 3);
    QVERIFY(lab->events(QStringLiteral("connected")).isEmpty());
}

void TestFirmwarePage::labelsAndFiltersFollowTheInstrument()
{
    openPage({instrument("powerSupply", "1100", 11), instrument("beamline", "1600", 12),
              instrument("beamline", "2100", 13), instrument("transducer", "3100", 14),
              instrument("module", "", 15)});
    const QHash<int, QString> kinds{{11, QStringLiteral("Firmware files (*.updt);;All files (*.*)")},
                                    {12, QStringLiteral("Firmware files (*.flash);;All files (*.*)")},
                                    {13, QStringLiteral("Firmware files (*.flash);;All files (*.*)")},
                                    {14, QStringLiteral("All files (*.*)")},
                                    {15, QStringLiteral("Firmware files (*.hex);;All files (*.*)")}};
    for (auto kind = kinds.begin(); kind != kinds.end(); ++kind) {
        fixture->selectRow(
            fixture->rowOf(DeviceTable::IpColumn, QStringLiteral("192.168.0.%1").arg(kind.key())));
        const bool motorDriver = kind.key() == 15;
        QCOMPARE(fixture->find<QWidget>("widgetFirmware2")->isHidden(), !motorDriver);
        QCOMPARE(fixture->find<QLabel>("selectFirmwareLabel_4")->text(),
                 motorDriver ? QStringLiteral("Communication Firmware") : QStringLiteral("Select Firmware"));
        QStringList offered;
        QTimer::singleShot(0, fixture->find<QWidget>("pageUpdate"), [&offered] {
            auto *dialog = qobject_cast<QFileDialog *>(QApplication::activeModalWidget());
            offered = dialog->nameFilters();
            dialog->reject();
        });
        QTest::mouseClick(fixture->find<QPushButton>("chooseFirmwareBtn"), Qt::LeftButton);
        QCOMPARE(offered.join(QStringLiteral(";;")), kind.value());
    }
    QCOMPARE(fixture->find<QLineEdit>("lineEditFirmware1")->text(), firmware);
}

void TestFirmwarePage::onlyOneCodeIsUpdatedTogether()
{
    openPage({instrument("beamline", "2100", 11), instrument("beamline", "2100", 12),
              instrument("powerSupply", "1100", 13), instrument("transducer", "3100", 14),
              instrument("module", "", 15), instrument("module", "", 16)});
    const auto enabled = [this] {
        QVector<int> numbers;
        for (int number = 11; number <= 16; ++number) {
            if (boxOf(number)->isEnabled()) {
                numbers.append(number);
            }
        }
        return numbers;
    };
    QCOMPARE(enabled(), QVector<int>({11, 12, 13, 15, 16})); // a transducer is never updated from here
    tick({11});
    QCOMPARE(enabled(), QVector<int>({11, 12}));
    boxOf(11)->setChecked(false);
    QCOMPARE(enabled(), QVector<int>({11, 12, 13, 15, 16}));
    tick({15});
    QCOMPARE(enabled(), QVector<int>({15})); // a motor driver goes alone
}

void TestFirmwarePage::progressCountsAsTheWorkerReports()
{
    fixture->open();
    const auto *bar = fixture->find<QProgressBar>("progressBarFirmware");
    const QVector<QPair<int, int>> reports{{80, 80}, {10, 90}, {30, 19},   {95, 95},
                                           {1, 96},  {50, 50}, {100, 100}, {0, 0}};
    for (const auto &[report, shown] : reports) {
        (**fixture).onChangeFwProgressBar(report);
        QCOMPARE(bar->value(), shown);
    }
}

void TestFirmwarePage::droppedFileBecomesAPath()
{
    fixture->open();
    (**fixture).onWriteFwUpLog(QStringLiteral("an earlier run"));
    auto *edit = fixture->find<QLineEdit>("lineEditFirmware2");
    edit->setText(QUrl::fromLocalFile(firmware).toString());
    QCOMPARE(edit->text(), firmware);
    QCOMPARE(AppSettings().fwDefaultDir(), fixture->homePath());
    QVERIFY(log().isEmpty());
    edit->setText(QStringLiteral("http://192.168.0.1/image.updt"));
    QCOMPARE(edit->text(), QStringLiteral("http://192.168.0.1/image.updt"));
}

void TestFirmwarePage::updatesSeveralInTurn_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("code");
    QTest::newRow("power supplies") << "powerSupply"
                                    << "1100";
    QTest::newRow("modular supplies") << "powerSupply"
                                      << "1400";
    QTest::newRow("beamline") << "beamline"
                              << "2100";
    QTest::newRow("1600") << "beamline"
                          << "1600";
}

void TestFirmwarePage::updatesSeveralInTurn()
{
    QFETCH(QString, kind);
    QFETCH(QString, code);
    QVector<QJsonObject> three;
    for (int number = 11; number <= 13; ++number) {
        three.append(instrument(qPrintable(kind), qPrintable(code), number));
    }
    openPage(three);
    tick({11, 12, 13});
    QVERIFY(press("updateFwBtn"));
    QCOMPARE(fixture->boxes().size(), 1);
    QCOMPARE(fixture->boxes().last().title, QStringLiteral("Firmware Upgrade"));
    QCOMPARE(fixture->boxes().last().text, QStringLiteral("Device succesfuly updated!"));
    QCOMPARE(log().count(QStringLiteral(" ===  U P D A T E   T H E   D E V I C E  ===")), 3);
    for (int number = 11; number <= 13; ++number) {
        QCOMPARE(storedImage(number).left(image.size()), image);
    }
    QCOMPARE(fixture->table()->rowCount(), 3);
    QCOMPARE(fixture->find<QLabel>("labelFooter")->text().count(QStringLiteral(" before, ")), 3);
}

void TestFirmwarePage::stopsAtAFailureAndKeepsTheRest()
{
    openPage({instrument("powerSupply", "1100", 11),
              instrument("powerSupply", "1100", 12, {{QStringLiteral("nakAt"), QStringLiteral("image")}}),
              instrument("powerSupply", "1100", 13)});
    tick({11, 12, 13});
    QVERIFY(press("updateFwBtn"));
    QCOMPARE(fixture->boxes().last().title, QStringLiteral("Firmware Upgrade"));
    QCOMPARE(fixture->boxes().last().text, QStringLiteral("ERROR: Updating failed!"));
    QVERIFY(boxOf(13)->isChecked());
    QVERIFY(!boxOf(11)->isChecked());
    QCOMPARE(storedImage(11), image);
    for (const QJsonObject &event : lab->events(QStringLiteral("connected"))) {
        QVERIFY(event.value(QLatin1String("mac")).toString() != macOf(13));
    }
}

void TestFirmwarePage::unchangedVersionIsSaid()
{
    openPage({instrument("powerSupply", "1100", 11, {{QStringLiteral("keepsFirmware"), true}})});
    tick({11});
    QVERIFY(press("updateFwBtn"));
    QVERIFY2(fixture->find<QLabel>("labelFooter")->text().contains(QStringLiteral("not changed")),
             qPrintable(fixture->find<QLabel>("labelFooter")->text()));
}

void TestFirmwarePage::recoversASupplyByManualIp()
{
    QJsonObject mute = instrument("json", "1F80", 20);
    mute.insert(QStringLiteral("faults"), QJsonObject{{QStringLiteral("dropEvery"), 1}});
    openPage({mute}, "[update]\nmanualIp=true\n");
    QCOMPARE(fixture->table()->rowCount(), 0);
    fixture->find<QCheckBox>("checkBoxManualIP")->setChecked(true);
    QVERIFY(!fixture->find<QWidget>("frameDevIP")->isHidden());
    QVERIFY(!fixture->table()->isEnabled());
    fixture->find<QLineEdit>("lineEditSetManualIP")->setText(QStringLiteral("192.168.0.20"));
    QVERIFY(press("updateFwBtn"));
    QCOMPARE(fixture->boxes().last().text, QStringLiteral("Device succesfuly updated!"));
    QCOMPARE(storedImage(20), image);
    QVERIFY(!fixture->find<QCheckBox>("checkBoxManualIP")->isChecked());
    QVERIFY(fixture->table()->isEnabled());
}

void TestFirmwarePage::secondButtonTakesTheSecondFile()
{
    openPage({instrument("module", "", 15)});
    fixture->selectRow(0);
    fixture->find<QLineEdit>("lineEditFirmware2")->setText(QStringLiteral("/nowhere/other.hex"));
    tick({15});
    QVERIFY(press("updateFw2Btn"));
    QVERIFY(log().contains(QStringLiteral("Firmware : /nowhere/other.hex")));
    QVERIFY(log().contains(QStringLiteral("ERROR: wrong Firmware!")));
    QCOMPARE(fixture->boxes().last().text, QStringLiteral("ERROR: Updating failed!"));
}

void TestFirmwarePage::timeOutBeforeTheFirstByteStops()
{
    openPage({instrument("powerSupply", "1100", 11, {{QStringLiteral("silentAt"), QStringLiteral("MST")}})},
             "[update]\ntimeout=600\n");
    const QByteArray before = storedImage(11);
    tick({11});
    QVERIFY(press("updateFwBtn"));
    QCOMPARE(fixture->boxes().last().text, QStringLiteral("ERROR: Updating failed!"));
    QVERIFY2(log().contains(QStringLiteral("ERROR: Update timed out!")), qPrintable(log()));
    QCOMPARE(storedImage(11), before);
}

void TestFirmwarePage::timeOutAfterTheFirstByteDoesNot()
{
    openPage({instrument("powerSupply", "1100", 11, {{QStringLiteral("bytesPerSecond"), 80000}})},
             "[update]\ntimeout=900\n");
    tick({11});
    QVERIFY(press("updateFwBtn"));
    QCOMPARE(fixture->boxes().last().text, QStringLiteral("Device succesfuly updated!"));
    QCOMPARE(storedImage(11), image);
}

void TestFirmwarePage::closingAsksWhileAnUpdateRuns()
{
    openPage({instrument("powerSupply", "1100", 11, {{QStringLiteral("bytesPerSecond"), 80000}})});
    const QByteArray before = storedImage(11);
    tick({11});
    QTest::mouseClick(fixture->find<QPushButton>("updateFwBtn"), Qt::LeftButton);
    QVERIFY(isLocked());
    fixture->answerBoxes(QStringLiteral("Keep running"));
    QVERIFY(!(**fixture).close());
    QCOMPARE(fixture->boxes().last().text,
             QStringLiteral("An update is running. Closing now can leave the instrument without firmware."));
    fixture->answerBoxes(QStringLiteral("Close anyway"));
    QVERIFY(lab->waitForEvent(QStringLiteral("connected")));
    QVERIFY((**fixture).close());
    fixture->close();
    // The worker went on to its safe point: either nothing was sent, or the image was finished.
    const QByteArray stored = storedImage(11);
    QVERIFY(stored == before || stored == image);
}

void TestFirmwarePage::savesTheLog()
{
    fixture->open();
    QTest::mouseClick(fixture->find<QPushButton>("dowloadLog"), Qt::LeftButton); // an empty log: no dialog
    (**fixture).onWriteFwUpLog(QStringLiteral("first line"));
    (**fixture).onWriteFwUpLog(QStringLiteral("second <b>line</b>"));
    const QString path = fixture->homePath() + QLatin1String("/saved.txt");
    QString proposed;
    QTimer::singleShot(0, fixture->find<QWidget>("pageUpdate"), [&proposed, &path] {
        auto *dialog = qobject_cast<QFileDialog *>(QApplication::activeModalWidget());
        proposed = dialog->findChild<QLineEdit *>(QStringLiteral("fileNameEdit"))->text();
        dialog->findChild<QLineEdit *>(QStringLiteral("fileNameEdit"))->setText(path);
        static_cast<QDialog *>(dialog)->done(QDialog::Accepted);
    });
    QTest::mouseClick(fixture->find<QPushButton>("dowloadLog"), Qt::LeftButton);
    QVERIFY2(QRegularExpression(QStringLiteral("update_log_\\d{4}_\\d\\d_\\d\\d_\\d\\d_\\d\\d\\.txt$"))
                 .match(proposed)
                 .hasMatch(),
             qPrintable(proposed));
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), QByteArray("first line\nsecond <b>line</b>"));
}

QTEST_MAIN(TestFirmwarePage)
#include "tst_firmwarepage.moc"
