#include "firmwareroom.h"
#include "networksettingsrow.h"
#include "newnetwsettings.h"
#include "versionproof.h"

#include <QApplication>
#include <QCheckBox>
#include <QDialog>
#include <QElapsedTimer>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QTableView>
#include <QTest>
#include <QTimer>

#include <memory>

// Updates through the real window: what the user ticks and presses, what lands in the instruments, and
// what the user is told.
class TestWindowFirmware : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void updatesSeveralInTurn_data();
    void updatesSeveralInTurn();
    void stopsAtAFailureAndKeepsTheRest_data();
    void stopsAtAFailureAndKeepsTheRest();
    void unchangedVersionIsSaid();
    void versionIsSaidWhenTheInstrumentIsBack();
    void recoversASupplyByManualIp_data();
    void recoversASupplyByManualIp();
    void recoveryThatFailsIsTold();
    void runWithoutWorkGivesThePageBack();
    void secondButtonTakesTheSecondFile();
    void timeOutBeforeTheFirstByteStops();
    void timeOutAfterTheFirstByteDoesNot();
    void closingAsksWhileAnUpdateRuns();
    void closingBeforeTheFirstByteStops_data();
    void closingBeforeTheFirstByteStops();
    void endTakesTheQuestionAway();
    void settingsWaitForTheEnd();
    void updateWaitsForNewAddresses();
    void silentVersionIsAskedAgain();

private:
    QStringList addressees() const;

    std::unique_ptr<FirmwareRoom> room;
};

// The instruments that heard a command or stored an image, in order; whoever is turned to again in between
// is there twice.
QStringList TestWindowFirmware::addressees() const
{
    static const QStringList signs{QStringLiteral("lineReceived"), QStringLiteral("imageStored")};
    QStringList macs;
    for (const QJsonObject &event : room->lab.events()) {
        const QString mac = event.value(QLatin1String("mac")).toString();
        if (signs.contains(event.value(QLatin1String("event")).toString()) &&
            macs.value(macs.size() - 1) != mac) {
            macs.append(mac);
        }
    }
    return macs;
}

void TestWindowFirmware::init()
{
    room.reset();
    room = std::make_unique<FirmwareRoom>();
}

void TestWindowFirmware::updatesSeveralInTurn_data()
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

void TestWindowFirmware::updatesSeveralInTurn()
{
    QFETCH(QString, kind);
    QFETCH(QString, code);
    QVector<QJsonObject> three;
    for (int number = 11; number <= 13; ++number) {
        three.append(FirmwareRoom::instrument(qPrintable(kind), qPrintable(code), number));
    }
    room->openPage(three);
    room->tick({11, 12, 13});
    QVERIFY(room->press("updateFwBtn"));
    QCOMPARE(room->window.boxes().size(), 1);
    QCOMPARE(room->window.boxes().last().title, QStringLiteral("Firmware Upgrade"));
    QCOMPARE(room->window.boxes().last().text, QStringLiteral("Device succesfuly updated!"));
    QCOMPARE(room->log().count(QStringLiteral(" ===  U P D A T E   T H E   D E V I C E  ===")), 3);
    for (int number = 11; number <= 13; ++number) {
        QCOMPARE(room->storedImage(number), room->image);
    }
    QCOMPARE(addressees(),
             QStringList({FirmwareRoom::macOf(11), FirmwareRoom::macOf(12), FirmwareRoom::macOf(13)}));
    QCOMPARE(room->window.table()->rowCount(), 3);
    QCOMPARE(room->window.find<QLabel>("labelFooter")->text().count(QStringLiteral(" before, ")), 3);
}

void TestWindowFirmware::stopsAtAFailureAndKeepsTheRest_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("code");
    QTest::addColumn<QString>("refused");
    QTest::addColumn<bool>("untouched");
    QTest::newRow("power supplies, the image") << "powerSupply"
                                               << "1100"
                                               << "image" << true; // checked before it is stored
    QTest::newRow("power supplies, the DC link") << "powerSupply"
                                                 << "1100"
                                                 << "MRP" << true;
    QTest::newRow("beamline, the first erase") << "beamline"
                                               << "2100"
                                               << "EPCSER:0" << true;
    QTest::newRow("beamline, the image") << "beamline"
                                         << "2100"
                                         << "image" << false;
}

void TestWindowFirmware::stopsAtAFailureAndKeepsTheRest()
{
    QFETCH(QString, kind);
    QFETCH(QString, code);
    QFETCH(QString, refused);
    QFETCH(bool, untouched);
    const QByteArray kindText = kind.toLatin1();
    const QByteArray codeText = code.toLatin1();
    room->openPage({FirmwareRoom::instrument(kindText, codeText, 11),
                    FirmwareRoom::instrument(kindText, codeText, 12, {{QStringLiteral("nakAt"), refused}}),
                    FirmwareRoom::instrument(kindText, codeText, 13)});
    const QByteArray before = room->storedImage(12);
    QVERIFY(before != room->image);
    room->tick({11, 12, 13});
    QVERIFY(room->press("updateFwBtn"));
    QCOMPARE(room->window.boxes().size(), 1);
    QCOMPARE(room->window.boxes().last().title, QStringLiteral("Firmware Upgrade"));
    QCOMPARE(room->window.boxes().last().text, QStringLiteral("ERROR: Updating failed!"));
    QVERIFY(room->boxOf(13)->isChecked());
    QVERIFY(!room->boxOf(11)->isChecked());
    QCOMPARE(room->storedImage(11), room->image);
    QCOMPARE(room->storedImage(12) == before, untouched);
    QCOMPARE(room->window.find<QProgressBar>("progressBarFirmware")->value() == 100, false);
    for (const QJsonObject &event : room->lab.events(QStringLiteral("connected"))) {
        QVERIFY(event.value(QLatin1String("mac")).toString() != FirmwareRoom::macOf(13));
    }
    // What stayed is what the next press goes on with.
    QVERIFY(room->press("updateFwBtn"));
    QCOMPARE(room->window.boxes().last().text, QStringLiteral("Device succesfuly updated!"));
    QCOMPARE(room->storedImage(13), room->image);
}

void TestWindowFirmware::unchangedVersionIsSaid()
{
    room->openPage(
        {FirmwareRoom::instrument("powerSupply", "1100", 11, {{QStringLiteral("keepsFirmware"), true}})});
    room->tick({11});
    QVERIFY(room->press("updateFwBtn"));
    QCOMPARE(room->window.boxes().last().text, QStringLiteral("Device succesfuly updated!"));
    QCOMPARE(room->storedImage(11), room->image);
    QVERIFY2(room->window.find<QLabel>("labelFooter")->text().contains(QStringLiteral("not changed")),
             qPrintable(room->window.find<QLabel>("labelFooter")->text()));
}

// An instrument that takes longer to come back than the scan behind the update.
void TestWindowFirmware::versionIsSaidWhenTheInstrumentIsBack()
{
    QJsonObject slow = FirmwareRoom::instrument("powerSupply", "1100", 11);
    slow.insert(QStringLiteral("restartMs"), 3000);
    room->openPage({slow});
    room->tick({11});
    QVERIFY(room->press("updateFwBtn"));
    const auto *footer = room->window.find<QLabel>("labelFooter");
    QVERIFY2(footer->text().contains(QStringLiteral("does not answer yet")), qPrintable(footer->text()));
    QCOMPARE(room->window.boxes().last().text, QStringLiteral("Device succesfuly updated!"));
    QCOMPARE(room->storedImage(11), room->image);
    // Looked for again without being asked.
    QTRY_VERIFY_WITH_TIMEOUT(footer->text().contains(QStringLiteral(" before, ")), 30000);
    QCOMPARE(room->window.table()->rowCount(), 1);
    QVERIFY(room->window.scan());
    QVERIFY2(!footer->text().contains(QStringLiteral("Firmware")), qPrintable(footer->text()));
}

void TestWindowFirmware::recoversASupplyByManualIp_data()
{
    QTest::addColumn<bool>("anotherTicked");
    QTest::newRow("empty table") << false;
    QTest::newRow("another instrument ticked") << true;
}

// An instrument in recovery mode does not answer scans, only its TCP port.
void TestWindowFirmware::recoversASupplyByManualIp()
{
    QFETCH(bool, anotherTicked);
    QJsonObject mute = FirmwareRoom::instrument("json", "1F80", 20);
    mute.insert(QStringLiteral("faults"), QJsonObject{{QStringLiteral("dropEvery"), 1}});
    QVector<QJsonObject> all{mute};
    if (anotherTicked) {
        all.append(FirmwareRoom::instrument("powerSupply", "1100", 11));
    }
    room->openPage(all, "[scan]\nscanTime=400\n[update]\nmanualIp=true\n");
    QCOMPARE(room->window.table()->rowCount(), all.size() - 1);
    if (anotherTicked) {
        room->window.selectRow(0);
        room->tick({11});
    }
    const QByteArray before = anotherTicked ? room->storedImage(11) : QByteArray();
    room->window.find<QCheckBox>("checkBoxManualIP")->setChecked(true);
    QVERIFY(!room->window.find<QWidget>("frameDevIP")->isHidden());
    QVERIFY(!room->window.table()->isEnabled());
    QVERIFY(!anotherTicked || !room->boxOf(11)->isChecked());
    room->window.find<QLineEdit>("lineEditSetManualIP")->setText(QStringLiteral("192.168.0.20"));
    QVERIFY(room->press("updateFwBtn"));
    QCOMPARE(room->window.boxes().last().text, QStringLiteral("Device succesfuly updated!"));
    QCOMPARE(room->storedImage(20), room->image);
    QVERIFY(!anotherTicked || room->storedImage(11) == before);
    QVERIFY(!room->window.find<QCheckBox>("checkBoxManualIP")->isChecked());
    QVERIFY(room->window.table()->isEnabled());
}

void TestWindowFirmware::recoveryThatFailsIsTold()
{
    room->openPage(
        {FirmwareRoom::instrument("json", "1F80", 20, {{QStringLiteral("nakAt"), QStringLiteral("MST")}})},
        "[scan]\nscanTime=400\n[update]\nmanualIp=true\n");
    const QByteArray before = room->storedImage(20);
    room->window.find<QCheckBox>("checkBoxManualIP")->setChecked(true);
    room->window.find<QLineEdit>("lineEditSetManualIP")->setText(QStringLiteral("192.168.0.20"));
    QVERIFY(room->press("updateFwBtn"));
    QCOMPARE(room->window.boxes().size(), 1);
    QCOMPARE(room->window.boxes().last().text, QStringLiteral("ERROR: Updating failed!"));
    QVERIFY(room->log().contains(QStringLiteral("ERROR: Status not available!")));
    QCOMPARE(room->storedImage(20), before);
    // Ready for another try at the same address.
    QVERIFY(room->window.find<QCheckBox>("checkBoxManualIP")->isChecked());
    QVERIFY(room->window.find<QLineEdit>("lineEditSetManualIP")->isEnabled());
    QVERIFY(!room->window.table()->isEnabled());
}

// Nothing is ticked and no address is typed: the worker has nothing to say.
void TestWindowFirmware::runWithoutWorkGivesThePageBack()
{
    room->openPage({FirmwareRoom::instrument("powerSupply", "1100", 11)},
                   "[scan]\nscanTime=400\n[update]\nmanualIp=true\n");
    room->window.find<QCheckBox>("checkBoxManualIP")->setChecked(true);
    room->window.find<QLineEdit>("lineEditSetManualIP")->clear();
    QTest::mouseClick(room->window.find<QPushButton>("updateFwBtn"), Qt::LeftButton);
    QVERIFY(room->isLocked());
    QTRY_VERIFY(!room->isLocked());
    QVERIFY(room->window.boxes().isEmpty());
    QVERIFY(room->log().isEmpty());
    QVERIFY(room->lab.events(QStringLiteral("connected")).isEmpty());
}

void TestWindowFirmware::secondButtonTakesTheSecondFile()
{
    room->openPage({FirmwareRoom::instrument("module", "", 15)});
    room->window.selectRow(0);
    room->window.find<QLineEdit>("lineEditFirmware2")->setText(QStringLiteral("/nowhere/other.hex"));
    room->tick({15});
    QVERIFY(room->press("updateFw2Btn"));
    QVERIFY(room->log().contains(QStringLiteral("Firmware : /nowhere/other.hex")));
    QVERIFY(room->log().contains(QStringLiteral("ERROR: wrong Firmware!")));
    QCOMPARE(room->window.boxes().last().text, QStringLiteral("ERROR: Updating failed!"));
}

void TestWindowFirmware::timeOutBeforeTheFirstByteStops()
{
    room->openPage({FirmwareRoom::instrument("powerSupply", "1100", 11,
                                             {{QStringLiteral("silentAt"), QStringLiteral("MST")}})},
                   "[scan]\nscanTime=1000\n[update]\ntimeout=600\n");
    const QByteArray before = room->storedImage(11);
    QVERIFY(before != room->image);
    room->tick({11});
    QVERIFY(room->press("updateFwBtn"));
    QCOMPARE(room->window.boxes().last().text, QStringLiteral("ERROR: Updating failed!"));
    QVERIFY2(room->log().contains(QStringLiteral("ERROR: Update timed out!")), qPrintable(room->log()));
    QCOMPARE(room->storedImage(11), before);
}

void TestWindowFirmware::timeOutAfterTheFirstByteDoesNot()
{
    constexpr int timeOutMs = 4000;
    constexpr int bytesPerSecond = 25000; // eight seconds for all of it
    room->openPage({FirmwareRoom::instrument("powerSupply", "1100", 11,
                                             {{QStringLiteral("bytesPerSecond"), bytesPerSecond}})},
                   "[scan]\nscanTime=1000\n[update]\ntimeout=" + QByteArray::number(timeOutMs) + '\n');
    room->tick({11});
    QElapsedTimer clock;
    clock.start();
    QVERIFY(room->press("updateFwBtn"));
    QVERIFY(clock.elapsed() > timeOutMs);
    QCOMPARE(room->window.boxes().last().text, QStringLiteral("Device succesfuly updated!"));
    QCOMPARE(room->storedImage(11), room->image);
}

void TestWindowFirmware::closingAsksWhileAnUpdateRuns()
{
    const QJsonObject slow{{QStringLiteral("bytesPerSecond"), 80000}};
    room->openPage({FirmwareRoom::instrument("beamline", "2100", 11, slow),
                    FirmwareRoom::instrument("beamline", "2100", 12)});
    room->tick({11, 12});
    QTest::mouseClick(room->window.find<QPushButton>("updateFwBtn"), Qt::LeftButton);
    QVERIFY(room->lab.waitForEvent(QStringLiteral("sectorErased")));
    room->window.answerBoxes(QStringLiteral("Keep running"));
    QVERIFY(!room->window->close());
    QCOMPARE(room->window.boxes().last().text,
             QStringLiteral("An update is running. Closing now can leave the instrument without firmware."));
    QCOMPARE(room->window.boxes().last().standing, QStringLiteral("Keep running"));
    QVERIFY(room->isLocked());

    // Its flash is erased, so it is finished; the next instrument is not begun.
    room->window.answerBoxes(QStringLiteral("Close anyway"));
    QVERIFY(room->window->close());
    QTest::qWait(300); // whatever was still to be delivered
    QCOMPARE(room->window.boxes().size(), 2);
    QCOMPARE(room->storedImage(11), room->image);
    for (const QJsonObject &event : room->lab.events(QStringLiteral("connected"))) {
        QVERIFY(event.value(QLatin1String("mac")).toString() != FirmwareRoom::macOf(12));
    }
}

void TestWindowFirmware::closingBeforeTheFirstByteStops_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("code");
    QTest::addColumn<QString>("silentAt");
    QTest::newRow("power supply") << "powerSupply"
                                  << "1100"
                                  << "MST";
    QTest::newRow("beamline") << "beamline"
                              << "2100"
                              << "VER";
}

void TestWindowFirmware::closingBeforeTheFirstByteStops()
{
    QFETCH(QString, kind);
    QFETCH(QString, code);
    QFETCH(QString, silentAt);
    room->openPage({FirmwareRoom::instrument(qPrintable(kind), qPrintable(code), 11,
                                             {{QStringLiteral("silentAt"), silentAt}})});
    const QByteArray before = room->storedImage(11);
    room->tick({11});
    QTest::mouseClick(room->window.find<QPushButton>("updateFwBtn"), Qt::LeftButton);
    QVERIFY(room->lab.waitForEvent([&silentAt](const QJsonObject &event) {
        return event.value(QLatin1String("line")).toString() == silentAt;
    }));
    room->window.answerBoxes(QStringLiteral("Close anyway"));
    QVERIFY(room->window->close());
    QVERIFY(!room->window->isVisible());
    QTest::qWait(300); // whatever was still to be delivered
    QCOMPARE(room->window.boxes().size(), 1);
    QVERIFY2(room->log().endsWith(QStringLiteral("ERROR: Update timed out!")), qPrintable(room->log()));
    QCOMPARE(room->storedImage(11), before);
}

void TestWindowFirmware::endTakesTheQuestionAway()
{
    room->openPage(
        {FirmwareRoom::instrument("powerSupply", "1100", 11, {{QStringLiteral("bytesPerSecond"), 100000}})});
    room->tick({11});
    room->window.leaveBoxes(); // as a user does who reads
    QTimer poll;
    connect(&poll, &QTimer::timeout, &poll, [this] {
        const auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
        if (box && box->text() == QLatin1String("Device succesfuly updated!")) {
            room->window.answerBoxes(QStringLiteral("OK"));
        }
    });
    poll.start(20);
    QTest::mouseClick(room->window.find<QPushButton>("updateFwBtn"), Qt::LeftButton);
    QVERIFY(!room->window->close()); // comes back when the update has ended
    QVERIFY(room->window->isVisible());
    QVERIFY(!room->isLocked());
    QCOMPARE(room->storedImage(11), room->image);
}

// Taking the manual address away in the middle of its update must not let the table in again.
void TestWindowFirmware::settingsWaitForTheEnd()
{
    room->openPage(
        {FirmwareRoom::instrument("powerSupply", "1100", 11),
         FirmwareRoom::instrument("powerSupply", "1100", 12, {{QStringLiteral("bytesPerSecond"), 80000}})},
        "[scan]\nscanTime=400\n[update]\nmanualIp=true\n");
    room->window.find<QCheckBox>("checkBoxManualIP")->setChecked(true);
    room->window.find<QLineEdit>("lineEditSetManualIP")->setText(QStringLiteral("192.168.0.12"));
    QTest::mouseClick(room->window.find<QPushButton>("updateFwBtn"), Qt::LeftButton);
    QVERIFY(room->lab.waitForEvent(QStringLiteral("connected")));
    room->window->onShowSettings();
    auto *dialog = room->window->findChild<QDialog *>(QStringLiteral("Settings"));
    QVERIFY(dialog);
    dialog->findChild<QCheckBox *>(QStringLiteral("checkBoxEnable"))->setChecked(false);
    QTest::mouseClick(dialog->findChild<QPushButton *>(QStringLiteral("applyBtn")), Qt::LeftButton);
    QVERIFY(room->isLocked());
    QVERIFY(!room->window.table()->isEnabled());
    QTRY_VERIFY_WITH_TIMEOUT(!room->isLocked(), 30000);
    QCOMPARE(room->window.boxes().last().text, QStringLiteral("Device succesfuly updated!"));
    QCOMPARE(room->storedImage(12), room->image);
    QVERIFY(room->window.find<QWidget>("frameManualIp")->isHidden());
    QVERIFY(room->window.table()->isEnabled());
}

// Until the scan behind new settings the table holds the old addresses, where somebody else may be by now.
void TestWindowFirmware::updateWaitsForNewAddresses()
{
    room->openPage({FirmwareRoom::instrument("powerSupply", "1100", 11),
                    FirmwareRoom::instrument("powerSupply", "1100", 12)});
    room->tick({11});
    room->window->onShowAdvancedNetwConf();
    auto *dialog = room->window->findChild<NewNetwSettings *>();
    QAbstractItemModel *rows = dialog->findChild<QTableView *>()->model();
    for (int row = 0; row < 2; ++row) {
        const bool first = rows->index(row, MacColumn).data() == FirmwareRoom::macOf(11);
        const QString other = first ? QStringLiteral("192.168.0.12") : QStringLiteral("192.168.0.11");
        QVERIFY(rows->setData(rows->index(row, IpColumn), other));
    }
    QTest::mouseClick(dialog->findChild<QPushButton *>(QStringLiteral("applyBtn")), Qt::LeftButton);
    QVERIFY(!room->window.find<QPushButton>("updateFwBtn")->isEnabled());
    room->window->onButtonUpFwPressed(); // all the same
    const auto *footer = room->window.find<QLabel>("labelFooter");
    QTRY_VERIFY_WITH_TIMEOUT(footer->text().endsWith(QStringLiteral("answer at their new address.")), 30000);
    QVERIFY(room->lab.events(QStringLiteral("connected")).isEmpty());
    QVERIFY(room->window.find<QPushButton>("updateFwBtn")->isEnabled());
}

// A motor driver's module answers before its processors do.
void TestWindowFirmware::silentVersionIsAskedAgain()
{
    Device_t driver;
    driver[Mac] = FirmwareRoom::macOf(60);
    driver[Fw] = QStringLiteral("1.07");
    Device_t starting = driver;
    starting[Fw].clear();
    VersionProof versions;
    versions.noteBefore(driver);
    versions.forgetAnswered({starting});
    QVERIFY(!versions.isEmpty());
    driver[Fw] = QStringLiteral("1.08");
    versions.forgetAnswered({driver});
    QVERIFY(versions.isEmpty());
}

QTEST_MAIN(TestWindowFirmware)
#include "tst_windowfirmware.moc"
