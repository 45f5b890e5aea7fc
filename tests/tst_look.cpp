#include "labwindow.h"

#include <QAccessible>
#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QDialog>
#include <QFile>
#include <QLabel>
#include <QMenu>
#include <QPointer>
#include <QPushButton>
#include <QSplitter>
#include <QTest>

#include <array>
#include <functional>

namespace {

// Walks what a screen reader sees below `node`, counts the controls and notes each that it could not name.
void noteNameless(QAccessibleInterface *node, const QString &path, QStringList &nameless, int &count)
{
    static const QSet<int> controls{
        QAccessible::PushButton,   QAccessible::CheckBox, QAccessible::ComboBox,
        QAccessible::EditableText, QAccessible::SpinBox,  QAccessible::ProgressBar,
        QAccessible::Table,        QAccessible::MenuItem, QAccessible::ButtonMenu};
    static const QSet<int> whole{QAccessible::SpinBox, QAccessible::ComboBox}; // parts bear the whole's name
    const QString here =
        path + QLatin1Char('/') + (node->object() ? node->object()->objectName() : QString());
    const int role = node->role();
    const bool ofQt = node->object() && node->object()->objectName().startsWith(QLatin1String("qt_"));
    if (controls.contains(role) && !ofQt) {
        ++count;
        if (node->text(QAccessible::Name).isEmpty()) {
            nameless.append(here);
        }
    }
    for (int i = 0; i < node->childCount() && !whole.contains(role); ++i) {
        if (QAccessibleInterface *child = node->child(i)) {
            noteNameless(child, here, nameless, count);
        }
    }
}

// Empty when each control has a name and there are at least so many.
QString namelessControls(QWidget *widget, int atLeast)
{
    QStringList nameless;
    int count = 0;
    noteNameless(QAccessible::queryAccessibleInterface(widget), QString(), nameless, count);
    if (count < atLeast) {
        nameless.append(QStringLiteral("%1 controls only").arg(count));
    }
    return nameless.join(QLatin1Char('\n'));
}

// The same of the box or menu that `open` opens, which is then closed.
QString namelessInPopup(const std::function<void()> &open, int atLeast)
{
    QString nameless = QStringLiteral("nothing opened");
    QTimer look;
    QObject::connect(&look, &QTimer::timeout, &look, [&nameless, atLeast] {
        QWidget *menu = QApplication::activePopupWidget();
        QWidget *opened = menu ? menu : QApplication::activeModalWidget();
        if (opened && opened->isVisible()) {
            nameless = namelessControls(opened, atLeast);
            opened->close();
        }
    });
    look.start(10);
    open();
    return nameless;
}

// What is drawn smaller than its text or icon needs.
QString cutControls(QWidget *window)
{
    QStringList cut;
    const QList<QWidget *> widgets = window->findChildren<QWidget *>();
    for (const QWidget *widget : widgets) {
        const auto *label = qobject_cast<const QLabel *>(widget);
        const bool counts = qobject_cast<const QAbstractButton *>(widget) || (label && !label->wordWrap());
        if (counts && widget->isVisibleTo(window) && !widget->objectName().isEmpty() &&
            (widget->width() < widget->sizeHint().width() ||
             widget->height() < widget->sizeHint().height())) {
            cut.append(QStringLiteral("%1 %2x%3 of %4x%5")
                           .arg(widget->objectName())
                           .arg(widget->width())
                           .arg(widget->height())
                           .arg(widget->sizeHint().width())
                           .arg(widget->sizeHint().height()));
        }
    }
    return cut.join(QLatin1String("; "));
}

// As the menu key does.
void askForMenu(QTableView *table)
{
    QContextMenuEvent event(QContextMenuEvent::Keyboard, QPoint(5, 5), table->mapToGlobal(QPoint(5, 5)));
    QApplication::sendEvent(table, &event);
}

struct OpenedDialog
{
    const char *action;
    const char *title;
    int controls; // at least so many
};

constexpr std::array<OpenedDialog, 6> dialogs{
    {{"actionSettings", "Settings", 12},
     {"actionSelect_network_interfaces", "Network Interfaces", 3},
     {"actionAdvanced_network_config", "Device(s) Network Configuration", 6},
     {"actionChangelog", "Changelog", 1},
     {"actionShow_supported_devices", "Supported Devices", 1},
     {"actionAbout", "About", 1}}};

} // namespace

// What every window of the program owes its users: names for everything that can be used, nothing cut off on
// a small screen, and the keys that work elsewhere.
class TestLook : public QObject
{
    Q_OBJECT

private slots:
    void everyControlHasAName();
    void nothingIsCutAndEscapeCloses();
    void altLetterOpensAMenu();
    void copiesFromEveryTable();
    void comesBackAsItWasLeft();
};

void TestLook::everyControlHasAName()
{
    LabWindow fixture;
    fixture.scanOf(showcase());
    fixture.selectRow(0);
    QCOMPARE(namelessControls(&*fixture, 39), QString());
    for (const OpenedDialog &opened : dialogs) {
        QDialog *dialog = fixture.openDialog(opened.action, opened.title);
        if (!dialog) {
            QFAIL(opened.title);
        }
        QCOMPARE(qMakePair(QString::fromLatin1(opened.title), namelessControls(dialog, opened.controls)),
                 qMakePair(QString::fromLatin1(opened.title), QString()));
        const QList<QTableView *> tables = dialog->findChildren<QTableView *>();
        for (QTableView *table : tables) {
            QCOMPARE(namelessInPopup([table] { askForMenu(table); }, 2), QString());
        }
        dialog->close();
    }
    const QList<QTableView *> tables = fixture->findChildren<QTableView *>();
    QVERIFY(tables.size() >= 3);
    for (QTableView *table : tables) {
        QCOMPARE(namelessInPopup([table] { askForMenu(table); }, 2), QString());
    }
    fixture.leaveBoxes();
    fixture.table()->setCurrentItem(nullptr);
    QCOMPARE(namelessInPopup([&fixture] { fixture->onSaveNewConfiguration(); }, 1), QString());
}

void TestLook::nothingIsCutAndEscapeCloses()
{
    WindowFixture fixture;
    fixture.writeSettings("[update]\nmanualIp=true\n");
    fixture.open();
    fixture->timeout(); // the home page is over
    fixture.find<QLabel>("labelFooter")->setText(QString(400, QLatin1Char('x')));
    fixture->resize(1024, 700);
    fixture.find<QWidget>("frameWeb")->show();
    fixture.find<QAction>("actionApply_Filter")->trigger();
    for (const char *button : {"updateBtn", "configBtn", "infoBtn"}) {
        fixture.find<QPushButton>(button)->click();
        if (QLatin1String(button) == QLatin1String("updateBtn")) {
            fixture.find<QWidget>("widgetFirmware2")->show();
            fixture.find<QCheckBox>("checkBoxManualIP")->setChecked(true);
        }
        QCoreApplication::processEvents();
        QCOMPARE(fixture->size(), QSize(1024, 700));
        QTRY_COMPARE(cutControls(&*fixture), QString());
    }
    for (const OpenedDialog &opened : dialogs) {
        const QPointer<QDialog> dialog = fixture.openDialog(opened.action, opened.title);
        if (!dialog) {
            QFAIL(opened.title);
        }
        QVERIFY2(dialog->width() <= 1024 && dialog->height() <= 660, opened.title);
        QCOMPARE(cutControls(dialog), QString());
        QTest::keyClick(dialog, Qt::Key_Escape);
        QTRY_VERIFY2(!dialog || !dialog->isVisible(), opened.title);
    }
}

void TestLook::altLetterOpensAMenu()
{
    WindowFixture fixture;
    fixture.open();
    for (const char *name : {"menuFile", "menuView", "menuTools", "menuHelp"}) {
        auto *menu = fixture.find<QMenu>(name);
        fixture->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&*fixture));
        QTest::keyClick(&*fixture, menu->title().at(0).toLatin1(), Qt::AltModifier);
        QTRY_VERIFY2(menu->isVisible(), name);
        menu->close();
    }
}

void TestLook::copiesFromEveryTable()
{
    LabWindow fixture;
    fixture.scanOf(showcase());
    fixture->timeout(); // the home page is over
    const auto copied = [](QWidget *table) {
        QApplication::clipboard()->clear();
        table->setFocus();
        QTest::keyClick(table, Qt::Key_C, Qt::ControlModifier);
        return QApplication::clipboard()->text();
    };
    fixture.table()->sortByColumn(DeviceTable::IpColumn, Qt::DescendingOrder);
    fixture.selectRow(fixture.rowOf(DeviceTable::IpColumn, QStringLiteral("192.168.0.12")));
    QCOMPARE(copied(fixture.table()).trimmed(),
             QStringLiteral("ROVAN-RACK\tQPS1110-10-100\t192.168.0.12\t2.1.05"));

    auto *info = fixture.find<QTableWidget>("tableInfo");
    info->selectAll();
    QVERIFY(copied(info).contains(QStringLiteral("MAC Address:\t00:1A:2B:11:10:2F\n")));
    fixture.find<QPushButton>("configBtn")->click();
    auto *configuration = fixture.find<QTableWidget>("tableDeviceConfig");
    configuration->setCurrentCell(0, 1);
    QCOMPARE(copied(configuration).trimmed(), QStringLiteral("192.168.0.12"));
    configuration->clearSelection();
    QVERIFY(copied(configuration).contains(QStringLiteral("DHCP:\tON")));

    QDialog *dialog = fixture.openDialog(dialogs[1].action, dialogs[1].title);
    dialog->activateWindow();
    QTRY_COMPARE(QApplication::activeWindow(), dialog);
    auto *networks = dialog->findChild<QTableWidget *>();
    networks->cellWidget(0, 0)->setFocus();
    QTest::keyClick(networks->cellWidget(0, 0), Qt::Key_C, Qt::ControlModifier);
    QVERIFY2(QApplication::clipboard()->text().contains(QStringLiteral("192.168.0.100\t255.255.255.0")),
             qPrintable(QApplication::clipboard()->text()));
}

void TestLook::comesBackAsItWasLeft()
{
    WindowFixture fixture;
    fixture.open();
    fixture->timeout();
    fixture->resize(1100, 720);
    fixture.find<QSplitter>("splitterDevices")->setSizes({600, 495});
    fixture.table()->setColumnWidth(DeviceTable::FirmwareColumn, 133);
    fixture.find<QPushButton>("configBtn")->click();
    fixture.find<QTableWidget>("tableDeviceConfig")->setColumnWidth(0, 233);
    const QList<int> sizes = fixture.find<QSplitter>("splitterDevices")->sizes();
    fixture->close();
    fixture.open();
    QCOMPARE(fixture->size(), QSize(1100, 720));
    fixture->timeout();
    QCOMPARE(fixture.find<QSplitter>("splitterDevices")->sizes(), sizes);
    QCOMPARE(fixture.table()->columnWidth(DeviceTable::FirmwareColumn), 133);
    for (const char *page : {"configBtn", "infoBtn", "configBtn"}) {
        fixture.find<QPushButton>(page)->click();
        QCOMPARE(fixture.find<QTableWidget>("tableDeviceConfig")->columnWidth(0), 233);
    }
    QVERIFY(
        QFile::exists(fixture.homePath() + QLatin1String("/config/Quorvex/DeviceManager/windowState.ini")));
}

QTEST_MAIN(TestLook)
#include "tst_look.moc"
