#include "tour.h"

#include "appsettings.h"
#include "newnetwsettings.h"
#include "photographer.h"

#include <QAbstractButton>
#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QDialog>
#include <QDir>
#include <QDoubleSpinBox>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollBar>
#include <QStackedWidget>
#include <QTableView>
#include <QTableWidget>
#include <QTest>

namespace {

constexpr int imageBytes = 2 * 1024 * 1024; // five seconds of an instrument of the showcase
constexpr double slowScan = 2.0;            // seconds
constexpr int midScan = 30;                 // steps
constexpr int midUpdate = 40;               // percent

void writeFile(const QString &path, const QByteArray &content)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size()) {
        qFatal("cannot write %s", qPrintable(path));
    }
}

} // namespace

Tour::Tour(Photographer &photographer) : m_camera(photographer) {}

Tour::~Tour() = default;

void Tour::visitShowcase()
{
    m_window.show();
    m_camera.take(&m_window, QStringLiteral("home-page"));
    waitForDevicePage();
    m_camera.take(&m_window, QStringLiteral("before-a-scan"));
    press("configBtn");
    m_camera.takeBoxes(QStringLiteral("box-no-device"), [this] { press("saveConfBtn"); });
    press("infoBtn");
    takeScan();
    takePages();
    takeSizes();
    takeDialogs();
    takeFileOfSettings();
    takeMenus();
    takeBoxes();
    takeFocus();
    takeFailedUpdate();
    takeUpdate();
    takeMissing();
}

void Tour::visitUpdateChecks()
{
    const QString tool =
        QDir(QCoreApplication::applicationDirPath()).filePath(QStringLiteral("maintenancetool.exe"));
    const auto answer = [&tool](const QByteArray &text) {
        writeFile(tool, "#!/bin/sh\necho '" + text + "'\n");
        QFile::setPermissions(tool, QFile::ReadOwner | QFile::ExeOwner | QFile::WriteOwner);
    };
    answer("There are currently no updates available.");
    m_camera.takeBoxes(QStringLiteral("box-no-updates"), [this] { m_window.onCheckForUpdates(); });
    answer("<updates>");
    m_camera.takeBoxes(QStringLiteral("box-updates"), [this] { m_window.onCheckForUpdates(); });
    QFile::remove(tool);
}

void Tour::waitForDevicePage()
{
    waitUntil([this] { return find<QStackedWidget>("stackedWidget")->currentIndex() == 0; });
}

void Tour::press(const char *button)
{
    find<QPushButton>(button)->click();
}

void Tour::trigger(const char *action)
{
    find<QAction>(action)->trigger();
}

QTableWidget *Tour::table()
{
    return find<QTableWidget>("tableWidgetDeviceFirstTable");
}

void Tour::select(const char *ip)
{
    const QList<QTableWidgetItem *> found = table()->findItems(QLatin1String(ip), Qt::MatchExactly);
    if (found.isEmpty()) {
        qFatal("%s is not in the table", ip);
    }
    table()->setCurrentItem(found.first());
    table()->scrollToItem(found.first(), QAbstractItemView::PositionAtCenter);
    QScrollBar *bar = table()->verticalScrollBar();
    const int height = table()->rowHeight(0);
    bar->setValue(bar->value() / height * height); // no row is cut at the top
}

void Tour::setScanTime(double seconds)
{
    trigger("actionSettings");
    find<QDoubleSpinBox>("doubleSpinBoxBroadcastTime")->setValue(seconds);
    press("applyBtn");
    waitUntil([this] { return !find<QDoubleSpinBox>("doubleSpinBoxBroadcastTime"); });
}

void Tour::takeScan()
{
    const auto *bar = find<QProgressBar>("progressBar");
    const double usual = AppSettings().scanTime() / 1000.0;
    setScanTime(slowScan);
    {
        bool taken = false;
        QObject once;
        QObject::connect(bar, &QProgressBar::valueChanged, &once, [this, &taken](int value) {
            if (value == midScan && !find<QPushButton>("scanBtn")->isEnabled()) {
                m_camera.take(&m_window, QStringLiteral("scanning"));
                taken = true;
            }
        });
        m_window.onScanDevices();
        if (!taken) {
            qFatal("no scan was seen");
        }
    }
    setScanTime(usual);
}

void Tour::takePages()
{
    table()->sortByColumn(4, Qt::AscendingOrder);
    select("10.20.30.14");
    m_camera.take(&m_window, QStringLiteral("device-page"));
    select("192.168.0.12");
    press("configBtn");
    m_camera.take(&m_window, QStringLiteral("configuration-page"));
    select("192.168.0.34");
    m_camera.take(&m_window, QStringLiteral("configuration-locked"));
    press("updateBtn");
    select("192.168.0.60");
    m_camera.take(&m_window, QStringLiteral("firmware-motor-driver"));
    find<QAction>("actionApply_Filter")->trigger();
    find<QComboBox>("comboBoxDeviceFilter")->setCurrentIndex(1);
    m_camera.take(&m_window, QStringLiteral("filter"));
    press("infoBtn");
    m_window.onScanDevices(); // a collapsed filter brings back six rows only
}

void Tour::takeSizes()
{
    const QSize usual = m_window.size();
    press("updateBtn");
    select("192.168.0.11");
    m_window.resize(1024, 700);
    m_camera.take(&m_window, QStringLiteral("window-1024x700"));
    press("infoBtn");
    m_window.resize(usual);
}

void Tour::takeDialogs()
{
    const auto dialog = [this](const char *action, const char *name,
                               const std::function<void(QDialog *)> &prepare = {}) {
        m_camera.takeDialog(
            &m_window, [this, action] { trigger(action); }, QLatin1String(name), prepare);
    };
    const auto range = [](const char *start) {
        return [start](QDialog *settings) {
            settings->findChild<QAbstractButton *>(QStringLiteral("checkBoxEnableUnicast"))->setChecked(true);
            settings->findChild<QLineEdit *>(QStringLiteral("lineEditStart"))->setText(QLatin1String(start));
        };
    };
    dialog("actionSettings", "settings", range("192.168.0.1"));
    dialog("actionSettings", "settings-wrong-address", range("192.168.5"));
    dialog("actionSelect_network_interfaces", "network-interfaces");
    dialog("actionAdvanced_network_config", "many-instruments");
    dialog("actionChangelog", "changelog");
    dialog("actionShow_supported_devices", "supported-devices");
    dialog("actionAbout", "about");
}

// A file that holds no network settings, one that is sent, and a change that would be lost.
void Tour::takeFileOfSettings()
{
    const QString path = QDir::home().filePath(QStringLiteral("rack.csv"));
    const auto open = [this, &path] {
        trigger("actionAdvanced_network_config");
        auto *dialog = m_window.findChild<NewNetwSettings *>();
        dialog->setFileChoosers({}, [&path] { return QString(path); });
        return dialog;
    };
    const auto closed = [this] { return !m_window.findChild<NewNetwSettings *>(); };
    open();
    writeFile(path, "Shopping list\n");
    m_camera.takeBoxes(QStringLiteral("box-wrong-file"), [this] { press("uploadFileBtn"); });
    writeFile(path, "2100,,,00:1A:2B:21:00:5E,192.168.0.31,255.255.255.0,192.168.0.1\n");
    m_camera.takeBoxes(QStringLiteral("box-uploaded"), [this] { press("uploadFileBtn"); });
    waitUntil(closed);
    const auto *footer = find<QLabel>("labelFooter");
    waitUntil([footer] { return footer->text().contains(QLatin1String("at its new address")); });

    auto *dialog = open();
    QAbstractItemModel *model = dialog->findChild<QTableView *>()->model();
    model->setData(model->index(0, 3), QStringLiteral("192.168.0.212"));
    m_camera.takeBoxes(
        QStringLiteral("box-discard"), [dialog] { dialog->reject(); }, QStringLiteral("Discard"));
    waitUntil(closed);
}

void Tour::takeMenus()
{
    for (const char *name : {"menuFile", "menuView", "menuTools", "menuHelp"}) {
        auto *menu = find<QMenu>(name);
        menu->popup(m_window.pos());
        m_camera.take(
            menu, QString::fromLatin1(name).replace(QLatin1String("menu"), QLatin1String("menu-")).toLower());
        menu->close();
    }
}

void Tour::takeBoxes()
{
    m_camera.takeBoxes(QStringLiteral("box-update-check"), [this] { m_window.onCheckForUpdates(); });
    press("updateBtn");
    m_camera.takeBoxes(QStringLiteral("box-no-firmware"), [this] { press("updateFwBtn"); });
    find<QLineEdit>("lineEditFirmware1")->setText(QStringLiteral("firmware.updt"));
    m_camera.takeBoxes(QStringLiteral("box-no-selection"), [this] { press("updateFwBtn"); });
    press("scanBtn"); // the footer tells of the settings that were sent
    select("192.168.0.11");
    press("configBtn");
    find<QTableWidget>("tableDeviceConfig")->item(0, 1)->setText(QStringLiteral("192.168.0.300"));
    m_camera.take(&m_window, QStringLiteral("configuration-wrong-address"));
    m_camera.takeBoxes(QStringLiteral("box-saved"), [this] { press("saveConfBtn"); });
    m_camera.take(&m_window, QStringLiteral("configuration-refused"));
}

// A tool takes its new address when it is started anew, so the scan does not find it there, and the footer
// goes on saying so.
void Tour::takeMissing()
{
    press("configBtn");
    select("192.168.0.51");
    find<QTableWidget>("tableDeviceConfig")->item(0, 1)->setText(QStringLiteral("192.168.0.151"));
    m_camera.takeBoxes(QStringLiteral("box-reboot"), [this] { press("saveConfBtn"); });
    m_camera.take(&m_window, QStringLiteral("configuration-not-found"));
    m_camera.takeDialog(
        &m_window, [this] { press("footerDetailsBtn"); }, QStringLiteral("not-found-details"));
}

// The keyboard's place on a button, a box and a table, and the address of an instrument in recovery mode.
void Tour::takeFocus()
{
    press("scanBtn");
    press("updateBtn");
    m_window.activateWindow(); // a closed dialog does not give the keyboard back without a window manager
    if (!QTest::qWaitForWindowActive(&m_window)) {
        qFatal("the window does not become active, so no focus would be seen");
    }
    find<QPushButton>("configBtn")->setFocus(Qt::TabFocusReason);
    m_camera.take(&m_window, QStringLiteral("focus-header"));
    find<QPushButton>("updateFwBtn")->setFocus(Qt::TabFocusReason);
    m_camera.take(&m_window, QStringLiteral("focus-main-action"));
    m_camera.takeDialog(
        &m_window, [this] { trigger("actionSettings"); }, QStringLiteral("focus-box"),
        [](QDialog *dialog) {
            dialog->findChild<QCheckBox *>(QStringLiteral("checkBoxEnable"))->setFocus(Qt::TabFocusReason);
        });
    trigger("actionSettings");
    find<QCheckBox>("checkBoxEnable")->setChecked(true);
    press("applyBtn");
    find<QCheckBox>("checkBoxManualIP")->setChecked(true);
    m_camera.take(&m_window, QStringLiteral("firmware-manual-address"));
    find<QCheckBox>("checkBoxManualIP")->setChecked(false);
}

// A boot loader is no firmware of a motor driver.
void Tour::takeFailedUpdate()
{
    const QString firmware = QDir::home().filePath(QStringLiteral("Rovan_Motor_Communication_DSP.hex"));
    QFile::copy(QStringLiteral(":/files/resources/Rovan_Motor_Bootloader.hex"), firmware);
    press("updateBtn");
    select("192.168.0.61");
    find<QLineEdit>("lineEditFirmware1")->setText(firmware);
    table()->cellWidget(table()->currentRow(), 0)->setProperty("checked", true);
    m_camera.takeBoxes(QStringLiteral("box-update-failed"), [this] {
        press("updateFwBtn");
        waitUntil([this] { return find<QPushButton>("updateFwBtn")->isEnabled(); });
    });
    m_camera.take(&m_window, QStringLiteral("firmware-failed"));
    table()->cellWidget(table()->currentRow(), 0)->setProperty("checked", false);
}

// One power supply from the choice of its file to the rescan that shows its new version.
void Tour::takeUpdate()
{
    press("scanBtn"); // the footer tells of the failed one, and once more what it answers
    press("scanBtn");
    const QString path = QDir::home().filePath(QStringLiteral("QPS1100_2.1.05.updt"));
    writeFile(path, QByteArray(imageBytes, 'q'));
    press("infoBtn");
    press("updateBtn");
    select("192.168.0.11");
    find<QLineEdit>("lineEditFirmware1")->setText(path);
    m_camera.take(&m_window, QStringLiteral("firmware-page"));
    m_camera.takeBoxes(QStringLiteral("choose-firmware"), [this] { press("chooseFirmwareBtn"); });
    table()->cellWidget(table()->currentRow(), 0)->setProperty("checked", true);
    press("updateFwBtn");
    waitUntil([this] { return find<QProgressBar>("progressBarFirmware")->value() >= midUpdate; });
    m_camera.take(&m_window, QStringLiteral("firmware-running"));
    m_camera.takeBoxes(QStringLiteral("box-closing"), [this] { m_window.close(); });
    m_camera.takeBoxes(QStringLiteral("box-update-done"), [this] {
        waitUntil([this] { return find<QPushButton>("updateFwBtn")->isEnabled(); });
    });
    waitUntil([this] { return find<QLabel>("labelFooter")->text().contains(QLatin1String(" before, ")); });
    m_camera.take(&m_window, QStringLiteral("firmware-done"));
    m_camera.takeBoxes(QStringLiteral("save-log"), [this] { press("dowloadLog"); });
}
