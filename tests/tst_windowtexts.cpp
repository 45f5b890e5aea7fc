#include "labwindow.h"

#include <QAction>
#include <QComboBox>
#include <QDialog>
#include <QHeaderView>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QTest>

#include <array>

namespace {

QStringList list(std::initializer_list<const char *> texts)
{
    QStringList strings;
    for (const char *text : texts) {
        strings.append(QString::fromLatin1(text));
    }
    return strings;
}

struct FixedText
{
    const char *name;
    const char *text;
};

constexpr std::array<FixedText, 27> windowTexts{{
    {"scanBtn", "Scan"},
    {"infoBtn", "Info"},
    {"updateBtn", "Firmware"},
    {"configBtn", "Config"},
    {"filterBtn", ""},
    {"webBtn", "Gui"},
    {"labelUpdateTitle", "Firmware Upgrade"},
    {"checkBoxManualIP", "Enable Manual IP"},
    {"labelDevIP", "IP Address:"},
    {"lineEditSetManualIP", "192.168.0.10"},
    {"selectFirmwareLabel_4", "Select Firmware"},
    {"labelSelectFirmware2", "Control Firmware:"},
    {"actionNew_Scan", "New Scan"},
    {"actionQuit", "Quit"},
    {"actionToogle_Full_Screen", "Toggle Full Screen"},
    {"actionApply_Filter", "Apply Filter"},
    {"actionCheck_for_updates", "Check for updates"},
    {"actionSelect_network_interfaces", "Select network interfaces"},
    {"actionSettings", "Settings"},
    {"actionAdvanced_network_config", "Device(s) Network Configuration"},
    {"actionChangelog", "Changelog"},
    {"actionShow_supported_devices", "Show supported devices"},
    {"actionAbout", "About"},
    {"menuFile", "File"},
    {"menuView", "View"},
    {"menuTools", "Tools"},
    {"menuHelp", "Help"},
}};

constexpr std::array<FixedText, 9> windowIcons{{
    {"scanBtn", ":/iconsPng/resources/icons/search.png"},
    {"infoBtn", ":/iconsPng/resources/icons/info.png"},
    {"updateBtn", ":/iconsPng/resources/icons/cpu.png"},
    {"configBtn", ":/iconsPng/resources/icons/tool.png"},
    {"filterBtn", ":/iconsPng/resources/icons/filter.png"},
    {"webBtn", ":/iconsPng/resources/icons/monitor.png"},
    {"chooseFirmwareBtn", ":/iconsPng/resources/icons/more-horizontal.png"},
    {"updateFwBtn", ":/iconsPng/resources/icons/upload-cloud.png"},
    {"dowloadLog", ":/iconsPng/resources/icons/download.png"},
}};

// The captions stand beside these, and a caption's buddy is what it names.
constexpr std::array<FixedText, 8> settingsCaptions{{
    {"doubleSpinBoxBroadcastTime", "Scan Timeout [s]"},
    {"checkBoxEnableUnicast", "Enable Unicast Scan"},
    {"doubleSpinBoxTimeout", "Update Timeout [s]"},
    {"checkBoxEnable", "Enable Manual IP Option*"},
    {"doubleSpinBoxThreadsNumber", "Number of Threads"},
    {"doubleSpinBoxWaitForBytesWritten", "Wait for bytes written [ms]"},
    {"doubleSpinBoxWaitForReadyRead", "Wait for ready read [ms]"},
    {"doubleSpinBoxWaitForConnected", "Wait for connected [ms]"},
}};

QString textOf(const QObject *object)
{
    const QVariant text = object->property(object->inherits("QMenu") ? "title" : "text");
    return text.toString();
}

bool shows(const QIcon &icon, const char *path)
{
    const QPixmap picture(QString::fromLatin1(path));
    return !picture.isNull() && icon.pixmap(picture.size()).toImage() == picture.toImage();
}

QStringList headers(const QTableView *table)
{
    QStringList texts;
    for (int column = 0; column < table->model()->columnCount(); ++column) {
        texts.append(table->model()->headerData(column, Qt::Horizontal).toString());
    }
    return texts;
}

QStringList firstColumn(const QTableWidget *table)
{
    QStringList texts;
    for (int row = 0; row < table->rowCount(); ++row) {
        texts.append(table->item(row, 0)->text());
    }
    return texts;
}

QStringList entries(const QMenu *menu)
{
    QStringList names;
    const QList<QAction *> actions = menu->actions();
    for (const QAction *action : actions) {
        names.append(action->isSeparator() ? QStringLiteral("-") : action->objectName());
    }
    return names;
}

} // namespace

// The texts and pictures that the program's users, its manual and their notes know it by.
class TestWindowTexts : public QObject
{
    Q_OBJECT

private slots:
    void textsOfTheWindow();
    void textsOfTheSettings();
    void textsOfThePages();
    void picturesOfTheWindow();
    void buttonsOfTheDialogs();
    void headersOfTheTables();
    void menusAreInOrder();
};

void TestWindowTexts::textsOfTheWindow()
{
    WindowFixture fixture;
    fixture.open();
    QCOMPARE(fixture->windowTitle(), QStringLiteral("Device Manager"));
    for (const FixedText &fixed : windowTexts) {
        const auto *object = fixture.find<QObject>(fixed.name);
        QVERIFY2(object, fixed.name);
        QCOMPARE(qMakePair(object->objectName(), textOf(object)),
                 qMakePair(QString::fromLatin1(fixed.name), QString::fromLatin1(fixed.text)));
    }
    const auto *families = fixture.find<QComboBox>("comboBoxDeviceFilter");
    QCOMPARE(families->count(), 3);
    QCOMPARE(families->itemText(0), QStringLiteral("Power Supplies"));
    QCOMPARE(families->itemText(1), QStringLiteral("Beamline Instrumentation"));
    QCOMPARE(families->itemText(2), QStringLiteral("Current Transducers"));
}

void TestWindowTexts::textsOfTheSettings()
{
    WindowFixture fixture;
    fixture.open();
    const QDialog *dialog = fixture.openDialog("actionSettings", "Settings");
    QVERIFY(dialog);
    QStringList texts;
    QHash<QString, QString> captions;
    for (const QLabel *label : dialog->findChildren<QLabel *>()) {
        texts.append(label->text());
        if (label->buddy()) {
            captions.insert(label->buddy()->objectName(), label->text());
        }
    }
    for (const FixedText &fixed : settingsCaptions) {
        QCOMPARE(captions.value(QLatin1String(fixed.name)), QString::fromLatin1(fixed.text));
    }
    for (const char *text : {"Scan Options", "Firmware Update Options", "TCP Options", "Unicast Scan Range",
                             "*This option works only for Power Supplies in Recovery Mode"}) {
        QVERIFY2(texts.contains(QLatin1String(text)), text);
    }
}

void TestWindowTexts::textsOfThePages()
{
    LabWindow fixture;
    fixture.play({labInstrument("beamline", "2100", 11)});
    fixture.open();
    const QStringList parameters = list({"New IP Address:", "New Subnet Mask:", "New Gateway:", "DHCP:"});
    QCOMPARE(firstColumn(fixture.find<QTableWidget>("tableDeviceConfig")), parameters);
    QVERIFY(fixture.scan());
    QCOMPARE(fixture.table()->rowCount(), 1);
    fixture.selectRow(0);
    QCOMPARE(firstColumn(fixture.find<QTableWidget>("tableDeviceConfig")), parameters);
    QCOMPARE(firstColumn(fixture.find<QTableWidget>("tableInfo")),
             list({"Module ID:", "Group:", "Device Description:", "Serial Number:", "Firmware Version:",
                   "MAC Address:", "IP Address:", "SubnetMask:", "Gateway:", "DHCP:"}));
}

void TestWindowTexts::picturesOfTheWindow()
{
    WindowFixture fixture;
    fixture.open();
    QVERIFY(shows(fixture->windowIcon(), ":/images/resources/images/icon.png"));
    for (const FixedText &fixed : windowIcons) {
        QVERIFY2(shows(fixture.find<QPushButton>(fixed.name)->icon(), fixed.text), fixed.name);
    }
}

void TestWindowTexts::buttonsOfTheDialogs()
{
    WindowFixture fixture;
    fixture.open();
    for (const FixedText &opened :
         {FixedText{"actionSettings", "Settings"},
          FixedText{"actionSelect_network_interfaces", "Network Interfaces"},
          FixedText{"actionAdvanced_network_config", "Device(s) Network Configuration"}}) {
        const QDialog *dialog = fixture.openDialog(opened.name, opened.text);
        QVERIFY2(dialog, opened.text);
        const auto *cancel = dialog->findChild<QPushButton *>(QStringLiteral("cancelBtn"));
        const auto *apply = dialog->findChild<QPushButton *>(QStringLiteral("applyBtn"));
        QCOMPARE(cancel->text(), QStringLiteral("Cancel"));
        QCOMPARE(apply->text(), QStringLiteral("Apply"));
        QVERIFY2(shows(cancel->icon(), ":/iconsPng/resources/icons/x.png"), opened.text);
        QVERIFY2(shows(apply->icon(), ":/iconsPng/resources/icons/check.png"), opened.text);
    }
}

void TestWindowTexts::headersOfTheTables()
{
    WindowFixture fixture;
    fixture.open();
    QCOMPARE(headers(fixture.table()),
             list({"Selection", "Icon", "Group", "Module ID", "IP Address", "Firmware"}));
    QCOMPARE(fixture.table()->columnWidth(DeviceTable::IconColumn), 96);
    const auto *info = fixture.find<QTableWidget>("tableInfo");
    QCOMPARE(headers(info), list({"Property", "Value"}));
    QCOMPARE(info->columnWidth(0), 150);
    QCOMPARE(info->columnWidth(1), 280);
    const auto *configuration = fixture.find<QTableWidget>("tableDeviceConfig");
    QCOMPARE(headers(configuration), list({"Parameter", "Value"}));
    fixture.find<QPushButton>("updateBtn")->click();
    QCOMPARE(fixture.table()->columnWidth(DeviceTable::SelectionColumn), 80);
}

void TestWindowTexts::menusAreInOrder()
{
    WindowFixture fixture;
    fixture.open();
    QCOMPARE(entries(fixture.find<QMenu>("menuFile")), list({"actionNew_Scan", "-", "actionQuit"}));
    QCOMPARE(entries(fixture.find<QMenu>("menuView")),
             list({"actionToogle_Full_Screen", "-", "actionApply_Filter"}));
    QCOMPARE(entries(fixture.find<QMenu>("menuTools")),
             list({"actionCheck_for_updates", "-", "actionSelect_network_interfaces", "actionSettings", "-",
                   "actionAdvanced_network_config"}));
    QCOMPARE(entries(fixture.find<QMenu>("menuHelp")),
             list({"actionChangelog", "actionShow_supported_devices", "actionAbout"}));
    for (const FixedText &fixed :
         {FixedText{"actionNew_Scan", "Space"}, FixedText{"actionQuit", "Ctrl+Q"},
          FixedText{"actionToogle_Full_Screen", "F11"}, FixedText{"actionApply_Filter", "Ctrl+F"}}) {
        QCOMPARE(fixture.find<QAction>(fixed.name)->shortcut(), QKeySequence(QLatin1String(fixed.text)));
    }
}

QTEST_MAIN(TestWindowTexts)
#include "tst_windowtexts.moc"
