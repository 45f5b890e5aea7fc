#include "mainwindow.h"

#include "appsettings.h"
#include "client.h"
#include "elidedtooltips.h"
#include "footer.h"
#include "menukeys.h"
#include "networkinterfaces.h"
#include "pageswitch.h"
#include "previousinstallation.h"
#include "returnpresses.h"
#include "tablecopy.h"
#include "textresource.h"
#include "ui_mainwindow.h"
#include "windowstate.h"

#include <QApplication>
#include <QCheckBox>
#include <QCloseEvent>
#include <QKeyEvent>
#include <QLineEdit>
#include <QShortcut>
#include <QTimer>

namespace {

constexpr int homePageMs = 2000;
enum OuterPage { DeviceStackPage, HomeStackPage };
enum InnerPage { FirmwareStackPage, InfoStackPage, ConfigurationStackPage };
constexpr int pageWidth = 460;             // the information page shows its two columns in full
constexpr int filterComboWidth = 16777215; // as wide as it likes

} // namespace

MainWindow::MainWindow(QWidget *parent)
    : QMainWindow(parent),
      m_settings(std::make_unique<AppSettings>()),
      m_client(std::make_unique<Client>()),
      m_interfaces(std::make_unique<NetworkInterfaces>()),
      m_ui(std::make_unique<Ui::MainWindow>()),
      m_session(std::make_unique<Session>(*m_client, m_settings->options(),
                                          [this] { return m_interfaces->current(); })),
      m_manualIpEnabled(m_settings->manualIp()),
      m_firmwareDefaultDir(m_settings->fwDefaultDir())
{
    m_ui->setupUi(this);
    m_footer = std::make_unique<Footer>(m_ui->labelFooter, m_ui->footerDetailsBtn);
    m_pageSwitch =
        std::make_unique<PageSwitch>(m_ui->stackedWidgetPageRight,
                                     QVector<QPushButton *>{m_ui->updateBtn, m_ui->infoBtn, m_ui->configBtn});
    const QList<QPushButton *> buttons = findChildren<QPushButton *>();
    for (QPushButton *button : buttons) {
        button->installEventFilter(this);
    }
    prepareWidgets();
    qApp->setStyleSheet(textResource(QStringLiteral(":/files/resources/styleSheet.qss")));
    checkPreviousInstallation(this);
    showHomePage();
    connectHeaderAndTable();
    connectPages();
    connectActions();
    connectSession();
    prepareHabits();
}

MainWindow::~MainWindow() = default;

void MainWindow::prepareWidgets()
{
    m_ui->pageUpdate->setManualIpOffered(m_manualIpEnabled);
    onHideFilterComboBox();
    m_ui->progressBar->setValue(0);
    m_ui->pageUpdate->resetProgress();
    m_ui->pageUpdate->updateFirmwareLabels(nullptr);
    highlightButton(m_ui->infoBtn, true);
    m_ui->pageConfigure->resetConfigurationTable();
    table().prepareColumns();
    m_ui->labelHomeLogo->setPixmap(logo());
    m_ui->frameWeb->hide();
    m_ui->splitterDevices->setSizes({1275 - pageWidth, pageWidth});
    m_ui->splitterDevices->setStretchFactor(0, 3);
    m_ui->splitterDevices->setStretchFactor(1, 2);
    table().setEmptyText(tr("No instruments to show.\nPress Space to scan."));
    m_footer->say(tr("Not scanned yet."));
}

// What people expect of any program: keys for the menus, copying from tables, whole texts, and a window
// that comes back as it was left.
void MainWindow::prepareHabits()
{
    addMenuKeys(m_ui->menuBar);
    TableCopy::addTo(this);
    new ElidedTooltips(m_ui->tableWidgetDeviceFirstTable);
    ReturnPresses::addTo(m_ui->pageUpdate->manualIpBox());
    auto *escape = new QShortcut(Qt::Key_Escape, this);
    connect(escape, &QShortcut::activated, m_session.get(), &Session::stopScan);
    const QList<QTableView *> tables = m_ui->splitterDevices->findChildren<QTableView *>();
    m_windowState = std::make_unique<WindowState>(this, m_ui->splitterDevices, tables);
    m_windowState->restore();
}

void MainWindow::showHomePage()
{
    m_homeTimer = new QTimer(this);
    connect(m_homeTimer, &QTimer::timeout, this, &MainWindow::timeout);
    m_homeTimer->start(homePageMs);
    m_ui->stackedWidget->setCurrentIndex(HomeStackPage);
    QCoreApplication::processEvents();
}

void MainWindow::timeout()
{
    m_homeTimer->stop();
    m_ui->stackedWidget->setCurrentIndex(DeviceStackPage);
    QCoreApplication::processEvents();
}

// The slots of one signal run in the order in which they are connected here.
void MainWindow::connectHeaderAndTable()
{
    connect(m_ui->scanBtn, &QPushButton::released, this, &MainWindow::onScanDevices);
    connect(m_ui->infoBtn, &QPushButton::released, this, &MainWindow::onShowAdditionalInfoPage);
    connect(m_ui->updateBtn, &QPushButton::released, this, &MainWindow::onShowPageFwUpgrade);
    connect(m_ui->configBtn, &QPushButton::released, this, &MainWindow::onShowConfigureDevicePage);
    connect(m_client.get(), &Client::signalUpdateProgressBar, this, &MainWindow::onUpdateScanProgressBar);
    const DeviceTable *devices = &table();
    connect(devices, &DeviceTable::itemSelectionChanged, this, &MainWindow::onWriteAddInfo);
    connect(devices, &DeviceTable::itemSelectionChanged, this, &MainWindow::onShowDeviceNetwSet);
    connect(devices, &DeviceTable::itemSelectionChanged, this, &MainWindow::onEnableSave);
    connect(m_ui->filterBtn, &QPushButton::released, this, &MainWindow::onHideFilterComboBox);
    connect(m_ui->comboBoxDeviceFilter, &QComboBox::currentTextChanged, this, &MainWindow::onHideDevice);
    connect(devices, &DeviceTable::itemSelectionChanged, this, &MainWindow::onChangeFilterLabel);
    connect(m_ui->webBtn, &QPushButton::released, this, &MainWindow::onOpenWebInterface);
    connect(devices, &DeviceTable::signalSelectionToggled, this, &MainWindow::onSelectedtoUpdate);
    connect(devices, &DeviceTable::itemSelectionChanged, this, &MainWindow::onShowWebInterface);
}

void MainWindow::connectPages()
{
    connect(m_ui->footerDetailsBtn, &QPushButton::released, this, [this] {
        showText(Footer::missingInstruments(m_session->report()),
                 QStringLiteral("Instruments not at their new address"));
    });
    connect(m_ui->pageConfigure, &ConfigurationPage::signalSaveRequested, this,
            &MainWindow::onSaveNewConfiguration);
    connect(m_ui->pageConfigure, &ConfigurationPage::signalDhcpToggled, this,
            &MainWindow::onChangeTableNetwSetState);
    for (const FirmwareSelector &row : m_ui->pageUpdate->selectors()) {
        connect(row.choose, &QPushButton::released, this, &MainWindow::onChooseFirmware);
        connect(row.path, &QLineEdit::textChanged, this, &MainWindow::onCheckFirmwarePath);
    }
    const auto &[first, second] = m_ui->pageUpdate->selectors();
    connect(first.update, &QPushButton::released, this, &MainWindow::onButtonUpFwPressed);
    connect(second.update, &QPushButton::released, this, &MainWindow::onButtonUpFwPressed2);
    connect(m_ui->pageUpdate->saveLogButton(), &QPushButton::released, this, &MainWindow::onDownloadLog);
    connect(m_ui->pageUpdate->manualIpBox(), &QCheckBox::stateChanged, this, &MainWindow::onEnableManualIP);
}

void MainWindow::connectActions()
{
    connect(m_ui->actionNew_Scan, &QAction::triggered, this, &MainWindow::onScanDevices);
    connect(m_ui->actionQuit, &QAction::triggered, this, &MainWindow::onQuit);
    connect(m_ui->actionToogle_Full_Screen, &QAction::triggered, this, &MainWindow::onFullScreen);
    connect(m_ui->actionApply_Filter, &QAction::triggered, this, &MainWindow::onHideFilterComboBox);
    connect(m_ui->actionCheck_for_updates, &QAction::triggered, this, &MainWindow::onCheckForUpdates);
    connect(m_ui->actionSelect_network_interfaces, &QAction::triggered, this,
            &MainWindow::onShowNetworksTable);
    connect(m_ui->actionSettings, &QAction::triggered, this, &MainWindow::onShowSettings);
    connect(m_ui->actionAdvanced_network_config, &QAction::triggered, this,
            &MainWindow::onShowAdvancedNetwConf);
    connect(m_ui->actionChangelog, &QAction::triggered, this, &MainWindow::onShowChangelog);
    connect(m_ui->actionShow_supported_devices, &QAction::triggered, this, &MainWindow::onShowSupportedDev);
    connect(m_ui->actionAbout, &QAction::triggered, this, &MainWindow::onShowAbout);
}

// Return and Enter press the push button that has the focus. Space does not: it belongs to "New Scan".
bool MainWindow::eventFilter(QObject *watched, QEvent *event)
{
    const bool key = event->type() == QEvent::KeyPress && qobject_cast<QPushButton *>(watched);
    const bool space = key && static_cast<QKeyEvent *>(event)->key() == Qt::Key_Space;
    return space || (key && ReturnPresses::press(watched, event)) || QMainWindow::eventFilter(watched, event);
}

void MainWindow::closeEvent(QCloseEvent *event)
{
    mayCloseNow() ? QMainWindow::closeEvent(event) : event->ignore();
}

void MainWindow::onUpdateScanProgressBar(int value)
{
    if (m_session->activity() == Activity::Scanning) { // a look again is quiet
        m_ui->progressBar->setValue(value == 0 || value == 100 ? value : m_ui->progressBar->value() + value);
        QCoreApplication::processEvents();
    }
}

DeviceTable &MainWindow::table() const
{
    return *m_ui->tableWidgetDeviceFirstTable;
}

const Device_t *MainWindow::currentDevice() const
{
    return m_session->device(table().currentDeviceIndex());
}

void MainWindow::onHideDevice()
{
    if (!m_filterHidden) {
        table().showFamily(m_session->devices(), m_ui->comboBoxDeviceFilter->currentIndex());
        if (table().currentRow() < 0) {
            m_ui->pageConfigure->resetConfigurationTable(); // shows nobody, as the information page does
        }
    }
}

void MainWindow::onHideFilterComboBox()
{
    m_filterHidden = !m_filterHidden;
    m_ui->comboBoxDeviceFilter->setMaximumWidth(m_filterHidden ? 0 : filterComboWidth);
    m_ui->actionApply_Filter->setText(m_filterHidden ? QStringLiteral("Apply Filter")
                                                     : QStringLiteral("Remove Filter"));
    highlightButton(m_ui->filterBtn, !m_filterHidden);
    applyFilterState();
}

void MainWindow::applyFilterState()
{
    if (m_filterHidden) {
        table().showFirstRows();
        return;
    }
    onChangeFilterLabel();
    onHideDevice();
}

void MainWindow::switchFilterOff()
{
    m_filterHidden = false;
    onHideFilterComboBox();
}

void MainWindow::onChangeFilterLabel()
{
    const Device_t *device = currentDevice();
    m_ui->pageUpdate->updateFirmwareLabels(device);
    if (!m_selectionPending && device) {
        const int family = DeviceTable::familyOfCode((*device)[Code]);
        // Boards and tools have no entry in the filter; the choice stays as it is.
        if (family >= 0 && family < m_ui->comboBoxDeviceFilter->count()) {
            m_ui->comboBoxDeviceFilter->setCurrentIndex(family);
        }
    }
    m_ui->pageUpdate->updateFirmwareFilter(currentDevice());
}

void MainWindow::showPage(int page)
{
    m_ui->pageUpdate->untickManualIp();
    m_pageSwitch->show(page);
    table().setColumnHidden(DeviceTable::SelectionColumn, page != FirmwareStackPage);
}

void MainWindow::onShowAdditionalInfoPage()
{
    showPage(InfoStackPage);
    switchFilterOff();
}

void MainWindow::onShowConfigureDevicePage()
{
    showPage(ConfigurationStackPage);
    m_configPageActive = true;
    switchFilterOff();
}

// The only page that keeps the filter, so that one family can be updated at a glance.
void MainWindow::onShowPageFwUpgrade()
{
    showPage(FirmwareStackPage);
    m_ui->pageUpdate->resetProgress();
}

void MainWindow::onFullScreen()
{
    const bool full = isFullScreen();
    full ? showNormal() : showFullScreen();
    m_ui->actionToogle_Full_Screen->setText(full ? QStringLiteral("Toogle Full Screen")
                                                 : QStringLiteral("Show Normal"));
}

void MainWindow::onQuit()
{
    if (close()) {
        QCoreApplication::quit();
    }
}
