#include "firmwareroom.h"

#include <QApplication>
#include <QCheckBox>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include <algorithm>
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
    void closingAsksWhileAnUpdateRuns();
    void endTakesTheQuestionAway();
    void settingsWaitForTheEnd();

private:
    QStringList addressees() const;
    bool wasCalled(int number) const;
    // Number 11, a power supply that takes updates like this, is ticked.
    void openSupply(const QJsonObject &update = {}, const QByteArray &ini = "[scan]\nscanTime=600\n");
    void typeAddress(const QString &address) const;
    QString lastBox() const { return room->window.boxes().last().text; }
    const QLabel *footer() const { return room->window.find<QLabel>("labelFooter"); }

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

bool TestWindowFirmware::wasCalled(int number) const
{
    const QVector<QJsonObject> calls = room->lab.events(QStringLiteral("connected"));
    return std::any_of(calls.cbegin(), calls.cend(), [number](const QJsonObject &event) {
        return event.value(QLatin1String("mac")).toString() == FirmwareRoom::macOf(number);
    });
}

void TestWindowFirmware::openSupply(const QJsonObject &update, const QByteArray &ini)
{
    room->openPage({FirmwareRoom::instrument("powerSupply", "1100", 11, update)}, ini);
    room->tick({11});
}

void TestWindowFirmware::typeAddress(const QString &address) const
{
    room->window.find<QCheckBox>("checkBoxManualIP")->setChecked(true);
    room->window.find<QLineEdit>("lineEditSetManualIP")->setText(address);
}

void TestWindowFirmware::init()
{
    room.reset();
    room = std::make_unique<FirmwareRoom>();
}

void TestWindowFirmware::updatesSeveralInTurn_data()
{
    QTest::addColumn<QByteArray>("kind");
    QTest::addColumn<QByteArray>("code");
    QTest::newRow("power supplies") << QByteArray("powerSupply") << QByteArray("1100");
    QTest::newRow("beamline") << QByteArray("beamline") << QByteArray("2100");
}

void TestWindowFirmware::updatesSeveralInTurn()
{
    QFETCH(QByteArray, kind);
    QFETCH(QByteArray, code);
    QVector<QJsonObject> three;
    for (int number = 11; number <= 13; ++number) {
        three.append(FirmwareRoom::instrument(kind, code, number));
    }
    room->openPage(three);
    room->tick({11, 12, 13});
    QVERIFY(room->press("updateFwBtn"));
    QCOMPARE(room->window.boxes().size(), 1);
    QCOMPARE(room->window.boxes().last().title, QStringLiteral("Firmware Upgrade"));
    QCOMPARE(lastBox(), QStringLiteral("Device succesfuly updated!"));
    QCOMPARE(room->log().count(QStringLiteral(" ===  U P D A T E   T H E   D E V I C E  ===")), 3);
    for (int number = 11; number <= 13; ++number) {
        QCOMPARE(room->storedImage(number), room->image);
    }
    QCOMPARE(addressees(),
             QStringList({FirmwareRoom::macOf(11), FirmwareRoom::macOf(12), FirmwareRoom::macOf(13)}));
    QCOMPARE(room->window.table()->rowCount(), 3);
    QCOMPARE(footer()->text().count(QStringLiteral(" before, ")), 3);
}

void TestWindowFirmware::stopsAtAFailureAndKeepsTheRest_data()
{
    QTest::addColumn<QByteArray>("kind");
    QTest::addColumn<QByteArray>("code");
    QTest::addColumn<QString>("refused");
    QTest::addColumn<bool>("untouched");
    const auto row = [](const char *name, const char *kind, const char *code, const char *refused,
                        bool untouched) {
        QTest::newRow(name) << QByteArray(kind) << QByteArray(code) << refused << untouched;
    };
    row("power supplies, the image", "powerSupply", "1100", "image", true); // checked before it is stored
    row("beamline, the first erase", "beamline", "2100", "EPCSER:0", true);
    row("beamline, the image", "beamline", "2100", "image", false);
}

void TestWindowFirmware::stopsAtAFailureAndKeepsTheRest()
{
    QFETCH(QByteArray, kind);
    QFETCH(QByteArray, code);
    QFETCH(QString, refused);
    QFETCH(bool, untouched);
    room->openPage({FirmwareRoom::instrument(kind, code, 11),
                    FirmwareRoom::instrument(kind, code, 12, {{QStringLiteral("nakAt"), refused}}),
                    FirmwareRoom::instrument(kind, code, 13)});
    const QByteArray before = room->storedImage(12);
    QVERIFY(before != room->image);
    room->tick({11, 12, 13});
    QVERIFY(room->press("updateFwBtn"));
    QCOMPARE(room->window.boxes().size(), 1);
    QCOMPARE(room->window.boxes().last().title, QStringLiteral("Firmware Upgrade"));
    QCOMPARE(lastBox(), QStringLiteral("ERROR: Updating failed!"));
    QVERIFY(room->boxOf(13)->isChecked());
    QVERIFY(!room->boxOf(11)->isChecked());
    QCOMPARE(room->storedImage(11), room->image);
    QCOMPARE(room->storedImage(12) == before, untouched);
    QCOMPARE(room->window.find<QProgressBar>("progressBarFirmware")->value() == 100, false);
    QVERIFY(!wasCalled(13));
    // What stayed is what the next press goes on with.
    QVERIFY(room->press("updateFwBtn"));
    QCOMPARE(lastBox(), QStringLiteral("Device succesfuly updated!"));
    QCOMPARE(room->storedImage(13), room->image);
}

void TestWindowFirmware::unchangedVersionIsSaid()
{
    openSupply({{QStringLiteral("keepsFirmware"), true}});
    QVERIFY(room->press("updateFwBtn"));
    QCOMPARE(lastBox(), QStringLiteral("Device succesfuly updated!"));
    QCOMPARE(room->storedImage(11), room->image);
    QVERIFY2(footer()->text().contains(QStringLiteral("not changed")), qPrintable(footer()->text()));
}

// An instrument that takes longer to come back than the scan behind the update.
void TestWindowFirmware::versionIsSaidWhenTheInstrumentIsBack()
{
    QJsonObject slow = FirmwareRoom::instrument("powerSupply", "1100", 11);
    slow.insert(QStringLiteral("restartMs"), 3000);
    room->openPage({slow});
    room->tick({11});
    QVERIFY(room->press("updateFwBtn"));
    QVERIFY2(footer()->text().contains(QStringLiteral("does not answer yet")), qPrintable(footer()->text()));
    QCOMPARE(lastBox(), QStringLiteral("Device succesfuly updated!"));
    QCOMPARE(room->storedImage(11), room->image);
    // Looked for again without being asked.
    QTRY_VERIFY_WITH_TIMEOUT(footer()->text().contains(QStringLiteral(" before, ")), 30000);
    QCOMPARE(room->window.table()->rowCount(), 1);
    QVERIFY(room->window.scan());
    QVERIFY2(!footer()->text().contains(QStringLiteral("Firmware")), qPrintable(footer()->text()));
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
    typeAddress(QStringLiteral("192.168.0.20"));
    QVERIFY(!room->window.find<QWidget>("frameDevIP")->isHidden());
    QVERIFY(!room->window.table()->isEnabled());
    QVERIFY(!anotherTicked || !room->boxOf(11)->isChecked());
    QVERIFY(room->press("updateFwBtn"));
    QCOMPARE(lastBox(), QStringLiteral("Device succesfuly updated!"));
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
    typeAddress(QStringLiteral("192.168.0.20"));
    QVERIFY(room->press("updateFwBtn"));
    QCOMPARE(room->window.boxes().size(), 1);
    QCOMPARE(lastBox(), QStringLiteral("ERROR: Updating failed!"));
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
    typeAddress({});
    QTest::mouseClick(room->window.find<QPushButton>("updateFwBtn"), Qt::LeftButton);
    QVERIFY(room->isLocked());
    QTRY_VERIFY(!room->isLocked());
    QVERIFY(room->window.boxes().isEmpty());
    QVERIFY(room->log().isEmpty());
    QVERIFY(room->lab.events(QStringLiteral("connected")).isEmpty());
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
    QCOMPARE(lastBox(),
             QStringLiteral("An update is running. Closing now can leave the instrument without firmware."));
    QCOMPARE(room->window.boxes().last().standing, QStringLiteral("Keep running"));
    QVERIFY(room->isLocked());

    // Its flash is erased, so it is finished; the next instrument is not begun.
    room->window.answerBoxes(QStringLiteral("Close anyway"));
    QVERIFY(room->window->close());
    QTest::qWait(300); // whatever was still to be delivered
    QCOMPARE(room->window.boxes().size(), 2);
    QCOMPARE(room->storedImage(11), room->image);
    QVERIFY(!wasCalled(12));
}

void TestWindowFirmware::endTakesTheQuestionAway()
{
    openSupply({{QStringLiteral("bytesPerSecond"), 100000}});
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
    typeAddress(QStringLiteral("192.168.0.12"));
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
    QCOMPARE(lastBox(), QStringLiteral("Device succesfuly updated!"));
    QCOMPARE(room->storedImage(12), room->image);
    QVERIFY(room->window.find<QWidget>("frameManualIp")->isHidden());
    QVERIFY(room->window.table()->isEnabled());
}

QTEST_MAIN(TestWindowFirmware)
#include "tst_windowfirmware.moc"
