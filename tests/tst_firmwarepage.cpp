#include "appsettings.h"
#include "firmwarepage.h"
#include "windowfixture.h"

#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QDragEnterEvent>
#include <QFile>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMimeData>
#include <QProgressBar>
#include <QRegularExpression>
#include <QTest>
#include <QTimer>
#include <QUrl>

#include <algorithm>
#include <functional>
#include <tuple>

// What the firmware page offers, refuses and shows before an update runs.
class TestFirmwarePage : public QObject
{
    Q_OBJECT

private slots:
    void refusesWithoutFileOrSelection();
    void followsTheInstruments();
    void progressAndLog();
    void chosenFileIsTaken();
    void droppedFileBecomesAPath();
    void savesTheLog();

private:
    // Answers the file dialog that `button` opens with a file, empty for none.
    static void inFileDialog(const WindowFixture &room, const char *button, const QString &file,
                             const std::function<void(QFileDialog &)> &look);
};

void TestFirmwarePage::inFileDialog(const WindowFixture &room, const char *button, const QString &file,
                                    const std::function<void(QFileDialog &)> &look)
{
    QTimer::singleShot(0, room.find<QWidget>("pageUpdate"), [&] {
        auto *dialog = qobject_cast<QFileDialog *>(QApplication::activeModalWidget());
        look(*dialog);
        dialog->findChild<QLineEdit *>("fileNameEdit"_s)->setText(file);
        static_cast<QDialog *>(dialog)->done(file.isEmpty() ? QDialog::Rejected : QDialog::Accepted);
    });
    room.press(button);
}

void TestFirmwarePage::refusesWithoutFileOrSelection()
{
    WindowFixture room;
    room.openPage({supply(11)});
    room.press("updateFwBtn");
    room.tick({11});
    for (const char *path : {"", "/..."}) {
        room.type("lineEditFirmware1", QLatin1String(path));
        room.press("updateFwBtn");
    }
    QStringList said;
    for (const SeenBox &box : room.boxes()) {
        said.append(box.title + QLatin1Char('|') + box.text);
    }
    const QString noFile = "Firmware|ERROR: Please select a valid firmware!"_s;
    QCOMPARE(said, QStringList({"Devices to Update|ERROR: Select the devices to update!"_s, noFile, noFile}));
    QVERIFY(!room.wasCalled(11));
}

// Only those of one code are updated together; labels and filters are those of the selected one; and one
// number stands for row and record when a box is unticked.
void TestFirmwarePage::followsTheInstruments()
{
    WindowFixture room;
    room.openPage({labInstrument("beamline", "2100", 11), labInstrument("beamline", "2100", 12),
                   labInstrument("transducer", "3100", 13), labInstrument("module", "", 14)});
    const auto enabled = [&room] {
        QString boxes;
        for (int number = 11; number <= 14; ++number) {
            boxes += QLatin1Char(room.boxOf(number)->isEnabled() ? 'x' : '-');
        }
        return boxes;
    };
    QCOMPARE(enabled(), "xx-x"_s); // a transducer is never updated from here
    room.tick({14});
    QCOMPARE(enabled(), "---x"_s); // and can be unticked
    room.boxOf(14)->setChecked(false);
    room.tick({11});
    QCOMPARE(enabled(), "xx--"_s);
    room.tick({12});

    for (const auto &[number, label, filter] :
         {std::tuple(12, "Select Firmware", "Firmware files (*.flash);;All files (*.*)"),
          std::tuple(14, "Communication Firmware", "Firmware files (*.hex);;All files (*.*)")}) {
        room.selectRow(room.rowOf(number));
        QCOMPARE(room.find<QWidget>("widgetFirmware2")->isHidden(), number == 12);
        QCOMPARE(room.find<QLabel>("selectFirmwareLabel_4")->text(), QLatin1String(label));
        QStringList offered;
        inFileDialog(room, "chooseFirmwareBtn", {},
                     [&](const QFileDialog &dialog) { offered = dialog.nameFilters(); });
        QCOMPARE(offered.join(";;"_s), QLatin1String(filter));
    }
    QCOMPARE(room.find<QLabel>("labelSelectFirmware2")->text(), "Control Firmware"_s);
    QCOMPARE(room.find<QLineEdit>("lineEditFirmware1")->text(), room.firmware); // no file, no change

    room.table()->sortByColumn(DeviceTable::IpColumn, Qt::AscendingOrder);
    for (const int nobody : {-1, 4, 99}) {
        room->onRemoveSelectedDev(nobody);
    }
    QVERIFY(room.boxOf(11)->isChecked() && room.boxOf(12)->isChecked());
    room->onRemoveSelectedDev(0);
    QVERIFY(!room.boxOf(11)->isChecked() && room.boxOf(12)->isChecked()); // the first row's, whoever it is
}

// Each line is drawn as it comes, and lines that wait are taken in while one is drawn: not from within
// each other, or an instrument that talks a lot would fill the stack.
void TestFirmwarePage::progressAndLog()
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
void TestFirmwarePage::chosenFileIsTaken()
{
    WindowFixture room;
    room.open();
    QString startsIn = QDir::homePath();
    for (const auto &[button, field] : {std::pair("chooseFirmwareBtn", "lineEditFirmware1"),
                                        std::pair("chooseFirmware2Btn", "lineEditFirmware2")}) {
        const QString folder = room.homePath() + QLatin1Char('/') + QLatin1String(field);
        const QString chosen = folder + "/image.updt"_s;
        QVERIFY(QDir().mkpath(folder) && QFile::copy(room.firmware, chosen));
        room->onWriteFwUpLog("an earlier run"_s);
        room->onChangeFwProgressBar(80);
        inFileDialog(room, button, chosen, [&startsIn](const QFileDialog &dialog) {
            QCOMPARE(dialog.windowTitle(), "Open Firmware File"_s);
            QCOMPARE(dialog.directory().absolutePath(), startsIn);
        });
        QCOMPARE(room.find<QLineEdit>(field)->text(), chosen);
        QCOMPARE(AppSettings().fwDefaultDir(), folder);
        QVERIFY(room.log().isEmpty());
        QCOMPARE(room.find<QProgressBar>("progressBarFirmware")->value(), 0);
        startsIn = folder;
    }
    QVERIFY(room.find<QLineEdit>("lineEditFirmware1")->text().contains("/lineEditFirmware1/"_s));
}

void TestFirmwarePage::droppedFileBecomesAPath()
{
    WindowFixture room;
    room.open();
    room->onWriteFwUpLog("an earlier run"_s);
    // Onto a field that held another path: it is replaced, not inserted into.
    auto *edit = room.find<QLineEdit>("lineEditFirmware2");
    edit->setText("http://192.168.0.1/image.updt"_s);
    QCOMPARE(edit->text(), "http://192.168.0.1/image.updt"_s);
    QMimeData files;
    files.setUrls({QUrl::fromLocalFile(room.firmware), QUrl::fromLocalFile("/another"_s)});
    QDragEnterEvent enter(edit->rect().center(), Qt::CopyAction, &files, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(edit, &enter);
    QVERIFY(enter.isAccepted());
    QDropEvent drop(edit->rect().center(), Qt::CopyAction, &files, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(edit, &drop);
    QCOMPARE(edit->text(), room.firmware);
    room.type("lineEditFirmware1", QUrl::fromLocalFile(room.firmware).toString() + QLatin1Char(' '));
    QCOMPARE(room.find<QLineEdit>("lineEditFirmware1")->text(), room.firmware);
    QCOMPARE(AppSettings().fwDefaultDir(), room.homePath());
    QVERIFY(room.log().isEmpty());
}

void TestFirmwarePage::savesTheLog()
{
    WindowFixture room;
    room.open();
    room.press("dowloadLog"); // no dialog for an empty log: it would wait here for ever
    room->onWriteFwUpLog("first line"_s);
    room->onWriteFwUpLog("second <b>line</b>"_s);
    const QString path = room.homePath() + "/saved.txt"_s;
    QString proposed;
    inFileDialog(room, "dowloadLog", path, [&proposed](const QFileDialog &dialog) {
        proposed = dialog.findChild<QLineEdit *>("fileNameEdit"_s)->text();
    });
    QVERIFY2(proposed.contains(QRegularExpression("update_log_\\d{4}(_\\d\\d){4}\\.txt$"_s)),
             qPrintable(proposed));
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), QByteArray("first line\nsecond <b>line</b>"));
}

QTEST_MAIN(TestFirmwarePage)
#include "tst_firmwarepage.moc"
