// The slots of MainWindow that open dialogs.

#include "changenetworkconfiguration.h"
#include "dialog.h"
#include "mainwindow.h"
#include "networksettingsrow.h"
#include "newnetwsettings.h"
#include "settings.h"
#include "tablecopy.h"
#include "textresource.h"
#include "ui_mainwindow.h"
#include "updates.h"

#include <QPointer>
#include <QTimer>

#include <algorithm>

namespace {

// Instruments restart their network with new settings; a scan right away would find them at the old
// address, or not at all.
constexpr int settingsApplyMs = 1500;

// An updated instrument starts again before it answers.
constexpr int restartMs = 4000;

} // namespace

void MainWindow::onShowNetworksTable()
{
    auto *dialog = new NetworkInterfaces(this);
    connect(dialog, &NetworkInterfaces::signalUpdateNetworkList, this, &MainWindow::onSaveNetworkList);
    connect(dialog, &NetworkInterfaces::signalUpdateNetworkList, dialog, &QObject::deleteLater);
    connect(dialog, &NetworkInterfaces::signalClose, dialog, &QObject::deleteLater);
    interfaces->refresh();
    dialog->setInterfaces(interfaces->interfaces());
    dialog->fillTable();
    TableCopy::addTo(dialog);
    dialog->show();
}

void MainWindow::onSaveNetworkList(const QList<interfaces_t> &list)
{
    if (list != interfaces->interfaces()) {
        interfaces->setInterfaces(list);
    }
}

void MainWindow::onShowSettings()
{
    auto *dialog = new Settings(this);
    dialog->setBroadcastTime(settings->scanTime());
    dialog->setTimeout(settings->updateTimeout());
    dialog->setFlagManualIp(settings->manualIp());
    dialog->setFlagUnicast(settings->sendUnicast());
    dialog->setStartIp(settings->startIp());
    dialog->setEndIp(settings->endIp());
    dialog->setNumberOfThreads(settings->tcpThreads());
    dialog->setWaitForBytesWritten(settings->tcpWaitWritten());
    dialog->setWaitForReadyRead(settings->tcpWaitRead());
    dialog->setWaitForConnected(settings->tcpWaitConnected());
    connectSettingsDialog(dialog);
    connect(dialog, &Settings::signalClose, dialog, &QObject::deleteLater);
    dialog->setModal(true);
    dialog->show();
}

// Each change is stored and then read back, because the settings drop what is out of range: what is
// in force is always what is stored.
void MainWindow::connectSettingsDialog(Settings *dialog)
{
    const auto store = [this, dialog](auto signal, auto set, auto apply) {
        connect(dialog, signal, this, [this, set, apply](const auto &value) {
            (settings.get()->*set)(value);
            apply();
        });
    };
    store(&Settings::signalChangeBroadcastTime, &AppSettings::setScanTime,
          [this] { client->setScanTime(settings->scanTime()); });
    store(&Settings::signalChangeTimeout, &AppSettings::setUpdateTimeout,
          [this] { updateTimeoutMs = settings->updateTimeout(); });
    store(&Settings::signalChangeFlagManualIP, &AppSettings::setManualIp, [this] { offerManualIp(); });
    store(&Settings::signalChangeFlagUnicast, &AppSettings::setSendUnicast,
          [this] { client->setSendUnicast(settings->sendUnicast()); });
    store(&Settings::signalChangeStartIp, &AppSettings::setStartIp,
          [this] { client->setStartIp(settings->startIp()); });
    store(&Settings::signalChangeEndIp, &AppSettings::setEndIp,
          [this] { client->setEndIp(settings->endIp()); });
    store(&Settings::signalChangeNumbeOfThreads, &AppSettings::setTcpThreads,
          [this] { client->setTcpThreads(settings->tcpThreads()); });
    store(&Settings::signalChangeWaitForBytesWritten, &AppSettings::setTcpWaitWritten,
          [this] { client->setTcpWaitWritten(settings->tcpWaitWritten()); });
    store(&Settings::signalChangeWaitForReadyRead, &AppSettings::setTcpWaitRead,
          [this] { client->setTcpWaitRead(settings->tcpWaitRead()); });
    store(&Settings::signalChangeWaitForConnected, &AppSettings::setTcpWaitConnected,
          [this] { client->setTcpWaitConnected(settings->tcpWaitConnected()); });
}

// Not while an update runs, perhaps of that very address: its end calls this again.
void MainWindow::offerManualIp()
{
    if (updating) {
        return;
    }
    manualIpEnabled = settings->manualIp();
    if (!manualIpEnabled) {
        ui->pageUpdate->untickManualIp(); // a box that cannot be seen must not decide what is updated
    }
    ui->pageUpdate->setManualIpOffered(manualIpEnabled);
}

void MainWindow::onShowAdvancedNetwConf()
{
    configPageActive = true;
    QList<QStringList> rows;
    for (const Device_t &device : qAsConst(devices)) {
        rows.append(networkrow::fromDevice(device));
    }
    auto *dialog = new NewNetwSettings(rows, this);
    dialog->setDevices(devices);
    connect(dialog, &NewNetwSettings::signalApply, this,
            [this, dialog](const QList<QStringList> &changed) { applyNetworkSettings(dialog, changed); });
    connect(dialog, &NewNetwSettings::signalClose, dialog, &QObject::deleteLater);
    dialog->show();
}

void MainWindow::applyNetworkSettings(NewNetwSettings *dialog, const QList<QStringList> &rows)
{
    if (updating || scanning) {
        dialog->onNotApplied(tr("Wait until the scan or the firmware update that is running has ended."));
        return;
    }
    interfaces->refresh();
    const QList<interfaces_t> &list = interfaces->interfaces();
    if (std::none_of(list.begin(), list.end(), [](const interfaces_t &one) { return one.selected; })) {
        dialog->onNotApplied(tr("No network interface is selected, so nothing can be sent."));
        return;
    }
    const QPointer<NewNetwSettings> asked(dialog); // it can go while rows are sent
    if (!settingsTimer->isActive()) {
        proof.begin(); // else the rows of a stopped run are still to be looked for
    }
    settingsTimer->stop();
    sendingSettings = true;
    changeNetworkConfiguration().applyList(interfaces->interfaces(), rows, [this, &asked, &rows](int row) {
        const bool goOn = asked && asked->onProgress(row, rows.size());
        if (goOn) {
            proof.expect(rows.at(row).at(networkrow::MacColumn),
                         rows.at(row).at(networkrow::IpColumn).trimmed());
        }
        return goOn;
    });
    sendingSettings = false;
    if (asked) {
        asked->onApplied();
    }
    sayInFooter(tr("Waiting for the instruments to take their new settings..."));
    ui->pageUpdate->setStartEnabled(false); // until the scan
    settingsTimer->start();
}

void MainWindow::prepareTimers()
{
    settingsTimer = new QTimer(this);
    settingsTimer->setSingleShot(true);
    settingsTimer->setInterval(settingsApplyMs);
    connect(settingsTimer, &QTimer::timeout, this, [this] {
        if (updating || scanning) {
            settingsTimer->start();
        } else {
            onScanDevices();
        }
    });
    restartTimer = new QTimer(this);
    restartTimer->setSingleShot(true);
    restartTimer->setInterval(restartMs);
    connect(restartTimer, &QTimer::timeout, this, &MainWindow::onLookForUpdated);
}

// One object for the window's life, so that a second check while one runs can be told apart.
void MainWindow::onCheckForUpdates()
{
    if (!updates) {
        updates = new Updates(this);
        updates->setQuitGuard([this] {
            const bool may = mayCloseNow();
            if (may) {
                windowState->save();
            }
            return may;
        });
    }
    updates->checkUpdates();
}

void MainWindow::onShowChangelog()
{
    showText(QStringLiteral(":/otherFiles/changelogNEW.md"), QStringLiteral("Changelog"));
}

void MainWindow::onShowAbout()
{
    showText(QStringLiteral(":/files/resources/about"), QStringLiteral("About"));
}

void MainWindow::onShowSupportedDev()
{
    showText(QStringLiteral(":/files/resources/supportedDevices"), QStringLiteral("Supported Devices"));
}

// Each use opens a further viewer; they stay until the user closes them or the window goes.
void MainWindow::showText(const QString &resource, const QString &title)
{
    auto *viewer = new Dialog(this);
    viewer->setText(textResource(resource));
    viewer->setWindowTitle(title);
    viewer->show();
}
