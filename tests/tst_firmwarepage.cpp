#include "appsettings.h"
#include "firmwarepage.h"
#include "firmwareroom.h"

#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QDragEnterEvent>
#include <QFile>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QRegularExpression>
#include <QTest>
#include <QTimer>
#include <QUrl>

#include <algorithm>
#include <memory>

// What the firmware page offers, refuses and shows, with virtual instruments in the table.
class TestFirmwarePage : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void refusesWithoutFileOrSelection();
    void labelsAndFiltersFollowTheInstrument();
    void onlyOneCodeIsUpdatedTogether();
    void progressCountsAsTheWorkerReports();
    void linesThatWaitAreNotNested();
    void chosenFileIsTaken();
    void otherRowsAreNotUnticked();
    void droppedFileBecomesAPath();
    void savesTheLog();

private:
    std::unique_ptr<FirmwareRoom> room;
};

void TestFirmwarePage::init()
{
    room.reset();
    room = std::make_unique<FirmwareRoom>();
}

void TestFirmwarePage::refusesWithoutFileOrSelection()
{
    room->openPage({FirmwareRoom::instrument("powerSupply", "1100", 11)});
    QTest::mouseClick(room->window.find<QPushButton>("updateFwBtn"), Qt::LeftButton);
    QCOMPARE(room->window.boxes().last().title, QStringLiteral("Devices to Update"));
    QCOMPARE(room->window.boxes().last().text, QStringLiteral("ERROR: Select the devices to update!"));
    room->tick({11});
    for (const char *path : {"", "/..."}) {
        room->window.find<QLineEdit>("lineEditFirmware1")->setText(QLatin1String(path));
        QTest::mouseClick(room->window.find<QPushButton>("updateFwBtn"), Qt::LeftButton);
        QCOMPARE(room->window.boxes().last().title, QStringLiteral("Firmware"));
        QCOMPARE(room->window.boxes().last().text, QStringLiteral("ERROR: Please select a valid firmware!"));
    }
    QCOMPARE(room->window.boxes().size(), 3);
    QVERIFY(room->lab.events(QStringLiteral("connected")).isEmpty());
}

void TestFirmwarePage::labelsAndFiltersFollowTheInstrument()
{
    room->openPage(
        {FirmwareRoom::instrument("beamline", "1600", 12), FirmwareRoom::instrument("module", "", 15)});
    const QHash<int, QString> kinds{{12, QStringLiteral("Firmware files (*.flash);;All files (*.*)")},
                                    {15, QStringLiteral("Firmware files (*.hex);;All files (*.*)")}};
    for (auto kind = kinds.begin(); kind != kinds.end(); ++kind) {
        room->window.selectRow(
            room->window.rowOf(DeviceTable::IpColumn, QStringLiteral("192.168.0.%1").arg(kind.key())));
        const bool motorDriver = kind.key() == 15;
        QCOMPARE(room->window.find<QWidget>("widgetFirmware2")->isHidden(), !motorDriver);
        QCOMPARE(room->window.find<QLabel>("selectFirmwareLabel_4")->text(),
                 motorDriver ? QStringLiteral("Communication Firmware") : QStringLiteral("Select Firmware"));
        QVERIFY(!motorDriver || room->window.find<QLabel>("labelSelectFirmware2")->text() ==
                                    QLatin1String("Control Firmware"));
        QStringList offered;
        QTimer::singleShot(0, room->window.find<QWidget>("pageUpdate"), [&offered] {
            auto *dialog = qobject_cast<QFileDialog *>(QApplication::activeModalWidget());
            offered = dialog->nameFilters();
            dialog->reject();
        });
        QTest::mouseClick(room->window.find<QPushButton>("chooseFirmwareBtn"), Qt::LeftButton);
        QCOMPARE(offered.join(QStringLiteral(";;")), kind.value());
    }
    QCOMPARE(room->window.find<QLineEdit>("lineEditFirmware1")->text(), room->firmware);
}

void TestFirmwarePage::onlyOneCodeIsUpdatedTogether()
{
    room->openPage(
        {FirmwareRoom::instrument("beamline", "2100", 11), FirmwareRoom::instrument("beamline", "2100", 12),
         FirmwareRoom::instrument("transducer", "3100", 13), FirmwareRoom::instrument("module", "", 14)});
    const auto enabled = [this] {
        QString boxes;
        for (int number = 11; number <= 14; ++number) {
            boxes += QLatin1Char(room->boxOf(number)->isEnabled() ? 'x' : '-');
        }
        return boxes;
    };
    QCOMPARE(enabled(), QStringLiteral("xx-x")); // a transducer is never updated from here
    room->tick({11});
    QCOMPARE(enabled(), QStringLiteral("xx--"));
    room->boxOf(11)->setChecked(false);
    QCOMPARE(enabled(), QStringLiteral("xx-x"));
    room->tick({14});
    QCOMPARE(enabled(), QStringLiteral("---x")); // and can be unticked
}

void TestFirmwarePage::progressCountsAsTheWorkerReports()
{
    room->window.open();
    const auto *bar = room->window.find<QProgressBar>("progressBarFirmware");
    const QVector<QPair<int, int>> reports{{80, 80}, {10, 90}, {30, 19},   {95, 95},
                                           {1, 96},  {50, 50}, {100, 100}, {0, 0}};
    for (const auto &[report, shown] : reports) {
        room->window->onChangeFwProgressBar(report);
        QCOMPARE(bar->value(), shown);
    }
}

// Each line is drawn as it comes, and lines that wait are taken in while one is drawn: not from within
// each other, or an instrument that talks a lot would fill the stack.
void TestFirmwarePage::linesThatWaitAreNotNested()
{
    FirmwarePage page;
    constexpr int lines = 100;
    int depth = 0;
    int deepest = 0;
    for (int line = 0; line < lines; ++line) {
        const auto write = [&, line] {
            deepest = std::max(deepest, ++depth);
            page.appendLog(QString::number(line));
            --depth;
        };
        QMetaObject::invokeMethod(&page, write, Qt::QueuedConnection);
    }
    page.changeProgress(50);
    QCOMPARE(deepest, 1);
    QCOMPARE(page.log().section(QLatin1Char('\n'), lines - 2), QStringLiteral("98\n99"));
}

// The next choice begins where the last one ended, whichever button it is for.
void TestFirmwarePage::chosenFileIsTaken()
{
    room->window.open();
    QString startsIn = QDir::homePath();
    const QVector<QPair<const char *, const char *>> rows{{"chooseFirmwareBtn", "lineEditFirmware1"},
                                                          {"chooseFirmware2Btn", "lineEditFirmware2"}};
    for (const auto &[button, field] : rows) {
        const QString folder = room->window.homePath() + QLatin1Char('/') + QLatin1String(field);
        const QString chosen = folder + QLatin1String("/image.updt");
        QVERIFY(QDir().mkpath(folder) && QFile::copy(room->firmware, chosen));
        room->window->onWriteFwUpLog(QStringLiteral("an earlier run"));
        room->window->onChangeFwProgressBar(80);
        QString title;
        QString shown;
        QTimer::singleShot(0, room->window.find<QWidget>("pageUpdate"), [&] {
            auto *dialog = qobject_cast<QFileDialog *>(QApplication::activeModalWidget());
            title = dialog->windowTitle();
            shown = dialog->directory().absolutePath();
            dialog->findChild<QLineEdit *>(QStringLiteral("fileNameEdit"))->setText(chosen);
            static_cast<QDialog *>(dialog)->accept();
        });
        room->window.find<QPushButton>(button)->click();
        QCOMPARE(title, QStringLiteral("Open Firmware File"));
        QCOMPARE(shown, startsIn);
        QCOMPARE(room->window.find<QLineEdit>(field)->text(), chosen);
        QCOMPARE(AppSettings().fwDefaultDir(), folder);
        QVERIFY(room->log().isEmpty());
        QCOMPARE(room->window.find<QProgressBar>("progressBarFirmware")->value(), 0);
        startsIn = folder;
    }
    QCOMPARE(QFileInfo(room->window.find<QLineEdit>("lineEditFirmware1")->text()).dir().dirName(),
             QStringLiteral("lineEditFirmware1"));
}

void TestFirmwarePage::otherRowsAreNotUnticked()
{
    room->openPage({FirmwareRoom::instrument("powerSupply", "1100", 11),
                    FirmwareRoom::instrument("powerSupply", "1100", 12)});
    room->tick({11, 12});
    for (const int nobody : {-1, 2, 99}) {
        room->window->onRemoveSelectedDev(nobody);
    }
    QVERIFY(room->boxOf(11)->isChecked() && room->boxOf(12)->isChecked());
    room->window->onRemoveSelectedDev(1);
    QCOMPARE(room->window.table()->selectionBox(0)->isChecked(), true);
    QCOMPARE(room->window.table()->selectionBox(1)->isChecked(), false);
}

void TestFirmwarePage::droppedFileBecomesAPath()
{
    room->window.open();
    room->window->onWriteFwUpLog(QStringLiteral("an earlier run"));
    auto *edit = room->window.find<QLineEdit>("lineEditFirmware2");
    edit->setText(QUrl::fromLocalFile(room->firmware).toString());
    QCOMPARE(edit->text(), room->firmware);
    QCOMPARE(AppSettings().fwDefaultDir(), room->window.homePath());
    QVERIFY(room->log().isEmpty());
    edit->setText(QStringLiteral("http://192.168.0.1/image.updt"));
    QCOMPARE(edit->text(), QStringLiteral("http://192.168.0.1/image.updt"));

    // A real drop, onto a field that held another path: it is replaced, not inserted into.
    edit = room->window.find<QLineEdit>("lineEditFirmware1");
    edit->setText(QStringLiteral("/old/image.updt"));
    QMimeData files;
    files.setUrls({QUrl::fromLocalFile(room->firmware), QUrl::fromLocalFile(QStringLiteral("/another"))});
    QDragEnterEvent enter(edit->rect().center(), Qt::CopyAction, &files, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(edit, &enter);
    QVERIFY(enter.isAccepted());
    QDropEvent drop(edit->rect().center(), Qt::CopyAction, &files, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(edit, &drop);
    QCOMPARE(edit->text(), room->firmware);
}

void TestFirmwarePage::savesTheLog()
{
    room->window.open();
    // No dialog for an empty log: it would wait here for ever.
    QTest::mouseClick(room->window.find<QPushButton>("dowloadLog"), Qt::LeftButton);
    room->window->onWriteFwUpLog(QStringLiteral("first line"));
    room->window->onWriteFwUpLog(QStringLiteral("second <b>line</b>"));
    const QString path = room->window.homePath() + QLatin1String("/saved.txt");
    QString proposed;
    QTimer::singleShot(0, room->window.find<QWidget>("pageUpdate"), [&proposed, &path] {
        auto *dialog = qobject_cast<QFileDialog *>(QApplication::activeModalWidget());
        proposed = dialog->findChild<QLineEdit *>(QStringLiteral("fileNameEdit"))->text();
        dialog->findChild<QLineEdit *>(QStringLiteral("fileNameEdit"))->setText(path);
        static_cast<QDialog *>(dialog)->done(QDialog::Accepted);
    });
    QTest::mouseClick(room->window.find<QPushButton>("dowloadLog"), Qt::LeftButton);
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
