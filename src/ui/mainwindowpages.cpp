// The slots of MainWindow that serve the information and configuration pages and the web button.

#include "footer.h"
#include "instrumentrules.h"
#include "mainwindow.h"
#include "ui_mainwindow.h"

#include <QCheckBox>
#include <QDesktopServices>
#include <QMessageBox>
#include <QUrl>

void MainWindow::onWriteAddInfo()
{
    m_ui->pageInfo->clear();
    if (const Device_t *device = currentDevice()) {
        m_ui->pageInfo->showDevice(*device);
    }
}

void MainWindow::onShowDeviceNetwSet()
{
    if (const Device_t *device = currentDevice()) {
        m_ui->pageConfigure->showDevice(*device);
    }
}

void MainWindow::onEnableSave()
{
    m_selectionPending = false;
    m_ui->pageConfigure->setSaveEnabled(true);
}

// Looks for the box that was ticked among the selection boxes of the device table. The DHCP box is in
// the configuration table and never found, so ticking DHCP leaves the three values as they are.
void MainWindow::onChangeTableNetwSetState()
{
    const auto *box = qobject_cast<QCheckBox *>(sender());
    if (const Device_t *device = m_session->device(table().indexOfSelectionBox(box))) {
        m_ui->pageConfigure->showAddresses(*device, box->isChecked());
    }
}

void MainWindow::onSaveNewConfiguration()
{
    const QString title = QStringLiteral("Save Network Configuration");
    // Taken before any event can run: what is sent is what the page shows now, to the instrument it shows.
    const std::optional<NetworkSettings> wanted = m_ui->pageConfigure->settings();
    if (!table().currentItem() || !wanted) {
        tell(QMessageBox::Critical, title, QStringLiteral("ERROR: no devices selected!"));
        return;
    }
    const Refusal refusal = m_session->sendSettings(*wanted);
    if (refusal != Refusal::None && refusal != Refusal::UnusableSettings) {
        m_footer->showRefusal(refusal);
        return;
    }
    tell(QMessageBox::Information, title,
         instrumentrules::needsRebootForAddress(wanted->device[Code])
             ? QStringLiteral("IP changed! reboot device to apply.")
             : QStringLiteral("Wait for the configuration to be applied"));
    onScanDevices();
}

void MainWindow::onShowWebInterface()
{
    const Device_t *device = currentDevice();
    m_ui->frameWeb->setVisible(device && instrumentrules::hasWebPage((*device)[Code]));
}

void MainWindow::onOpenWebInterface()
{
    const Device_t device = currentDevice() ? *currentDevice() : Device_t();
    const QString address = instrumentrules::webAddress(device[Code], device[Ip]);
    if (!address.isEmpty()) {
        QDesktopServices::openUrl(QUrl(address, QUrl::TolerantMode));
    }
}
