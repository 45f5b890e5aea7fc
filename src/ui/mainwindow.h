#pragma once

#include "closequestion.h"
#include "device.h"
#include "interfaces.h"
#include "session.h"

#include <QMainWindow>

#include <memory>
#include <optional>

class AppSettings;
class Client;
class DeviceTable;
class Footer;
class NetworkInterfaces;
class NewNetwSettings;
class PageSwitch;
class QTimer;
class Updates;
class WindowState;

namespace Ui {
class MainWindow;
}

// The application's only main window. It owns the settings, the discovery client, the interface list and the
// session, and conducts: each slot turns what the user did into an order for the session, or passes what the
// session says on to the table, a page or the footer. Slot names are fixed; the forms connect to them.
class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    explicit MainWindow(QWidget *parent = nullptr);
    ~MainWindow() override;

public slots:
    void timeout();
    void onHideFilterComboBox();
    void onHideDevice();
    void onChangeFilterLabel();
    void onScanDevices();
    void onShowAdditionalInfoPage();
    void onWriteAddInfo();
    void onUpdateScanProgressBar(int value);
    void onShowConfigureDevicePage();
    void onSaveNewConfiguration();
    void onEnableSave();
    void onShowDeviceNetwSet();
    void onShowAdvancedNetwConf();
    void onChangeTableNetwSetState();
    void onShowPageFwUpgrade();
    void onChooseFirmware();
    void onButtonUpFwPressed();
    void onButtonUpFwPressed2();
    void onStopUpdateProcedure();
    void onWriteFwUpLog(const QString &message);
    void onChangeFwProgressBar(int value);
    void onSelectedtoUpdate();
    void onEnableManualIP();
    void onUpdateNextDevice();
    void onCheckFirmwarePath();
    void onRemoveSelectedDev(int index);
    void onDownloadLog();
    void onOpenWebInterface();
    void onShowWebInterface();
    void onShowChangelog();
    void onShowAbout();
    void onShowSupportedDev();
    void onShowSettings();
    void onQuit();
    void onFullScreen();
    void onCheckForUpdates();
    void onShowNetworksTable();
    void onSaveNetworkList(const QList<interfaces_t> &list);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
    void closeEvent(QCloseEvent *event) override;

private:
    // Steps of the constructor.
    void prepareWidgets();
    void prepareHabits();
    void showHomePage();
    void connectHeaderAndTable();
    void connectPages();
    void connectActions();
    void connectSession();

    // What the session says.
    void refreshControls();
    void onScanBegun();
    void onScanEnded();
    void onDeviceChanged(int index);
    void onDeviceAdded();
    void onUpdateBegun(const Device_t &device);
    void onUpdateEnded();

    DeviceTable &table() const;
    const Device_t *currentDevice() const;
    void applyFilterState();
    void switchFilterOff();
    void showPage(int page);
    void tell(int icon, const QString &title, const QString &text);
    void showText(const QString &text, const QString &title);
    void applyNetworkSettings(NewNetwSettings *dialog, const QList<QStringList> &rows);

    void rememberFirmwareFolder(const std::optional<QString> &file);
    void startFromSelector(std::size_t selector);
    std::optional<UpdateStep> stepOf(std::size_t selector);
    bool isAnySelected() const;
    bool mayCloseNow();

    // The order matters: settings first, the rest is built from them; the session goes before its client.
    std::unique_ptr<AppSettings> m_settings;
    std::unique_ptr<Client> m_client;
    std::unique_ptr<NetworkInterfaces> m_interfaces;
    std::unique_ptr<Ui::MainWindow> m_ui;
    std::unique_ptr<Footer> m_footer;
    std::unique_ptr<PageSwitch> m_pageSwitch;
    std::unique_ptr<WindowState> m_windowState; // of the widgets in m_ui
    std::unique_ptr<Session> m_session;
    QTimer *m_homeTimer = nullptr;
    Updates *m_updates = nullptr;
    CloseQuestion m_closeQuestion;
    QList<bool> m_selectedForUpdate; // one flag a device index
    bool m_filterHidden = false;
    bool m_configPageActive = true;
    bool m_selectionPending = true;
    bool m_manualIpEnabled = false;
    QString m_firmwareDefaultDir;
};
