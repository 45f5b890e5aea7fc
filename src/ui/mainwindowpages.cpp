// The slots of MainWindow that serve the information and configuration pages and the web button.

#include "changenetworkconfiguration.h"
#include "devicecatalogue.h"
#include "dialog.h"
#include "ipv4address.h"
#include "mainwindow.h"
#include "styleproperty.h"
#include "ui_mainwindow.h"

#include <QCheckBox>
#include <QDesktopServices>
#include <QHostAddress>
#include <QLabel>
#include <QMessageBox>
#include <QUrl>

namespace {

constexpr quint16 configurationPort = 10001;

} // namespace

void MainWindow::onWriteAddInfo()
{
    ui->pageInfo->clear();
    if (const Device_t *device = currentDevice()) {
        ui->pageInfo->showDevice(*device);
    }
}

void MainWindow::onShowDeviceNetwSet()
{
    if (const Device_t *device = currentDevice()) {
        ui->pageConfigure->showDevice(*device);
    }
}

void MainWindow::onEnableSave()
{
    selectionPending = false;
    ui->pageConfigure->setSaveEnabled(true);
}

// Looks for the box that was ticked among the selection boxes of the device table. The DHCP box is in
// the configuration table and never found, so ticking DHCP leaves the three values as they are.
void MainWindow::onChangeTableNetwSetState()
{
    const DeviceTable *table = ui->tableWidgetDeviceFirstTable;
    for (int row = 0; row < table->rowCount(); ++row) {
        const QCheckBox *box = table->selectionBox(row);
        const int index = table->deviceIndex(row);
        if (box && sender() == box && index >= 0 && index < devices.size()) {
            const Device_t &device = devices.at(index);
            int configRow = 0;
            for (const DeviceField field : {Ip, Netmask, Gateway}) {
                ui->pageConfigure->setConfigValue(configRow++, device[field], box->isChecked());
            }
        }
    }
}

void MainWindow::onSaveNewConfiguration()
{
    const QString title = QStringLiteral("Save Network Configuration");
    // Taken before any event can run: what is sent is what the page shows now, to the instrument it shows.
    const std::optional<NetworkSettings> wanted = ui->pageConfigure->settings();
    if (!ui->tableWidgetDeviceFirstTable->currentItem() || !wanted) {
        QMessageBox::critical(this, title, QStringLiteral("ERROR: no devices selected!"));
        return;
    }
    setUpdateControlsEnabled(false);
    QCoreApplication::processEvents();
    const Device_t &device = wanted->device;
    interfaces->refresh();
    changeNetworkConfiguration sender;
    const bool sent = sender.setConfiguration(interfaces->interfaces(), device[Mac], configurationPort,
                                              wanted->ip, wanted->netmask, wanted->gateway,
                                              wanted->dhcp ? 1 : 0, QHostAddress(device[Ip]));
    proof.begin();
    if (sent) {
        proof.expect(device[Mac], wanted->dhcp ? QString() : QHostAddress(wanted->ip).toString());
    }
    lastChangeRefused = !sent;
    QMessageBox::information(this, title,
                             devicecatalogue::is6100(device[Code])
                                 ? QStringLiteral("IP changed! reboot device to apply.")
                                 : QStringLiteral("Wait for the configuration to be applied"));
    setUpdateControlsEnabled(true);
    onScanDevices();
}

// What a whole scan tells of addresses and firmware that were changed before it.
MainWindow::Judgement MainWindow::judgeChanges()
{
    Judgement judgement;
    if (!proof.isEmpty()) {
        proof.check(devices);
        judgement.sentences.append(proof.summary());
        judgement.bad = !proof.isComplete();
        ui->footerDetailsBtn->setVisible(!proof.isComplete());
        if (proof.isComplete()) {
            proof.begin(); // all seen where they should be; later scans need not say it again
        }
    }
    if (!versions.isEmpty()) {
        judgement.sentences.append(versions.summary(devices));
        judgement.bad = judgement.bad || versions.isAnyUnchanged(devices);
        versions.forgetAnswered(devices);
        if (!versions.isEmpty() && restartLooks > 0) {
            judgement.sentences.append(tr("Looking again..."));
            restartTimer->start();
        } else if (!versions.isEmpty()) {
            judgement.bad = true;
        }
    }
    return judgement;
}

void MainWindow::showScanResult()
{
    ui->tableWidgetDeviceFirstTable->setEmptyText(tr("No instrument answered.\nPress Space to scan again."));
    const auto count = [](int n, const QString &one, const QString &many) {
        return QStringLiteral("%1 %2").arg(n).arg(n == 1 ? one : many);
    };
    bool bad = lastChangeRefused;
    QStringList sentences{
        (client->wasStopped() ? tr("Stopped: %1 found on %2.") : tr("%1 found on %2."))
            .arg(count(devices.size(), tr("instrument"), tr("instruments")),
                 count(client->interfacesQueried(), tr("network interface"), tr("network interfaces")))};
    if (!client->problem().isEmpty() && !client->wasStopped()) {
        bad = true;
        sentences.append(tr("Not everyone could be asked or heard (%1).").arg(client->problem()));
    }
    if (lastChangeRefused) {
        sentences.append(tr("The new settings were refused: nothing was sent."));
        lastChangeRefused = false;
    }
    if (!client->wasStopped()) { // who was not reached is not missing
        const Judgement judgement = judgeChanges();
        sentences.append(judgement.sentences);
        bad = bad || judgement.bad;
    }
    sayInFooter(sentences.join(QLatin1Char(' ')), bad);
}

void MainWindow::sayInFooter(const QString &text, bool bad)
{
    ui->labelFooter->setText(text);
    setStyleProperty(ui->labelFooter, "role", bad ? QStringLiteral("error") : QString());
}

void MainWindow::onShowMissingInstruments()
{
    auto *viewer = new Dialog(this);
    viewer->setText(proof.missingInstruments().join(QLatin1Char('\n')));
    viewer->setWindowTitle(tr("Instruments not at their new address"));
    viewer->show();
}

bool MainWindow::hasWebInterface() const
{
    const Device_t *device = currentDevice();
    return device && devicecatalogue::isPowerSupply((*device)[Code]) &&
           !devicecatalogue::isSerialServer((*device)[Code]) && !devicecatalogue::is1600((*device)[Code]);
}

void MainWindow::onShowWebInterface()
{
    ui->frameWeb->setVisible(hasWebInterface());
}

void MainWindow::onOpenWebInterface()
{
    if (!hasWebInterface()) {
        return;
    }
    // The address comes from the network: nothing but an IPv4 address goes to the browser.
    const std::optional<quint32> address = parseIpv4Address((*currentDevice())[Ip]);
    if (address) {
        QDesktopServices::openUrl(
            QUrl(QStringLiteral("http://%1/").arg(QHostAddress(*address).toString()), QUrl::TolerantMode));
    }
}

void MainWindow::setUpdateControlsEnabled(bool enable)
{
    for (QWidget *control :
         std::initializer_list<QWidget *>{ui->scanBtn, ui->infoBtn, ui->updateBtn, ui->configBtn}) {
        control->setEnabled(enable);
    }
    ui->actionNew_Scan->setEnabled(enable);
    ui->pageUpdate->setControlsEnabled(enable);
    ui->pageConfigure->setControlsEnabled(enable);
    if (!ui->pageUpdate->isManualIpTicked()) {
        ui->tableWidgetDeviceFirstTable->setEnabled(enable);
    }
}
