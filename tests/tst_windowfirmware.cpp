#include "windowfixture.h"

#include <QAction>
#include <QCheckBox>
#include <QDialog>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QTest>
#include <QThread>

namespace {

const QByteArray withManualIp("[scan]\nscanTime=600\n[update]\nmanualIp=true\n");
const QString done = "Device succesfuly updated!"_s;
const QString failed = "ERROR: Updating failed!"_s;

} // namespace

// The firmware page and the check for updates, through the real window: what the user ticks and presses, what
// lands in the instruments, and what the user is told.
class TestWindowFirmware : public QObject
{
    Q_OBJECT

private slots:
    void updatesInTurn();
    void failureKeepsTheRest();
    void restartIsLookedFor();
    void recoversASupplyByManualIp_data();
    void recoversASupplyByManualIp();
    void settingsWaitForTheEnd();
    void closingAsksWhileAnUpdateRuns();
    void endTakesTheQuestionAway();
    void secondCheckIsIgnored();
    void newReleaseWaitsForTheInstruments();

private:
    static void typeAddress(const WindowFixture &room, int number);
    static void play(const WindowFixture &room, const char *what);
    static int toolStarts(const WindowFixture &room);
};

void TestWindowFirmware::typeAddress(const WindowFixture &room, int number)
{
    room.find<QCheckBox>("checkBoxManualIP")->setChecked(true);
    room.type("lineEditSetManualIP", number > 0 ? addressOf(number) : QString());
}

// What the maintenance tool does from now on.
void TestWindowFirmware::play(const WindowFixture &room, const char *what)
{
    qputenv("TOOL_LOG", (room.homePath() + "/log"_s).toLocal8Bit());
    qputenv("TOOL_PLAYS", what);
}

int TestWindowFirmware::toolStarts(const WindowFixture &room)
{
    QFile file(room.homePath() + "/log"_s);
    return file.open(QIODevice::ReadOnly) ? file.readAll().count('\n') : 0;
}

// The first with the file of the button that was pressed, all others with the first file.
void TestWindowFirmware::updatesInTurn()
{
    WindowFixture room;
    room.openPage({supply(11), supply(12), supply(13)});
    const QByteArray other = room.image + "other";
    QFile file(room.homePath() + "/other.updt"_s);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(other) == other.size());
    file.close();
    room.type("lineEditFirmware2", file.fileName());
    room.tick({11, 12, 13});
    QVERIFY(room.update("updateFw2Btn"));
    QCOMPARE(room.boxes().size(), 1);
    QCOMPARE(room.boxes().last().title, "Firmware Upgrade"_s);
    QCOMPARE(room.lastBox(), done);
    QCOMPARE(room.log().count(" ===  U P D A T E   T H E   D E V I C E  ==="_s), 3);
    QCOMPARE(room.find<QProgressBar>("progressBarFirmware")->value(), 100);
    QList<QByteArray> images;
    for (int number = 11; number <= 13; ++number) {
        images.append(room.storedImage(number));
    }
    QCOMPARE(images.count(other), 1);
    QCOMPARE(images.count(room.image), 2);
    QTRY_COMPARE_WITH_TIMEOUT(room.said().count(" before, "_s), 3, 30000);
    QCOMPARE(room.find<QLabel>("labelElapsed")->text().left(5), "Took "_s);

    room.tick({11, 12, 13});
    room.type("lineEditFirmware1", QString()); // there is nothing for the next one
    QVERIFY(room.update("updateFw2Btn"));
    QCOMPARE(room.lastBox(), "ERROR: Please select a valid firmware!"_s);
    QCOMPARE(room.said(), "Not all selected instruments are updated."_s);
}

void TestWindowFirmware::failureKeepsTheRest()
{
    WindowFixture room;
    room.openPage(
        {labInstrument("beamline", "2100", 11),
         labInstrument("beamline", "2100", 12, {{"update"_s, QJsonObject{{"nakAt"_s, "EPCSER:0"_s}}}}),
         labInstrument("beamline", "2100", 13)});
    const QByteArray before = room.storedImage(12);
    room.tick({11, 12, 13});
    QVERIFY(room.update());
    QCOMPARE(room.boxes().size(), 1);
    QCOMPARE(room.boxes().last().title, "Firmware Upgrade"_s);
    QCOMPARE(room.lastBox(), failed);
    QCOMPARE(room.said(), "The update of 192.168.0.12 failed; the log says why."_s);
    QCOMPARE(room.storedImage(12), before);
    // Those behind it in the list stay ticked, and are what the next press goes on with.
    QVERIFY(room.wasCalled(11) && !room.boxOf(11)->isChecked() && !room.boxOf(12)->isChecked());
    QVERIFY(!room.wasCalled(13) && room.boxOf(13)->isChecked());
    QVERIFY(room.update());
    QCOMPARE(room.lastBox(), done);
    QCOMPARE(room.storedImage(11), room.image);
    QCOMPARE(room.storedImage(13), room.image);
}

// Longer than the scan behind the update takes.
void TestWindowFirmware::restartIsLookedFor()
{
    WindowFixture room;
    room.openPage({supply(11, {{"keepsFirmware"_s, true}}, {{"restartMs"_s, 5000}}), supply(12)});
    room.tick({11});
    room.answerBoxes("OK"_s, [&room](const QString &) { // no scan before the instrument is away
        const QVector<QJsonObject> lines = room.lab.events("lineReceived"_s);
        return lines.last().value("line"_s) == "MREBOOT"_s;
    });
    QVERIFY(room.update());
    QVERIFY2(room.said().contains("does not answer yet"_s), qPrintable(room.said()));
    QCOMPARE(room.table()->rowCount(), 1);
    QTRY_COMPARE_WITH_TIMEOUT(room.table()->rowCount(), 2, 30000);
    QTRY_VERIFY2_WITH_TIMEOUT(room.said().endsWith("not changed."_s), qPrintable(room.said()), 30000);
    QCOMPARE(room.storedImage(11), room.image);
    room.press("updateFwBtn");
    QCOMPARE(room.lastBox(), "ERROR: Select the devices to update!"_s); // nobody was ticked by the look
    room.tick({12});
    QVERIFY(room.update());
    QCOMPARE(room.storedImage(12), room.image);
    QCOMPARE(room.lab.events("imageStored"_s).size(), 2); // one each
}

void TestWindowFirmware::recoversASupplyByManualIp_data()
{
    QTest::addColumn<bool>("anotherTicked");
    QTest::addColumn<bool>("refused");
    QTest::newRow("empty table") << false << false;
    QTest::newRow("another instrument ticked") << true << false;
    QTest::newRow("refused") << true << true;
}

// An instrument in recovery mode does not answer scans, only its TCP port.
void TestWindowFirmware::recoversASupplyByManualIp()
{
    WindowFixture room;
    QFETCH(bool, anotherTicked);
    QFETCH(bool, refused);
    QJsonObject mute = labInstrument("json", "1F80", 20, {{"faults"_s, QJsonObject{{"dropEvery"_s, 1}}}});
    if (refused) {
        mute.insert("update"_s, QJsonObject{{"nakAt"_s, "MST"_s}});
    }
    room.openPage(anotherTicked ? QJsonArray{mute, supply(11)} : QJsonArray{mute}, withManualIp);
    if (anotherTicked) {
        room.selectRow(0);
        room.tick({11});
    }
    typeAddress(room, 20);
    QVERIFY(!room.find<QWidget>("frameDevIP")->isHidden());
    QVERIFY(!room.table()->isEnabled());
    QVERIFY(!anotherTicked || !room.boxOf(11)->isChecked());
    const QByteArray before = room.storedImage(20);
    QVERIFY(room.update());
    QCOMPARE(room.lastBox(), refused ? failed : done);
    QCOMPARE(room.storedImage(20), refused ? before : room.image);
    QVERIFY(!room.wasCalled(11));
    QCOMPARE(room.said().startsWith("The update of 192.168.0.20 failed"_s), refused);
    // After a failure it is ready for another try at the same address.
    QCOMPARE(room.find<QCheckBox>("checkBoxManualIP")->isChecked(), refused);
    QCOMPARE(room.find<QLineEdit>("lineEditSetManualIP")->isEnabled(), true);
    QCOMPARE(room.table()->isEnabled(), !refused);
    if (refused) { // and without one there is nothing to do, which needs no words
        typeAddress(room, 0);
        room.press("updateFwBtn");
        QVERIFY(room.isLocked());
        QTRY_VERIFY(!room.isLocked());
        QCOMPARE(room.boxes().size(), 1);
    }
}

// Taking the manual address away in the middle of its update must not let the table in again.
void TestWindowFirmware::settingsWaitForTheEnd()
{
    WindowFixture room;
    room.openPage({supply(11), supply(12, {{"bytesPerSecond"_s, 80000}})}, withManualIp);
    typeAddress(room, 12);
    room.press("updateFwBtn");
    QCOMPARE(room.said(), "Updating 192.168.0.12..."_s);
    QVERIFY(room.lab.waitForEvent("connected"_s));
    QDialog *dialog = room.openDialog("actionSettings", "Settings");
    dialog->findChild<QCheckBox *>("checkBoxEnable"_s)->setChecked(false);
    QTest::mouseClick(dialog->findChild<QPushButton *>("applyBtn"_s), Qt::LeftButton);
    for (const char *name : {"updateFwBtn", "updateFw2Btn", "chooseFirmwareBtn", "lineEditFirmware2",
                             "scanBtn", "infoBtn", "checkBoxManualIP", "lineEditSetManualIP",
                             "tableDeviceConfig", "saveConfBtn", "tableWidgetDeviceFirstTable"}) {
        QVERIFY2(!room.find<QWidget>(name)->isEnabled(), name);
    }
    QTRY_VERIFY_WITH_TIMEOUT(!room.isLocked(), 30000);
    QCOMPARE(room.lastBox(), done);
    QCOMPARE(room.storedImage(12), room.image);
    QVERIFY(room.find<QWidget>("frameManualIp")->isHidden());
    QVERIFY(room.table()->isEnabled());
}

void TestWindowFirmware::closingAsksWhileAnUpdateRuns()
{
    WindowFixture room;
    room.openPage(
        {labInstrument("beamline", "2100", 11, {{"update"_s, QJsonObject{{"bytesPerSecond"_s, 80000}}}}),
         labInstrument("beamline", "2100", 12)});
    room.tick({11});
    room.press("updateFwBtn");
    QVERIFY(room.lab.waitForEvent("sectorErased"_s));
    room.answerBoxes("Keep running"_s);
    QVERIFY(!room->close());
    QCOMPARE(room.lastBox(),
             "An update is running. Closing now can leave the instrument without firmware."_s);
    QCOMPARE(room.boxes().last().standing, "Keep running"_s);
    QVERIFY(room.isLocked());
    // Its flash is erased, so it is finished; nothing more is said.
    room.answerBoxes("Close anyway"_s);
    QVERIFY(room->close());
    QCOMPARE(room.storedImage(11), room.image);
    QCOMPARE(room.boxes().size(), 2);
    QCOMPARE(room.said(), "The update of 192.168.0.11 has ended."_s);
}

void TestWindowFirmware::endTakesTheQuestionAway()
{
    WindowFixture room;
    room.openPage({supply(11, {{"bytesPerSecond"_s, 100000}})});
    room.tick({11});
    room.answerBoxes("OK"_s, [](const QString &text) { return text == done; }); // he reads the question
    room.press("updateFwBtn");
    QVERIFY(!room->close()); // comes back when the update has ended
    QVERIFY(room->isVisible());
    QVERIFY(!room.isLocked());
    QCOMPARE(room.storedImage(11), room.image);
}

void TestWindowFirmware::secondCheckIsIgnored()
{
    WindowFixture room;
    play(room, "no update");
    room.open();
    for (int check = 1; check <= 2; ++check) {
        room.press("actionCheck_for_updates");
        room.press("actionCheck_for_updates");
        QCOMPARE(room.boxes().size(), check - 1); // the window does not wait
        QTRY_COMPARE_WITH_TIMEOUT(room.boxes().size(), check, 30000);
        QCOMPARE(room.lastBox(), "No updates available."_s);
        QTRY_VERIFY2(room->findChildren<QThread *>().isEmpty(), "a second check runs");
        QCOMPARE(toolStarts(room), check);
    }
}

// The program would be closed for its own update in the middle of an instrument's.
void TestWindowFirmware::newReleaseWaitsForTheInstruments()
{
    WindowFixture room;
    play(room, "update");
    room.openPage({supply(11, {{"bytesPerSecond"_s, 20000}})});
    room.tick({11});
    room.press("updateFwBtn");
    QVERIFY(room.lab.waitForEvent("connected"_s));
    room.answerBoxes("Yes"_s); // to the new release; the other question is declined
    room.press("actionCheck_for_updates");
    QTRY_COMPARE_WITH_TIMEOUT(room.boxes().size(), 2, 30000);
    QVERIFY(room.boxes().first().text.startsWith("There are updates"_s));
    QVERIFY(room.lastBox().startsWith("An update is running."_s));
    QTRY_VERIFY_WITH_TIMEOUT(!room.isLocked(), 30000);
    QCOMPARE(room.storedImage(11), room.image);
    QCOMPARE(toolStarts(room), 1); // no updater
}

QTEST_MAIN(TestWindowFirmware)
#include "tst_windowfirmware.moc"
