#include "appsettings.h"
#include "firmwarepage.h"
#include "windowfixture.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QDragEnterEvent>
#include <QFile>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QMimeData>
#include <QProgressBar>
#include <QPushButton>
#include <QRegularExpression>
#include <QTest>
#include <QThread>
#include <QTimer>
#include <QUrl>

#include <algorithm>
#include <functional>
#include <memory>
#include <tuple>

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
    void init();
    void updatesInTurn();
    void failureKeepsTheRest();
    void restartIsLookedFor();
    void recoversASupplyByManualIp_data();
    void recoversASupplyByManualIp();
    void settingsWaitForTheEnd();
    void closingAsksWhileAnUpdateRuns();
    void endTakesTheQuestionAway();
    void refusesWithoutFileOrSelection();
    void followsTheInstruments();
    void progressAndLog();
    void chosenFileIsTaken();
    void droppedFileBecomesAPath();
    void savesTheLog();
    void secondCheckIsIgnored();
    void newReleaseWaitsForTheInstruments();

private:
    void typeAddress(int number) const;
    void play(const char *what) const;
    int toolStarts() const;
    // Answers the file dialog that `button` opens with a file, empty for none.
    void inFileDialog(const char *button, const QString &file,
                      const std::function<void(QFileDialog &)> &look) const;

    std::unique_ptr<WindowFixture> room;
};

void TestWindowFirmware::init()
{
    room.reset();
    room = std::make_unique<WindowFixture>();
}

void TestWindowFirmware::typeAddress(int number) const
{
    room->find<QCheckBox>("checkBoxManualIP")->setChecked(true);
    room->type("lineEditSetManualIP", number > 0 ? addressOf(number) : QString());
}

// What the maintenance tool does from now on.
void TestWindowFirmware::play(const char *what) const
{
    qputenv("TOOL_LOG", (room->homePath() + "/log"_s).toLocal8Bit());
    qputenv("TOOL_PLAYS", what);
}

int TestWindowFirmware::toolStarts() const
{
    QFile file(room->homePath() + "/log"_s);
    return file.open(QIODevice::ReadOnly) ? file.readAll().count('\n') : 0;
}

void TestWindowFirmware::inFileDialog(const char *button, const QString &file,
                                      const std::function<void(QFileDialog &)> &look) const
{
    QTimer::singleShot(0, room->find<QWidget>("pageUpdate"), [&] {
        auto *dialog = qobject_cast<QFileDialog *>(QApplication::activeModalWidget());
        look(*dialog);
        dialog->findChild<QLineEdit *>("fileNameEdit"_s)->setText(file);
        static_cast<QDialog *>(dialog)->done(file.isEmpty() ? QDialog::Rejected : QDialog::Accepted);
    });
    room->press(button);
}

// The first with the file of the button that was pressed, all others with the first file.
void TestWindowFirmware::updatesInTurn()
{
    room->openPage({supply(11), supply(12), supply(13)});
    const QByteArray other = room->image + "other";
    QFile file(room->homePath() + "/other.updt"_s);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(other) == other.size());
    file.close();
    room->type("lineEditFirmware2", file.fileName());
    room->tick({11, 12, 13});
    QVERIFY(room->update("updateFw2Btn"));
    QCOMPARE(room->boxes().size(), 1);
    QCOMPARE(room->boxes().last().title, "Firmware Upgrade"_s);
    QCOMPARE(room->lastBox(), done);
    QCOMPARE(room->log().count(" ===  U P D A T E   T H E   D E V I C E  ==="_s), 3);
    QCOMPARE(room->find<QProgressBar>("progressBarFirmware")->value(), 100);
    QList<QByteArray> images;
    for (int number = 11; number <= 13; ++number) {
        images.append(room->storedImage(number));
    }
    QCOMPARE(images.count(other), 1);
    QCOMPARE(images.count(room->image), 2);
    QTRY_COMPARE_WITH_TIMEOUT(room->said().count(" before, "_s), 3, 30000);
    QCOMPARE(room->find<QLabel>("labelElapsed")->text().left(5), "Took "_s);

    room->tick({11, 12, 13});
    room->type("lineEditFirmware1", QString()); // there is nothing for the next one
    QVERIFY(room->update("updateFw2Btn"));
    QCOMPARE(room->lastBox(), "ERROR: Please select a valid firmware!"_s);
    QCOMPARE(room->said(), "Not all selected instruments are updated."_s);
}

void TestWindowFirmware::failureKeepsTheRest()
{
    room->openPage(
        {labInstrument("beamline", "2100", 11),
         labInstrument("beamline", "2100", 12, {{"update"_s, QJsonObject{{"nakAt"_s, "EPCSER:0"_s}}}}),
         labInstrument("beamline", "2100", 13)});
    const QByteArray before = room->storedImage(12);
    room->tick({11, 12, 13});
    QVERIFY(room->update());
    QCOMPARE(room->boxes().size(), 1);
    QCOMPARE(room->boxes().last().title, "Firmware Upgrade"_s);
    QCOMPARE(room->lastBox(), failed);
    QCOMPARE(room->said(), "The update of 192.168.0.12 failed; the log says why."_s);
    QCOMPARE(room->storedImage(12), before);
    // Those behind it in the list stay ticked, and are what the next press goes on with.
    QVERIFY(room->wasCalled(11) && !room->boxOf(11)->isChecked() && !room->boxOf(12)->isChecked());
    QVERIFY(!room->wasCalled(13) && room->boxOf(13)->isChecked());
    QVERIFY(room->update());
    QCOMPARE(room->lastBox(), done);
    QCOMPARE(room->storedImage(11), room->image);
    QCOMPARE(room->storedImage(13), room->image);
}

// Longer than the scan behind the update takes. What the user has begun meanwhile is kept.
void TestWindowFirmware::restartIsLookedFor()
{
    room->openPage({supply(11, {{"keepsFirmware"_s, true}}, {{"restartMs"_s, 3000}}), supply(12)});
    room->tick({11});
    QVERIFY(room->update());
    QVERIFY2(room->said().contains("does not answer yet"_s), qPrintable(room->said()));
    QCOMPARE(room->table()->rowCount(), 1);
    room->tick({12});
    QTRY_COMPARE_WITH_TIMEOUT(room->table()->rowCount(), 2, 30000);
    QTRY_VERIFY2_WITH_TIMEOUT(room->said().endsWith("not changed."_s), qPrintable(room->said()), 30000);
    QVERIFY(room->boxOf(12)->isChecked() && !room->boxOf(11)->isChecked());
    QCOMPARE(room->storedImage(11), room->image);
    QVERIFY(room->update());
    QCOMPARE(room->storedImage(12), room->image);
    QCOMPARE(room->lab.events("imageStored"_s).size(), 2); // one each
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
    QFETCH(bool, anotherTicked);
    QFETCH(bool, refused);
    QJsonObject mute = labInstrument("json", "1F80", 20, {{"faults"_s, QJsonObject{{"dropEvery"_s, 1}}}});
    if (refused) {
        mute.insert("update"_s, QJsonObject{{"nakAt"_s, "MST"_s}});
    }
    room->openPage(anotherTicked ? QJsonArray{mute, supply(11)} : QJsonArray{mute}, withManualIp);
    if (anotherTicked) {
        room->selectRow(0);
        room->tick({11});
    }
    typeAddress(20);
    QVERIFY(!room->find<QWidget>("frameDevIP")->isHidden());
    QVERIFY(!room->table()->isEnabled());
    QVERIFY(!anotherTicked || !room->boxOf(11)->isChecked());
    const QByteArray before = room->storedImage(20);
    QVERIFY(room->update());
    QCOMPARE(room->lastBox(), refused ? failed : done);
    QCOMPARE(room->storedImage(20), refused ? before : room->image);
    QVERIFY(!room->wasCalled(11));
    QCOMPARE(room->said().startsWith("The update of 192.168.0.20 failed"_s), refused);
    // After a failure it is ready for another try at the same address.
    QCOMPARE(room->find<QCheckBox>("checkBoxManualIP")->isChecked(), refused);
    QCOMPARE(room->find<QLineEdit>("lineEditSetManualIP")->isEnabled(), true);
    QCOMPARE(room->table()->isEnabled(), !refused);
    if (refused) { // and without one there is nothing to do, which needs no words
        typeAddress(0);
        room->press("updateFwBtn");
        QVERIFY(room->isLocked());
        QTRY_VERIFY(!room->isLocked());
        QCOMPARE(room->boxes().size(), 1);
    }
}

// Taking the manual address away in the middle of its update must not let the table in again.
void TestWindowFirmware::settingsWaitForTheEnd()
{
    room->openPage({supply(11), supply(12, {{"bytesPerSecond"_s, 80000}})}, withManualIp);
    typeAddress(12);
    room->press("updateFwBtn");
    QCOMPARE(room->said(), "Updating 192.168.0.12..."_s);
    QVERIFY(room->lab.waitForEvent("connected"_s));
    QDialog *dialog = room->openDialog("actionSettings", "Settings");
    dialog->findChild<QCheckBox *>("checkBoxEnable"_s)->setChecked(false);
    QTest::mouseClick(dialog->findChild<QPushButton *>("applyBtn"_s), Qt::LeftButton);
    for (const char *name : {"updateFwBtn", "updateFw2Btn", "chooseFirmwareBtn", "lineEditFirmware2",
                             "scanBtn", "infoBtn", "checkBoxManualIP", "lineEditSetManualIP",
                             "tableDeviceConfig", "saveConfBtn", "tableWidgetDeviceFirstTable"}) {
        QVERIFY2(!room->find<QWidget>(name)->isEnabled(), name);
    }
    QTRY_VERIFY_WITH_TIMEOUT(!room->isLocked(), 30000);
    QCOMPARE(room->lastBox(), done);
    QCOMPARE(room->storedImage(12), room->image);
    QVERIFY(room->find<QWidget>("frameManualIp")->isHidden());
    QVERIFY(room->table()->isEnabled());
}

void TestWindowFirmware::closingAsksWhileAnUpdateRuns()
{
    room->openPage(
        {labInstrument("beamline", "2100", 11, {{"update"_s, QJsonObject{{"bytesPerSecond"_s, 80000}}}}),
         labInstrument("beamline", "2100", 12)});
    room->tick({11});
    room->press("updateFwBtn");
    QVERIFY(room->lab.waitForEvent("sectorErased"_s));
    room->answerBoxes("Keep running"_s);
    QVERIFY(!room->operator*().close());
    QCOMPARE(room->lastBox(),
             "An update is running. Closing now can leave the instrument without firmware."_s);
    QCOMPARE(room->boxes().last().standing, "Keep running"_s);
    QVERIFY(room->isLocked());
    // Its flash is erased, so it is finished; nothing more is said.
    room->answerBoxes("Close anyway"_s);
    QVERIFY(room->operator*().close());
    QCOMPARE(room->storedImage(11), room->image);
    QCOMPARE(room->boxes().size(), 2);
    QCOMPARE(room->said(), "The update of 192.168.0.11 has ended."_s);
}

void TestWindowFirmware::endTakesTheQuestionAway()
{
    room->openPage({supply(11, {{"bytesPerSecond"_s, 100000}})});
    room->tick({11});
    room->leaveBoxes(); // as a user does who reads
    QTimer poll;
    connect(&poll, &QTimer::timeout, &poll, [this] {
        const auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
        if (box && box->text() == done) {
            room->answerBoxes("OK"_s);
        }
    });
    poll.start(20);
    room->press("updateFwBtn");
    QVERIFY(!room->operator*().close()); // comes back when the update has ended
    QVERIFY((*room)->isVisible());
    QVERIFY(!room->isLocked());
    QCOMPARE(room->storedImage(11), room->image);
}

void TestWindowFirmware::refusesWithoutFileOrSelection()
{
    room->openPage({supply(11)});
    room->press("updateFwBtn");
    room->tick({11});
    for (const char *path : {"", "/..."}) {
        room->type("lineEditFirmware1", QLatin1String(path));
        room->press("updateFwBtn");
    }
    QStringList said;
    for (const SeenBox &box : room->boxes()) {
        said.append(box.title + QLatin1Char('|') + box.text);
    }
    const QString noFile = "Firmware|ERROR: Please select a valid firmware!"_s;
    QCOMPARE(said, QStringList({"Devices to Update|ERROR: Select the devices to update!"_s, noFile, noFile}));
    QVERIFY(!room->wasCalled(11));
}

// Only those of one code are updated together; labels and filters are those of the selected one; and one
// number stands for row and record when a box is unticked.
void TestWindowFirmware::followsTheInstruments()
{
    room->openPage({labInstrument("beamline", "2100", 11), labInstrument("beamline", "2100", 12),
                    labInstrument("transducer", "3100", 13), labInstrument("module", "", 14)});
    const auto enabled = [this] {
        QString boxes;
        for (int number = 11; number <= 14; ++number) {
            boxes += QLatin1Char(room->boxOf(number)->isEnabled() ? 'x' : '-');
        }
        return boxes;
    };
    QCOMPARE(enabled(), "xx-x"_s); // a transducer is never updated from here
    room->tick({14});
    QCOMPARE(enabled(), "---x"_s); // and can be unticked
    room->boxOf(14)->setChecked(false);
    room->tick({11});
    QCOMPARE(enabled(), "xx--"_s);
    room->tick({12});

    for (const auto &[number, label, filter] :
         {std::tuple(12, "Select Firmware", "Firmware files (*.flash);;All files (*.*)"),
          std::tuple(14, "Communication Firmware", "Firmware files (*.hex);;All files (*.*)")}) {
        room->selectRow(room->rowOf(number));
        QCOMPARE(room->find<QWidget>("widgetFirmware2")->isHidden(), number == 12);
        QCOMPARE(room->find<QLabel>("selectFirmwareLabel_4")->text(), QLatin1String(label));
        QStringList offered;
        inFileDialog("chooseFirmwareBtn", {},
                     [&](const QFileDialog &dialog) { offered = dialog.nameFilters(); });
        QCOMPARE(offered.join(";;"_s), QLatin1String(filter));
    }
    QCOMPARE(room->find<QLabel>("labelSelectFirmware2")->text(), "Control Firmware"_s);
    QCOMPARE(room->find<QLineEdit>("lineEditFirmware1")->text(), room->firmware); // no file, no change

    room->table()->sortByColumn(DeviceTable::IpColumn, Qt::AscendingOrder);
    for (const int nobody : {-1, 4, 99}) {
        (*room)->onRemoveSelectedDev(nobody);
    }
    QVERIFY(room->boxOf(11)->isChecked() && room->boxOf(12)->isChecked());
    (*room)->onRemoveSelectedDev(0);
    QVERIFY(!room->boxOf(11)->isChecked() && room->boxOf(12)->isChecked()); // the first row's, whoever it is
}

// Each line is drawn as it comes, and lines that wait are taken in while one is drawn: not from within
// each other, or an instrument that talks a lot would fill the stack.
void TestWindowFirmware::progressAndLog()
{
    FirmwarePage page;
    for (const auto &[report, shown] :
         {std::pair(80, 80), std::pair(10, 90), std::pair(30, 19), std::pair(95, 95), std::pair(1, 96),
          std::pair(50, 50), std::pair(100, 100), std::pair(0, 0)}) {
        page.changeProgress(report);
        QCOMPARE(page.findChild<QProgressBar *>("progressBarFirmware"_s)->value(), shown);
    }
    int depth = 0;
    int deepest = 0;
    for (int line = 0; line < 100; ++line) {
        const auto write = [&, line] {
            deepest = std::max(deepest, ++depth);
            page.appendLog(QString::number(line));
            --depth;
        };
        QMetaObject::invokeMethod(&page, write, Qt::QueuedConnection);
    }
    page.changeProgress(50);
    QCOMPARE(deepest, 1);
    QCOMPARE(page.log().section(QLatin1Char('\n'), 98), "98\n99"_s);
}

// The next choice begins where the last one ended, whichever button it is for.
void TestWindowFirmware::chosenFileIsTaken()
{
    room->open();
    QString startsIn = QDir::homePath();
    for (const auto &[button, field] : {std::pair("chooseFirmwareBtn", "lineEditFirmware1"),
                                        std::pair("chooseFirmware2Btn", "lineEditFirmware2")}) {
        const QString folder = room->homePath() + QLatin1Char('/') + QLatin1String(field);
        const QString chosen = folder + "/image.updt"_s;
        QVERIFY(QDir().mkpath(folder) && QFile::copy(room->firmware, chosen));
        (*room)->onWriteFwUpLog("an earlier run"_s);
        (*room)->onChangeFwProgressBar(80);
        inFileDialog(button, chosen, [&startsIn](const QFileDialog &dialog) {
            QCOMPARE(dialog.windowTitle(), "Open Firmware File"_s);
            QCOMPARE(dialog.directory().absolutePath(), startsIn);
        });
        QCOMPARE(room->find<QLineEdit>(field)->text(), chosen);
        QCOMPARE(AppSettings().fwDefaultDir(), folder);
        QVERIFY(room->log().isEmpty());
        QCOMPARE(room->find<QProgressBar>("progressBarFirmware")->value(), 0);
        startsIn = folder;
    }
    QVERIFY(room->find<QLineEdit>("lineEditFirmware1")->text().contains("/lineEditFirmware1/"_s));
}

void TestWindowFirmware::droppedFileBecomesAPath()
{
    room->open();
    (*room)->onWriteFwUpLog("an earlier run"_s);
    // Onto a field that held another path: it is replaced, not inserted into.
    auto *edit = room->find<QLineEdit>("lineEditFirmware2");
    edit->setText("http://192.168.0.1/image.updt"_s);
    QCOMPARE(edit->text(), "http://192.168.0.1/image.updt"_s);
    QMimeData files;
    files.setUrls({QUrl::fromLocalFile(room->firmware), QUrl::fromLocalFile("/another"_s)});
    QDragEnterEvent enter(edit->rect().center(), Qt::CopyAction, &files, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(edit, &enter);
    QVERIFY(enter.isAccepted());
    QDropEvent drop(edit->rect().center(), Qt::CopyAction, &files, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(edit, &drop);
    QCOMPARE(edit->text(), room->firmware);
    room->type("lineEditFirmware1", QUrl::fromLocalFile(room->firmware).toString() + QLatin1Char(' '));
    QCOMPARE(room->find<QLineEdit>("lineEditFirmware1")->text(), room->firmware);
    QCOMPARE(AppSettings().fwDefaultDir(), room->homePath());
    QVERIFY(room->log().isEmpty());
}

void TestWindowFirmware::savesTheLog()
{
    room->open();
    room->press("dowloadLog"); // no dialog for an empty log: it would wait here for ever
    (*room)->onWriteFwUpLog("first line"_s);
    (*room)->onWriteFwUpLog("second <b>line</b>"_s);
    const QString path = room->homePath() + "/saved.txt"_s;
    QString proposed;
    inFileDialog("dowloadLog", path, [&proposed](const QFileDialog &dialog) {
        proposed = dialog.findChild<QLineEdit *>("fileNameEdit"_s)->text();
    });
    QVERIFY2(proposed.contains(QRegularExpression("update_log_\\d{4}(_\\d\\d){4}\\.txt$"_s)),
             qPrintable(proposed));
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), QByteArray("first line\nsecond <b>line</b>"));
}

void TestWindowFirmware::secondCheckIsIgnored()
{
    play("no update");
    room->open();
    for (int check = 1; check <= 2; ++check) {
        room->press("actionCheck_for_updates");
        room->press("actionCheck_for_updates");
        QCOMPARE(room->boxes().size(), check - 1); // the window does not wait
        QTRY_COMPARE_WITH_TIMEOUT(room->boxes().size(), check, 30000);
        QCOMPARE(room->lastBox(), "No updates available."_s);
        QTRY_VERIFY2((*room)->findChildren<QThread *>().isEmpty(), "a second check runs");
        QCOMPARE(toolStarts(), check);
    }
}

// The program would be closed for its own update in the middle of an instrument's.
void TestWindowFirmware::newReleaseWaitsForTheInstruments()
{
    play("update");
    room->openPage({supply(11, {{"bytesPerSecond"_s, 20000}})});
    room->tick({11});
    room->press("updateFwBtn");
    QVERIFY(room->lab.waitForEvent("connected"_s));
    room->answerBoxes("Yes"_s); // to the new release; the other question is declined
    room->press("actionCheck_for_updates");
    QTRY_COMPARE_WITH_TIMEOUT(room->boxes().size(), 2, 30000);
    QVERIFY(room->boxes().first().text.startsWith("There are updates"_s));
    QVERIFY(room->lastBox().startsWith("An update is running."_s));
    QTRY_VERIFY_WITH_TIMEOUT(!room->isLocked(), 30000);
    QCOMPARE(room->storedImage(11), room->image);
    QCOMPARE(toolStarts(), 1); // no updater
}

QTEST_MAIN(TestWindowFirmware)
#include "tst_windowfirmware.moc"
