#include "mainwindow.h"

#include "devicecatalogue.h"
#include "elidedtooltips.h"
#include "menukeys.h"
#include "returnpresses.h"
#include "tablecopy.h"
#include "textresource.h"
#include "ui_mainwindow.h"

#include <QApplication>
#include <QCheckBox>
#include <QCloseEvent>
#include <QDir>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMessageBox>
#include <QShortcut>
#include <QTimer>

#include <algorithm>

namespace {

constexpr int homePageMs = 2000;
constexpr int deviceStackPage = 0;
constexpr int homeStackPage = 1;
constexpr int firmwarePageIndex = 0;
constexpr int infoPageIndex = 1;
constexpr int configurationPageIndex = 2;
constexpr int pageWidth = 460;             // the information page shows its two columns in full
constexpr int filterComboWidth = 16777215; // as wide as it likes

} // namespace

MainWindow::MainWindow(QWidget *parent)
    : QMainWindow(parent),
      settings(std::make_unique<AppSettings>()),
      client(std::make_unique<Client>()),
      interfaces(std::make_unique<NetworkInterfaces>()),
      ui(std::make_unique<Ui::MainWindow>()),
      firmwareDefaultDir(QDir::currentPath())
{
    interfaces->refresh();
    ui->setupUi(this);
    const QList<QPushButton *> buttons = findChildren<QPushButton *>();
    for (QPushButton *button : buttons) {
        button->installEventFilter(this);
    }
    readSettings();
    prepareWidgets();
    qApp->setStyleSheet(textResource(QStringLiteral(":/files/resources/styleSheet.qss")));
    checkPreviousInstallation();
    showHomePage();
    connectHeaderAndTable();
    connectPages();
    connectActions();
    prepareTimers();
    prepareHabits();
}

MainWindow::~MainWindow() = default;

void MainWindow::readSettings()
{
    client->setScanTime(settings->scanTime());
    client->setSendUnicast(settings->sendUnicast());
    client->setStartIp(settings->startIp());
    client->setEndIp(settings->endIp());
    client->setTcpThreads(settings->tcpThreads());
    client->setTcpWaitWritten(settings->tcpWaitWritten());
    client->setTcpWaitRead(settings->tcpWaitRead());
    client->setTcpWaitConnected(settings->tcpWaitConnected());
    updateTimeoutMs = settings->updateTimeout();
    manualIpEnabled = settings->manualIp();
    firmwareDefaultDir = settings->fwDefaultDir();
}

void MainWindow::prepareWidgets()
{
    ui->pageUpdate->setManualIpOffered(manualIpEnabled);
    onHideFilterComboBox();
    ui->progressBar->setValue(0);
    ui->pageUpdate->resetProgress();
    ui->pageUpdate->updateFirmwareLabels(nullptr);
    highlight(ui->infoBtn, true);
    highlight(ui->updateBtn, false);
    highlight(ui->configBtn, false);
    ui->pageConfigure->resetConfigurationTable();
    ui->tableWidgetDeviceFirstTable->prepareColumns();
    ui->labelHomeLogo->setPixmap(logo());
    ui->frameWeb->hide();
    ui->footerDetailsBtn->hide();
    ui->splitterDevices->setSizes({1275 - pageWidth, pageWidth});
    ui->splitterDevices->setStretchFactor(0, 3);
    ui->splitterDevices->setStretchFactor(1, 2);
    const QString invitation = tr("No instruments to show.\nPress Space to scan.");
    ui->tableWidgetDeviceFirstTable->setEmptyText(invitation);
    sayInFooter(tr("Not scanned yet."));
}

// What people expect of any program: keys for the menus, copying from tables, whole texts, and a window
// that comes back as it was left.
void MainWindow::prepareHabits()
{
    addMenuKeys(ui->menuBar);
    TableCopy::addTo(this);
    new ElidedTooltips(ui->tableWidgetDeviceFirstTable);
    ReturnPresses::addTo(ui->pageUpdate->manualIpBox());
    auto *escape = new QShortcut(Qt::Key_Escape, this);
    connect(escape, &QShortcut::activated, client.get(), [this] { client->requestStop(); });
    const QList<QTableView *> tables = ui->splitterDevices->findChildren<QTableView *>();
    windowState = std::make_unique<WindowState>(this, ui->splitterDevices, tables);
    windowState->restore();
}

// Offers to remove what an older release left under the user's home folder. Asked at every start as
// long as the folder is there; the answer never stops the start.
void MainWindow::checkPreviousInstallation()
{
    QDir folder(QDir::home().filePath(QStringLiteral("Quorvex/DeviceManager")));
    if (!folder.exists()) {
        return;
    }
    const QString path = folder.absolutePath();
    if (path == QDir(QCoreApplication::applicationDirPath()).absolutePath()) {
        return; // that is the program now running
    }
    const auto answer = QMessageBox::question(
        this, QStringLiteral("Previous Installation Found"),
        QStringLiteral("A previous installation was found in:\n%1\n\nDo you want to remove it?").arg(path),
        QMessageBox::Yes | QMessageBox::No);
    if (answer == QMessageBox::Yes && !folder.removeRecursively()) {
        QMessageBox::warning(this, QStringLiteral("Error"),
                             QStringLiteral("Unable to remove old installation at:\n%1").arg(path));
    }
}

void MainWindow::showHomePage()
{
    homeTimer = new QTimer(this);
    connect(homeTimer, &QTimer::timeout, this, &MainWindow::timeout);
    homeTimer->start(homePageMs);
    ui->stackedWidget->setCurrentIndex(homeStackPage);
    QCoreApplication::processEvents();
}

void MainWindow::timeout()
{
    homeTimer->stop();
    ui->stackedWidget->setCurrentIndex(deviceStackPage);
    QCoreApplication::processEvents();
}

// The slots of one signal run in the order in which they are connected here.
void MainWindow::connectHeaderAndTable()
{
    connect(ui->scanBtn, &QPushButton::released, this, &MainWindow::onScanDevices);
    connect(ui->infoBtn, &QPushButton::released, this, &MainWindow::onShowAdditionalInfoPage);
    connect(ui->updateBtn, &QPushButton::released, this, &MainWindow::onShowPageFwUpgrade);
    connect(ui->configBtn, &QPushButton::released, this, &MainWindow::onShowConfigureDevicePage);
    connect(client.get(), &Client::signalUpdateProgressBar, this, &MainWindow::onUpdateScanProgressBar);
    const DeviceTable *table = ui->tableWidgetDeviceFirstTable;
    connect(table, &DeviceTable::itemSelectionChanged, this, &MainWindow::onWriteAddInfo);
    connect(table, &DeviceTable::itemSelectionChanged, this, &MainWindow::onShowDeviceNetwSet);
    connect(table, &DeviceTable::itemSelectionChanged, this, &MainWindow::onEnableSave);
    connect(ui->filterBtn, &QPushButton::released, this, &MainWindow::onHideFilterComboBox);
    connect(ui->comboBoxDeviceFilter, &QComboBox::currentTextChanged, this, &MainWindow::onHideDevice);
    connect(table, &DeviceTable::itemSelectionChanged, this, &MainWindow::onChangeFilterLabel);
    connect(ui->webBtn, &QPushButton::released, this, &MainWindow::onOpenWebInterface);
    connect(table, &DeviceTable::signalSelectionToggled, this, &MainWindow::onSelectedtoUpdate);
    connect(table, &DeviceTable::itemSelectionChanged, this, &MainWindow::onShowWebInterface);
}

void MainWindow::connectPages()
{
    connect(ui->footerDetailsBtn, &QPushButton::released, this, &MainWindow::onShowMissingInstruments);
    connect(ui->pageConfigure, &ConfigurationPage::signalSaveRequested, this,
            &MainWindow::onSaveNewConfiguration);
    connect(ui->pageConfigure, &ConfigurationPage::signalDhcpToggled, this,
            &MainWindow::onChangeTableNetwSetState);
    for (const FirmwareSelector &row : ui->pageUpdate->selectors()) {
        connect(row.choose, &QPushButton::released, this, &MainWindow::onChooseFirmware);
        connect(row.path, &QLineEdit::textChanged, this, &MainWindow::onCheckFirmwarePath);
    }
    const auto &[first, second] = ui->pageUpdate->selectors();
    connect(first.update, &QPushButton::released, this, &MainWindow::onButtonUpFwPressed);
    connect(second.update, &QPushButton::released, this, &MainWindow::onButtonUpFwPressed2);
    connect(ui->pageUpdate->saveLogButton(), &QPushButton::released, this, &MainWindow::onDownloadLog);
    connect(ui->pageUpdate->manualIpBox(), &QCheckBox::stateChanged, this, &MainWindow::onEnableManualIP);
}

void MainWindow::connectActions()
{
    connect(ui->actionNew_Scan, &QAction::triggered, this, &MainWindow::onScanDevices);
    connect(ui->actionQuit, &QAction::triggered, this, &MainWindow::onQuit);
    connect(ui->actionToogle_Full_Screen, &QAction::triggered, this, &MainWindow::onFullScreen);
    connect(ui->actionApply_Filter, &QAction::triggered, this, &MainWindow::onHideFilterComboBox);
    connect(ui->actionCheck_for_updates, &QAction::triggered, this, &MainWindow::onCheckForUpdates);
    connect(ui->actionSelect_network_interfaces, &QAction::triggered, this, &MainWindow::onShowNetworksTable);
    connect(ui->actionSettings, &QAction::triggered, this, &MainWindow::onShowSettings);
    connect(ui->actionAdvanced_network_config, &QAction::triggered, this,
            &MainWindow::onShowAdvancedNetwConf);
    connect(ui->actionChangelog, &QAction::triggered, this, &MainWindow::onShowChangelog);
    connect(ui->actionShow_supported_devices, &QAction::triggered, this, &MainWindow::onShowSupportedDev);
    connect(ui->actionAbout, &QAction::triggered, this, &MainWindow::onShowAbout);
}

// Return and Enter press the push button that has the focus. Space does not: it belongs to "New Scan".
bool MainWindow::eventFilter(QObject *watched, QEvent *event)
{
    auto *button = qobject_cast<QPushButton *>(watched);
    if (!button || event->type() != QEvent::KeyPress) {
        return QMainWindow::eventFilter(watched, event);
    }
    const int key = static_cast<QKeyEvent *>(event)->key();
    if (key == Qt::Key_Return || key == Qt::Key_Enter) {
        button->click();
        return true;
    }
    return key == Qt::Key_Space || QMainWindow::eventFilter(watched, event);
}

void MainWindow::closeEvent(QCloseEvent *event)
{
    if (!mayCloseNow()) {
        event->ignore();
        return;
    }
    client->requestStop();
    windowState->save();
    QMainWindow::closeEvent(event);
}

void MainWindow::onScanDevices()
{
    if (scanning || updating || sendingSettings) {
        return; // the window stays alive during each, and each works on the list of devices
    }
    scanning = true;
    setScanControlsEnabled(false);
    clearDevices();
    interfaces->refresh();
    devices = client->scan(interfaces->interfaces());
    client->clearDevices();
    fillDeviceTable();
    selectedForUpdate.clear();
    std::fill_n(std::back_inserter(selectedForUpdate), devices.size(), false);
    setScanControlsEnabled(true);
    scanning = false;
    showScanResult();
}

// What would scan again, or work on the records that are being replaced.
void MainWindow::setScanControlsEnabled(bool enabled)
{
    ui->scanBtn->setEnabled(enabled);
    ui->actionNew_Scan->setEnabled(enabled);
    ui->actionAdvanced_network_config->setEnabled(enabled);
    ui->pageUpdate->setStartEnabled(enabled && !settingsTimer->isActive()); // else another scan follows
}

void MainWindow::clearDevices()
{
    devices.clear();
    selectedForUpdate.clear();
    ui->pageInfo->clear();
    ui->pageConfigure->resetConfigurationTable();
    ui->tableWidgetDeviceFirstTable->setEmptyText(tr("Scanning..."));
    ui->tableWidgetDeviceFirstTable->setRowCount(0);
    ui->frameWeb->hide();
    sayInFooter(tr("Scanning... Esc stops."));
    ui->footerDetailsBtn->hide();
    QCoreApplication::processEvents();
}

void MainWindow::onUpdateScanProgressBar(int value)
{
    ui->progressBar->setValue(value == 0 || value == 100 ? value : ui->progressBar->value() + value);
    QCoreApplication::processEvents();
}

void MainWindow::fillDeviceTable()
{
    QApplication::setOverrideCursor(Qt::WaitCursor); // thousands of rows take a moment
    ui->tableWidgetDeviceFirstTable->fill(devices);
    QApplication::restoreOverrideCursor();
    applyFilterState();
}

const Device_t *MainWindow::currentDevice() const
{
    const int index = ui->tableWidgetDeviceFirstTable->currentDeviceIndex();
    return index < 0 || index >= devices.size() ? nullptr : &devices.at(index);
}

void MainWindow::onHideDevice()
{
    if (!filterHidden) {
        ui->tableWidgetDeviceFirstTable->showFamily(devices, ui->comboBoxDeviceFilter->currentIndex());
        if (ui->tableWidgetDeviceFirstTable->currentRow() < 0) {
            ui->pageConfigure->resetConfigurationTable(); // shows nobody, as the information page does
        }
    }
}

void MainWindow::onHideFilterComboBox()
{
    filterHidden = !filterHidden;
    ui->comboBoxDeviceFilter->setMaximumWidth(filterHidden ? 0 : filterComboWidth);
    ui->actionApply_Filter->setText(filterHidden ? QStringLiteral("Apply Filter")
                                                 : QStringLiteral("Remove Filter"));
    highlight(ui->filterBtn, !filterHidden);
    applyFilterState();
}

void MainWindow::applyFilterState()
{
    if (filterHidden) {
        ui->tableWidgetDeviceFirstTable->showFirstRows();
        return;
    }
    onChangeFilterLabel();
    onHideDevice();
}

void MainWindow::switchFilterOff()
{
    filterHidden = false;
    onHideFilterComboBox();
}

void MainWindow::onChangeFilterLabel()
{
    const Device_t *device = currentDevice();
    ui->pageUpdate->updateFirmwareLabels(device);
    if (!selectionPending && device) {
        const int family = DeviceTable::familyOfCode((*device)[Code]);
        // Boards and tools have no entry in the filter; the choice stays as it is.
        if (family >= 0 && family < ui->comboBoxDeviceFilter->count()) {
            ui->comboBoxDeviceFilter->setCurrentIndex(family);
        }
    }
    ui->pageUpdate->updateFirmwareFilter(currentDevice());
}

void MainWindow::showPage(int page, QPushButton *chosen)
{
    ui->pageUpdate->untickManualIp();
    for (QPushButton *button : {ui->infoBtn, ui->updateBtn, ui->configBtn}) {
        button->setEnabled(button != chosen);
        highlight(button, button == chosen);
    }
    ui->stackedWidgetPageRight->setCurrentIndex(page);
    ui->tableWidgetDeviceFirstTable->setColumnHidden(DeviceTable::SelectionColumn, page != firmwarePageIndex);
}

void MainWindow::onShowAdditionalInfoPage()
{
    showPage(infoPageIndex, ui->infoBtn);
    switchFilterOff();
}

void MainWindow::onShowConfigureDevicePage()
{
    showPage(configurationPageIndex, ui->configBtn);
    configPageActive = true;
    switchFilterOff();
}

// The only page that keeps the filter, so that one family can be updated at a glance.
void MainWindow::onShowPageFwUpgrade()
{
    showPage(firmwarePageIndex, ui->updateBtn);
    ui->pageUpdate->resetProgress();
}

void MainWindow::highlight(QPushButton *button, bool selected)
{
    button->setStyleSheet(selected ? textResource(QStringLiteral(":/files/resources/btnSelected.qss"))
                                   : QString());
}

void MainWindow::onFullScreen()
{
    if (isFullScreen()) {
        showNormal();
        ui->actionToogle_Full_Screen->setText(QStringLiteral("Toogle Full Screen"));
    } else {
        showFullScreen();
        ui->actionToogle_Full_Screen->setText(QStringLiteral("Show Normal"));
    }
}

void MainWindow::onQuit()
{
    if (close()) {
        QCoreApplication::quit();
    }
}
