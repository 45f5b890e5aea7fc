#pragma once

#include "appsettings.h"
#include "changeproof.h"
#include "client.h"
#include "device.h"
#include "firmwareupgrade.h"
#include "interfaces.h"
#include "networkinterfaces.h"
#include "versionproof.h"
#include "windowstate.h"

#include <QMainWindow>
#include <QPointer>

#include <memory>

class NewNetwSettings;
class QMessageBox;
class QPushButton;
class Settings;
class Updates;
class QTimer;

namespace Ui {
class MainWindow;
}

// The application's only main window. It owns the settings, the discovery client and the interface
// list, keeps the records of the last scan and conducts: each slot calls the table, a page or a
// dialog, which do the work. Slot names are fixed; the forms and the other rooms connect to them.
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
    void readSettings();
    void prepareWidgets();
    void prepareHabits();
    void checkPreviousInstallation();
    void showHomePage();
    void connectHeaderAndTable();
    void connectPages();
    void connectActions();
    void prepareTimers();

    const Device_t *currentDevice() const;
    bool hasWebInterface() const;
    void setScanControlsEnabled(bool enabled);
    void clearDevices();
    void fillDeviceTable();
    void applyFilterState();
    void switchFilterOff();
    void showPage(int page, QPushButton *chosen);
    void highlight(QPushButton *button, bool selected);
    void setUpdateControlsEnabled(bool enable);
    struct Judgement
    {
        QStringList sentences;
        bool bad = false;
    };

    void showScanResult();
    void sayInFooter(const QString &text, bool bad = false);
    Judgement judgeChanges();
    void onShowMissingInstruments();
    void showText(const QString &resource, const QString &title);
    void connectSettingsDialog(Settings *dialog);
    void offerManualIp();
    void applyNetworkSettings(NewNetwSettings *dialog, const QList<QStringList> &rows);

    // The firmware update, one instrument a worker.
    void rememberFirmwareFolder(const QString &file);
    void startFromSelector(std::size_t selector);
    void startFirmwareUpdate(const QString &path);
    bool isAnySelected() const;
    void connectWorker();
    void interruptUpdate();
    void onUpdateThreadEnded();
    void onNoteUpdatedDevice(int index);
    void sayUpdating(const QString &ip);
    void sayFailed();
    void endUpdate();
    void drawUpdate();
    void onLookForUpdated();
    bool mayCloseNow();
    void dismissCloseBox();
    void finishBeforeClosing();

    // The order matters: settings first, the rest is built from them.
    std::unique_ptr<AppSettings> settings;
    std::unique_ptr<Client> client;
    std::unique_ptr<NetworkInterfaces> interfaces;
    std::unique_ptr<Ui::MainWindow> ui;
    QTimer *homeTimer = nullptr;
    QTimer *settingsTimer = nullptr; // until the scan that looks for changed addresses
    QTimer *restartTimer = nullptr;  // until the scan that looks for updated instruments
    Updates *updates = nullptr;
    std::unique_ptr<WindowState> windowState; // of the widgets in ui

    QList<Device_t> devices;       // the last scan's result; a position in it is a device index
    QList<bool> selectedForUpdate; // one flag a device index
    ChangeProof proof;             // network settings sent, not yet all seen to work
    VersionProof versions;         // firmware versions before an update
    std::unique_ptr<firmwareUpgrade> worker;
    QPointer<QMessageBox> closeBox;
    int restartLooks = 0; // still to come
    bool scanning = false;
    bool updating = false;
    bool drawingUpdate = false;
    bool closing = false;
    bool failedWhileClosing = false;
    bool sendingSettings = false;
    bool lastChangeRefused = false;
    bool filterHidden = false;
    bool configPageActive = true;
    bool selectionPending = true;
    bool manualIpEnabled = false;
    int updateTimeoutMs = 120000;
    QString firmwareDefaultDir;
    QString updatedIp; // of the instrument that is or was updated last
};
