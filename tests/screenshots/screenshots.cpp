// Opens every page, dialog and message box of the real window on the virtual lab and saves a picture of
// each. script/screenshots runs it on the workstation of the private network, once for each scale.

#include "labprocess.h"
#include "mainwindow.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QStackedWidget>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QTextStream>
#include <QTimer>

#include <functional>

namespace {

constexpr int boxPollMs = 50;
constexpr int patienceMs = 60000;

void waitUntil(const std::function<bool()> &reached)
{
    if (!QTest::qWaitFor(reached, patienceMs)) {
        qFatal("waited in vain");
    }
}

// Saves pictures under a name and a suffix for the scale, and closes each message box after taking it.
class Photographer
{
public:
    Photographer(QString folder, QString suffix) : m_folder(std::move(folder)), m_suffix(std::move(suffix))
    {
        QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this] { takeBox(); });
        m_timer.start(boxPollMs);
    }

    void take(QWidget *widget, const QString &name)
    {
        QTest::qWait(boxPollMs); // the style sheet's last polish and the layout it asks for
        const QString path = QStringLiteral("%1/%2%3.png").arg(m_folder, name, m_suffix);
        if (!widget->grab().save(path)) {
            qFatal("cannot write %s", qPrintable(path));
        }
    }

    // Does what opens message boxes one after another; each is saved as name-1, name-2 and so on.
    void takeBoxes(const QString &name, const std::function<void()> &action)
    {
        m_boxName = name;
        m_boxes = 0;
        action();
        if (m_boxes == 0) {
            qWarning("no message box came for %s", qPrintable(name));
        }
        m_boxName.clear();
    }

    // Takes the dialog that the action opens, and closes it.
    void takeDialog(const MainWindow &window, const char *action, const QString &name,
                    const std::function<void(QDialog *)> &prepare = {})
    {
        const QList<QDialog *> before = window.findChildren<QDialog *>();
        window.findChild<QAction *>(QLatin1String(action))->trigger();
        QDialog *dialog = window.findChildren<QDialog *>().last();
        for (QDialog *candidate : window.findChildren<QDialog *>()) {
            dialog = before.contains(candidate) ? dialog : candidate;
        }
        if (prepare) {
            prepare(dialog);
        }
        take(dialog, name);
        dialog->close();
        QTest::qWait(0);
    }

private:
    void takeBox()
    {
        auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
        if (!box || !box->isVisible() || m_taking) {
            return;
        }
        m_taking = true;
        ++m_boxes;
        take(box, m_boxes == 1 ? m_boxName : QStringLiteral("%1-%2").arg(m_boxName).arg(m_boxes));
        m_taking = false;
        QTest::keyClick(box, Qt::Key_Escape);
    }

    QString m_folder;
    QString m_suffix;
    QString m_boxName;
    QTimer m_timer;
    int m_boxes = 0;
    bool m_taking = false;
};

// One window and what a user does with it.
class Tour
{
public:
    explicit Tour(Photographer &photographer) : m_camera(photographer) {}

    void visit()
    {
        m_camera.take(&m_window, QStringLiteral("home-page"));
        waitUntil([this] { return find<QStackedWidget>("stackedWidget")->currentIndex() == 0; });
        m_camera.take(&m_window, QStringLiteral("before-a-scan"));
        press("configBtn");
        m_camera.takeBoxes(QStringLiteral("box-no-device"), [this] { press("saveConfBtn"); });
        press("infoBtn");
        m_window.onScanDevices();
        takePages();
        takeSizes();
        takeDialogs();
        takeMenus();
        takeBoxes();
        takeUpdate();
    }

    MainWindow &window() { return m_window; }

private:
    template <typename Widget>
    Widget *find(const char *name)
    {
        return m_window.findChild<Widget *>(QLatin1String(name));
    }
    void press(const char *button) { find<QPushButton>(button)->click(); }
    QTableWidget *table() { return find<QTableWidget>("tableWidgetDeviceFirstTable"); }

    void select(const char *ip)
    {
        const QList<QTableWidgetItem *> found = table()->findItems(QLatin1String(ip), Qt::MatchExactly);
        if (found.isEmpty()) {
            qFatal("%s is not in the table", ip);
        }
        table()->setCurrentItem(found.first());
        table()->scrollToItem(found.first(), QAbstractItemView::PositionAtCenter);
    }

    void takePages()
    {
        table()->sortByColumn(4, Qt::AscendingOrder);
        select("10.20.30.14");
        m_camera.take(&m_window, QStringLiteral("device-page"));
        select("192.168.0.12");
        press("configBtn");
        m_camera.take(&m_window, QStringLiteral("configuration-page"));
        press("updateBtn");
        select("192.168.0.60");
        m_camera.take(&m_window, QStringLiteral("firmware-page"));
        find<QAction>("actionApply_Filter")->trigger();
        find<QComboBox>("comboBoxDeviceFilter")->setCurrentIndex(1);
        m_camera.take(&m_window, QStringLiteral("filter"));
        press("infoBtn");
        m_window.onScanDevices(); // a collapsed filter brings back six rows only
    }

    void takeSizes()
    {
        const QSize usual = m_window.size();
        press("updateBtn");
        select("192.168.0.11");
        m_window.resize(1024, 700);
        m_camera.take(&m_window, QStringLiteral("window-1024x700"));
        press("infoBtn");
        m_window.resize(usual);
    }

    void takeDialogs()
    {
        m_camera.takeDialog(m_window, "actionSettings", QStringLiteral("settings"), [](QDialog *dialog) {
            dialog->findChild<QAbstractButton *>(QStringLiteral("checkBoxEnableUnicast"))->setChecked(true);
        });
        m_camera.takeDialog(
            m_window, "actionSettings", QStringLiteral("settings-wrong-address"), [](QDialog *d) {
                d->findChild<QAbstractButton *>(QStringLiteral("checkBoxEnableUnicast"))->setChecked(true);
                d->findChild<QLineEdit *>(QStringLiteral("lineEditStart"))
                    ->setText(QStringLiteral("192.168.5"));
            });
        m_camera.takeDialog(m_window, "actionSelect_network_interfaces",
                            QStringLiteral("network-interfaces"));
        m_camera.takeDialog(m_window, "actionAdvanced_network_config", QStringLiteral("many-instruments"));
        m_camera.takeDialog(m_window, "actionChangelog", QStringLiteral("changelog"));
        m_camera.takeDialog(m_window, "actionShow_supported_devices", QStringLiteral("supported-devices"));
        m_camera.takeDialog(m_window, "actionAbout", QStringLiteral("about"));
    }

    void takeMenus()
    {
        for (const char *name : {"menuFile", "menuView", "menuTools", "menuHelp"}) {
            auto *menu = find<QMenu>(name);
            menu->popup(m_window.pos());
            m_camera.take(
                menu,
                QString::fromLatin1(name).replace(QLatin1String("menu"), QLatin1String("menu-")).toLower());
            menu->close();
        }
    }

    void takeBoxes()
    {
        m_camera.takeBoxes(QStringLiteral("box-update-check"), [this] { m_window.onCheckForUpdates(); });
        press("updateBtn");
        m_camera.takeBoxes(QStringLiteral("box-no-firmware"), [this] { press("updateFwBtn"); });
        find<QLineEdit>("lineEditFirmware1")->setText(QStringLiteral("firmware.updt"));
        m_camera.takeBoxes(QStringLiteral("box-no-selection"), [this] { press("updateFwBtn"); });
        select("192.168.0.11");
        press("configBtn");
        find<QTableWidget>("tableDeviceConfig")->item(0, 1)->setText(QStringLiteral("192.168.0.300"));
        m_camera.take(&m_window, QStringLiteral("configuration-wrong-address"));
        m_camera.takeBoxes(QStringLiteral("box-saved"), [this] { press("saveConfBtn"); });
    }

    // An update of the motor driver to its end. The showcase's has no processor to program: it fails.
    void takeUpdate()
    {
        const QTemporaryDir folder;
        const QString firmware = folder.filePath(QStringLiteral("Rovan_Motor_Communication_DSP.hex"));
        QFile::copy(QStringLiteral(":/files/resources/Rovan_Motor_Bootloader.hex"), firmware);
        press("updateBtn");
        select("192.168.0.60");
        find<QLineEdit>("lineEditFirmware1")->setText(firmware);
        table()->cellWidget(table()->currentRow(), 0)->setProperty("checked", true);
        m_camera.takeBoxes(QStringLiteral("box-update-ended"), [this] {
            press("updateFwBtn");
            waitUntil([this] { return find<QPushButton>("updateFwBtn")->isEnabled(); });
        });
        m_camera.take(&m_window, QStringLiteral("update-ended"));
    }

    Photographer &m_camera;
    MainWindow m_window;
};

int takeAll(const QString &folder, const QString &suffix)
{
    LabProcess lab;
    if (!lab.startFile(QStringLiteral("showcase.json"))) {
        QTextStream(stderr) << lab.errorText();
        return 1;
    }
    Photographer camera(folder, suffix);
    QDir::home().mkpath(QStringLiteral("Quorvex/DeviceManager"));
    camera.takeBoxes(QStringLiteral("box-previous-installation"), [&camera] {
        Tour first(camera); // asks while it is made
    });
    QDir(QDir::home().filePath(QStringLiteral("Quorvex"))).removeRecursively();
    Tour tour(camera);
    tour.window().show();
    tour.visit();
    return 0;
}

} // namespace

int main(int argc, char *argv[])
{
    const QTemporaryDir home;
    qputenv("HOME", home.path().toLocal8Bit());
    qputenv("XDG_CONFIG_HOME", (home.path() + QLatin1String("/config")).toLocal8Bit());
    QCoreApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QCoreApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
    const QApplication application(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("Quorvex"));
    QCoreApplication::setApplicationName(QStringLiteral("DeviceManager"));
    if (QCoreApplication::arguments().size() != 3) {
        QTextStream(stderr) << "usage: screenshots FOLDER SUFFIX\n";
        return 64;
    }
    return takeAll(QCoreApplication::arguments().at(1), QCoreApplication::arguments().at(2));
}
