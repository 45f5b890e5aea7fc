#include "elapsedlabel.h"
#include "elidedtooltips.h"
#include "labwindow.h"
#include "readout.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QDialog>
#include <QDir>
#include <QFile>
#include <QMenu>
#include <QPointer>
#include <QProgressBar>
#include <QPushButton>
#include <QRegularExpression>
#include <QScrollBar>
#include <QSplitter>
#include <QTest>

namespace {

// What a screen reader reads of the window with one instrument, and of its dialogs: the words that manuals
// and notes know the program by.
const char *const windowRead =
    R"(Device Manager, Scan, Scan progress, Info, Firmware, Config, Show one family of instruments only,
Beamline Instrumentation, Gui, Firmware Upgrade, Enable Manual IP, IP Address:, IP Address, Select
Firmware, Firmware file, Choose a firmware file, Update the selected instruments, Control Firmware:,
Firmware file, Choose a file for the control processor, Update the control processor of the selected
motor drivers, Firmware progress, Update log, Save log, Information, Select an instrument in the table.,
Information about the selected instrument, Property, Value, 1, Module ID:, QB4A, 2, Group:, QV-PICO, 3,
Device Description:, Four-channel picoammeter, 4, Serial Number:, 18Y12W345, 5, Firmware Version:,
1.2.03, 6, MAC Address:, 00:1A:2B:00:00:0B, 7, IP Address:, 192.168.0.11, 8, SubnetMask:, 255.255.255.0,
9, Gateway:, 192.168.0.1, 10, DHCP:, Not Available, Network Configuration, New network settings of the
selected instrument, Parameter, Value, 1, New IP Address:, 192.168.0.11, 2, New Subnet Mask:,
255.255.255.0, 3, New Gateway:, 192.168.0.1, 4, DHCP:, Save, Instruments, Selection, Icon, Group, Module
ID, IP Address, Firmware, 1, QV-PICO, QV-PICO, QB4A, 192.168.0.11, 1.2.03, Quorvex, 1 instrument found
on 2 network interfaces., Show details, File, New Scan Space, Quit Ctrl+Q, View, Toggle Full Screen F11,
Apply Filter Ctrl+F, Tools, Check for updates, Select network interfaces, Settings, Device(s) Network
Configuration, Help, Changelog, Show supported devices, About)";

struct Opened
{
    const char *action;
    const char *title;
    const char *read;
};

const Opened dialogs[] = {
    {"actionSettings", "Settings",
     R"(Settings, Scan Options, Scan Timeout [s], Scan Timeout [s], Enable Unicast Scan, Enable Unicast Scan,
Unicast Scan Range, First address of the unicast scan range, to, Last address of the unicast scan range,
Firmware Update Options, Update Timeout [s], Update Timeout [s], Enable Manual IP Option*, Enable Manual
IP Option*, *This option works only for Power Supplies in Recovery Mode, TCP Options, Number of Threads,
Number of Threads, Wait for bytes written [ms], Wait for bytes written [ms], Wait for ready read [ms],
Wait for ready read [ms], Wait for connected [ms], Wait for connected [ms], Cancel, Apply)"},
    {"actionSelect_network_interfaces", "Network Interfaces",
     R"(Network Interfaces, A scan looks for instruments on the ticked interfaces., Network interfaces, Name,
IP, Mask, 1, wst0, 192.168.0.100, 255.255.255.0, 2, wst1, 10.20.30.100, 255.255.255.0, This computer has
no IPv4 address on a network. Connect it, then open this window again., Cancel, Apply)"},
    {"actionAdvanced_network_config", "Device(s) Network Configuration",
     R"(Device(s) Network Configuration, Find:, Find instruments, Clear the find text, 1 instrument, 0 changed,
Network settings of the instruments, Family, Serial Number, MAC Address, IP Address, Subnet Mask,
Gateway, QV-PICO, 18Y12W345, 00:1A:2B:00:00:0B, 192.168.0.11, 255.255.255.0, 192.168.0.1, DHCP is
switched off on each instrument that is sent a new address. Instruments whose settings are not changed
here are sent nothing., Progress of sending, Stop, Save csv-file, Upload csv-file, Nothing is changed
yet., Show it, Cancel, Apply)"},
    {"actionChangelog", "Changelog", "Changelog, Text, Quorvex"},
    {"actionShow_supported_devices", "Supported Devices", "Supported Devices, Text, Quorvex"},
    {"actionAbout", "About", "About, Text, Quorvex"},
};

// The first text that is not as it should be; empty when there is none.
QString wrongIn(QWidget *window, const char *expected)
{
    const QLatin1String comma(", ");
    const QStringList read = readOut(window).join(comma).split(comma);
    const QStringList wanted = QString::fromLatin1(expected).simplified().split(comma);
    for (int i = 0; i < qMax(read.size(), wanted.size()); ++i) {
        if (read.value(i) != wanted.value(i)) {
            return QStringLiteral("'%1' instead of '%2'").arg(read.value(i), wanted.value(i));
        }
    }
    return {};
}

} // namespace

// What the window and its dialogs owe their users: the words that they know it by, names for everything that
// can be used, nothing cut off on a small screen, the keys that work elsewhere, and copying from tables.
class TestHabits : public QObject
{
    Q_OBJECT

private slots:
    void saysWhatItAlwaysSaid();
    void nothingIsCutAndEscapeCloses();
    void everythingIsReachedByKey();
    void savingTakesWhatIsBeingTyped();
    void returnTicksBoxes();
    void escapeEndsAScan();
    void strangeTextsAreShownAndCopied();
    void comesBackAsItWasLeft();
    void elapsedTimeGoesOn();
};

void TestHabits::saysWhatItAlwaysSaid()
{
    LabWindow fixture;
    fixture.scanOf({labInstrument("beamline", "2100", 11)});
    fixture.selectRow(0);
    QCOMPARE(wrongIn(&*fixture, windowRead), QString());
    QVERIFY(!fixture->windowIcon().pixmap(32).isNull());
    const auto *families = fixture.find<QComboBox>("comboBoxDeviceFilter");
    QCOMPARE(families->itemText(0), QStringLiteral("Power Supplies"));
    QCOMPARE(families->itemText(2), QStringLiteral("Current Transducers"));
    // Named in a sheet for ever, though no form has them.
    QSet<QString> names{QStringLiteral("frameAppearance"), QStringLiteral("frameManualIP")};
    for (const Opened &opened : dialogs) {
        QDialog *dialog = fixture.openDialog(opened.action, opened.title);
        QVERIFY2(dialog, opened.title);
        QCOMPARE(wrongIn(dialog, opened.read), QString());
        const QList<QWidget *> widgets = fixture->findChildren<QWidget *>(); // the dialog's too
        for (const QWidget *widget : widgets) {
            names.insert(widget->objectName());
            const auto *table = qobject_cast<const QTableView *>(widget);
            if (table) {
                QVERIFY2(!table->actions().isEmpty(), opened.title);
                QCOMPARE(table->actions().constFirst()->text(), QStringLiteral("Copy"));
            }
        }
        dialog->close();
    }
    // The style sheet finds what it names.
    static const QRegularExpression named(QStringLiteral("#(?![0-9a-f]{6}\\b)(\\w+)"));
    for (auto matches = named.globalMatch(qApp->styleSheet()); matches.hasNext();) {
        const QString name = matches.next().captured(1);
        QVERIFY2(names.contains(name), qPrintable(name));
    }
}

void TestHabits::nothingIsCutAndEscapeCloses()
{
    WindowFixture fixture;
    fixture.writeSettings("[update]\nmanualIp=true\n");
    fixture.open();
    fixture->timeout(); // the home page is over
    fixture.find<QLabel>("labelFooter")->setText(QString(400, QLatin1Char('x')));
    fixture->resize(1024, 700);
    fixture.find<QWidget>("frameWeb")->show();
    fixture.find<QAction>("actionApply_Filter")->trigger();
    fixture.find<QWidget>("widgetFirmware2")->show();
    fixture.find<QCheckBox>("checkBoxManualIP")->setChecked(true);
    for (const char *button : {"updateBtn", "configBtn", "infoBtn"}) {
        fixture.find<QPushButton>(button)->click();
        QCoreApplication::processEvents();
        QCOMPARE(fixture->size(), QSize(1024, 700));
        QTRY_COMPARE(cutControls(&*fixture), QString());
    }
    for (const Opened &opened : dialogs) {
        const QPointer<QDialog> dialog = fixture.openDialog(opened.action, opened.title);
        QVERIFY2(dialog, opened.title);
        QVERIFY2(dialog->width() <= 1024 && dialog->height() <= 660, opened.title);
        QCOMPARE(cutControls(dialog), QString());
        QTest::keyClick(dialog, Qt::Key_Escape);
        QTRY_VERIFY2(!dialog || !dialog->isVisible(), opened.title);
    }
}

void TestHabits::everythingIsReachedByKey()
{
    WindowFixture fixture;
    fixture.writeSettings("[update]\nmanualIp=true\n");
    fixture.open();
    fixture->timeout(); // the home page is over
    const auto press = [&fixture](char letter) {
        fixture->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&*fixture));
        QTest::keyClick(&*fixture, letter, Qt::AltModifier);
    };
    for (const char *name : {"menuFile", "menuView", "menuTools", "menuHelp"}) {
        auto *menu = fixture.find<QMenu>(name);
        press(menu->title().at(0).toLatin1());
        QTRY_VERIFY2(menu->isVisible(), name);
        menu->close();
    }
    // Where Tab leads from the scan button until it comes back, with the filter shown.
    const auto order = [&fixture] {
        fixture.find<QAction>("actionApply_Filter")->trigger();
        QStringList names;
        fixture.find<QWidget>("scanBtn")->setFocus();
        do {
            names.append(QApplication::focusWidget()->objectName());
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        } while (names.size() < 20 && QApplication::focusWidget() != fixture.find<QWidget>("scanBtn"));
        return names.join(QLatin1Char(' '));
    };
    press('w');
    QTRY_VERIFY(!fixture.find<QPushButton>("updateBtn")->isEnabled());
    fixture.find<QCheckBox>("checkBoxManualIP")->setChecked(true); // disables the table
    QCOMPARE(order(),
             QStringLiteral("scanBtn infoBtn configBtn filterBtn comboBoxDeviceFilter "
                            "checkBoxManualIP lineEditSetManualIP lineEditFirmware1 chooseFirmwareBtn "
                            "updateFwBtn plainTextEditFirmware dowloadLog"));
    press('i');
    QTRY_VERIFY(!fixture.find<QPushButton>("infoBtn")->isEnabled());
    QCOMPARE(order(), QStringLiteral("scanBtn updateBtn configBtn filterBtn comboBoxDeviceFilter "
                                     "tableWidgetDeviceFirstTable tableInfo"));
}

// The cell is still being edited when Alt+S is pressed, which does not take the focus away from it.
void TestHabits::savingTakesWhatIsBeingTyped()
{
    LabWindow fixture;
    fixture.scanOf({labInstrument("beamline", "2100", 11)});
    fixture->timeout(); // the home page is over
    fixture.find<QPushButton>("configBtn")->click();
    fixture.selectRow(0);
    auto *table = fixture.find<QTableWidget>("tableDeviceConfig");
    table->setFocus();
    table->setCurrentCell(0, 1);
    table->editItem(table->item(0, 1));
    QTest::keyClicks(QApplication::focusWidget(), QStringLiteral("192.168.0.77"));
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_S, Qt::AltModifier);
    QVERIFY(fixture.lab.waitForEvent([](const QJsonObject &event) {
        return event.value(QLatin1String("event")) == QLatin1String("set") &&
               event.value(QLatin1String("bytes")).toString().contains(QLatin1String("c0a8004d"));
    }));
    QTRY_VERIFY_WITH_TIMEOUT(fixture.find<QPushButton>("scanBtn")->isEnabled(), 30000);
}

// Space belongs to the scan, so Return is what ticks a box.
void TestHabits::returnTicksBoxes()
{
    LabWindow fixture;
    fixture.writeSettings("[scan]\nscanTime=600\n[update]\nmanualIp=true\n");
    fixture.scanOf({labInstrument("powerSupply", "1100", 11)});
    fixture->timeout(); // the home page is over
    const auto press = [](QWidget *widget) {
        auto *box = qobject_cast<QCheckBox *>(widget);
        const bool before = box->isChecked();
        box->setFocus(Qt::TabFocusReason);
        QTest::keyClick(box, Qt::Key_Return);
        return box->isChecked() != before;
    };
    fixture.find<QPushButton>("updateBtn")->click();
    QVERIFY(press(fixture.table()->selectionBox(0)));
    QVERIFY(press(fixture.find<QCheckBox>("checkBoxManualIP")));
    fixture.find<QPushButton>("configBtn")->click();
    fixture.selectRow(0);
    QVERIFY(press(fixture.find<QTableWidget>("tableDeviceConfig")->cellWidget(3, 1)));
}

// A range of addresses that was meant to be smaller need not be waited for, nor the window be closed.
void TestHabits::escapeEndsAScan()
{
    LabWindow fixture;
    fixture.play({labInstrument("powerSupply", "1100", 11)});
    fixture.writeSettings("[scan]\nscanTime=40000\n");
    fixture.open();
    bool told = false;
    // Some steps into the scan, so that the instrument has answered.
    connect(fixture.find<QProgressBar>("progressBar"), &QProgressBar::valueChanged, &*fixture,
            [&fixture, &told](int value) {
                if (value == 4) {
                    told = fixture.said().contains(QStringLiteral("Esc"));
                    QTest::keyClick(&*fixture, Qt::Key_Escape);
                }
            });
    QVERIFY(fixture.scan());
    QVERIFY(told);
    QCOMPARE(fixture.table()->rowCount(), 1); // it had answered by then
    QVERIFY(fixture.said().startsWith(QStringLiteral("Stopped: 1 instrument")));
}

void TestHabits::strangeTextsAreShownAndCopied()
{
    const QString longText = QStringLiteral("<img src='x'>") + QString(300, QLatin1Char('W'));
    const QString rightToLeft = QString::fromUtf8("\u05de\u05db\u05e9\u05d9\u05e8 \u0639\u0631\u0628\u064a");
    LabWindow fixture;
    QJsonArray instruments;
    for (const QString &id : {longText, rightToLeft, QStringLiteral("a\nb\tc\nd\ne\nf\ng")}) {
        instruments.append(labInstrument(
            "json", "1100", 11 + instruments.size(),
            {{QStringLiteral("texts"), QJsonObject{{QStringLiteral("ID"), id},
                                                   {QStringLiteral("FAMILY"), QStringLiteral("F")},
                                                   {QStringLiteral("FW"), QStringLiteral("1")}}}}));
    }
    fixture.scanOf(instruments);
    fixture->timeout(); // the home page is over
    DeviceTable *table = fixture.table();
    table->sortByColumn(DeviceTable::IpColumn, Qt::DescendingOrder);
    QCOMPARE(table->horizontalScrollBar()->maximum(), 0);
    for (int row = 0; row < 3; ++row) {
        QCOMPARE(table->rowHeight(row), 96);
    }
    const auto *tooltips = table->findChild<ElidedTooltips *>();
    const auto tooltip = [table, tooltips](int row, int column) {
        return tooltips->tooltipAt(table->visualItemRect(table->item(row, column)).center());
    };
    QCOMPARE(tooltip(2, DeviceTable::ModuleIdColumn),
             QStringLiteral("<span>%1</span>").arg(longText.toHtmlEscaped()));
    QCOMPARE(tooltip(2, DeviceTable::FirmwareColumn), QString());

    const auto copied = [](QWidget *from) {
        from->setFocus();
        QTest::keyClick(from, Qt::Key_C, Qt::ControlModifier);
        return QApplication::clipboard()->text();
    };
    table->setRowHidden(2, true);
    table->clearSelection();
    const QString two =
        QStringLiteral("F\ta b c d e f g\t192.168.0.13\t1\nF\t%1\t192.168.0.12\t1").arg(rightToLeft);
    QCOMPARE(copied(table), two);
    table->actions().last()->trigger();
    QCOMPARE(QApplication::clipboard()->text(),
             QStringLiteral("Group\tModule ID\tIP Address\tFirmware\n") + two);
    fixture.selectRow(1);
    QCOMPARE(copied(table), two.section(QLatin1Char('\n'), 1));

    QDialog *dialog = fixture.openDialog(dialogs[1].action, dialogs[1].title);
    QVERIFY(dialog);
    dialog->activateWindow();
    QTRY_COMPARE(QApplication::activeWindow(), dialog);
    const QString networks =
        copied(dialog->findChild<QTableWidget *>()->cellWidget(0, 0)); // a box has the focus
    QVERIFY2(networks.contains(QStringLiteral("192.168.0.100\t255.255.255.0")), qPrintable(networks));
}

// Size, splitter and columns that can be dragged.
static QList<int> stateOf(const WindowFixture &fixture)
{
    QList<int> numbers = fixture.find<QSplitter>("splitterDevices")->sizes();
    numbers << fixture->width() << fixture->height()
            << fixture.table()->columnWidth(DeviceTable::FirmwareColumn)
            << fixture.find<QTableWidget>("tableDeviceConfig")->columnWidth(0);
    return numbers;
}

void TestHabits::comesBackAsItWasLeft()
{
    WindowFixture fixture;
    const auto open = [&fixture] {
        fixture.open();
        fixture->timeout(); // the home page is over
        for (const char *page : {"configBtn", "infoBtn", "configBtn"}) {
            fixture.find<QPushButton>(page)->click();
        }
        return stateOf(fixture);
    };
    const QList<int> fresh = open();
    fixture->resize(1100, 720);
    fixture.find<QSplitter>("splitterDevices")->setSizes({600, 495});
    fixture.table()->setColumnWidth(DeviceTable::FirmwareColumn, 133);
    fixture.find<QTableWidget>("tableDeviceConfig")->setColumnWidth(0, 233);
    const QList<int> left = stateOf(fixture);
    QVERIFY(left != fresh);
    fixture->close();
    QCOMPARE(open(), left);
    // Whatever makes no sense is as if it were not there.
    QFile file(fixture.homePath() + QLatin1String("/config/Quorvex/DeviceManager/windowState.ini"));
    for (const QByteArray &content :
         {QByteArray(), QByteArray(20000, '1'),
          QByteArray("\xff=\x01,\n=,,,=\nwindow=@Variant(\\x7f\\xff)\n"),
          QByteArray("window=wide,high,1\nsplitter=left\ntableDeviceConfig=a,b\n"),
          QByteArray("window=640\nsplitter=1\ntableDeviceConfig=50\n"),
          QByteArray("window=-1,-1,0\nsplitter=-10,5\ntableDeviceConfig=1,1\n"),
          QByteArray("window=99999999,99999999,0\nsplitter=2147483647,2147483647\n"
                     "tableDeviceConfig=20000,20000\n")}) {
        fixture.close();
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
        file.close();
        QCOMPARE(open(), fresh);
    }
    fixture.close();
    QVERIFY(file.remove() && QDir().mkdir(file.fileName())); // a folder where the file should be
    QCOMPARE(open(), fresh);
    QVERIFY(fixture->close());
}

void TestHabits::elapsedTimeGoesOn()
{
    QCOMPARE(ElapsedLabel::clockText(7999), QStringLiteral("0:07"));
    QCOMPARE(ElapsedLabel::clockText(760000), QStringLiteral("12:40"));
    QCOMPARE(ElapsedLabel::clockText(3723000), QStringLiteral("1:02:03"));
    ElapsedLabel label;
    label.stop();
    QVERIFY(label.isHidden());
    label.start();
    const QString start = label.text();
    QCOMPARE(start, QStringLiteral("Running for 0:00"));
    QTRY_VERIFY(label.text() != start);
    label.start(); // the next instrument of the same update
    label.reset();
    QVERIFY(label.text() != start);
    label.stop();
    QVERIFY(label.text().startsWith(QStringLiteral("Took 0:0")));
    label.reset();
    QVERIFY(label.isHidden());
}

QTEST_MAIN(TestHabits)
#include "tst_habits.moc"
