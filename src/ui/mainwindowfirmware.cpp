// The slots of MainWindow that serve the firmware page: what is updated, with which file, and how it ended.

#include "appsettings.h"
#include "footer.h"
#include "mainwindow.h"
#include "ui_mainwindow.h"
#include "windowstate.h"

#include <QCheckBox>
#include <QFileInfo>
#include <QLineEdit>
#include <QMessageBox>

void MainWindow::onChooseFirmware()
{
    rememberFirmwareFolder(m_ui->pageUpdate->chooseFile(sender(), m_firmwareDefaultDir));
}

// A file that is dropped onto a path field arrives as its URL; the plain path takes its place.
void MainWindow::onCheckFirmwarePath()
{
    rememberFirmwareFolder(m_ui->pageUpdate->takeFileUrl(sender()));
}

void MainWindow::rememberFirmwareFolder(const std::optional<QString> &file)
{
    if (file) {
        m_firmwareDefaultDir = QFileInfo(*file).absolutePath();
        m_settings->setFwDefaultDir(*file);
        m_ui->pageUpdate->resetProgress();
    }
}

void MainWindow::onButtonUpFwPressed()
{
    startFromSelector(0);
}

void MainWindow::onButtonUpFwPressed2()
{
    startFromSelector(1);
}

void MainWindow::startFromSelector(std::size_t selector)
{
    const std::optional<UpdateStep> step = stepOf(selector);
    if (!step) {
        return;
    }
    if (!m_ui->pageUpdate->isManualIpTicked() && !isAnySelected()) {
        tell(QMessageBox::Critical, QStringLiteral("Devices to Update"),
             QStringLiteral("ERROR: Select the devices to update!"));
        return;
    }
    // Always with the first selector's file, also after the second button.
    m_footer->showRefusal(m_session->update(
        *step, [this] { return isAnySelected() ? stepOf(0) : std::optional<UpdateStep>(); }));
}

// Nothing when the selector names no file.
std::optional<UpdateStep> MainWindow::stepOf(std::size_t selector)
{
    const QString path = m_ui->pageUpdate->selectors().at(selector).path->text();
    if (path.isEmpty() || path == QLatin1String("/...")) {
        tell(QMessageBox::Critical, QStringLiteral("Firmware"),
             QStringLiteral("ERROR: Please select a valid firmware!"));
        return {};
    }
    return UpdateStep{path, table().rowCount(), m_selectedForUpdate, m_ui->pageUpdate->manualIp()};
}

bool MainWindow::isAnySelected() const
{
    return m_selectedForUpdate.mid(0, table().rowCount()).contains(true);
}

// The footer tells of what goes on now, not of what was done before.
void MainWindow::onUpdateBegun(const Device_t &device)
{
    m_footer->say(tr("Updating %1...").arg(device[Ip]));
}

void MainWindow::onUpdateEnded()
{
    m_closeQuestion.dismiss();
    const UpdateReport::End end = m_session->updates().report().end;
    if (end == UpdateReport::End::Completed) {
        onUpdateNextDevice();
    } else if (end != UpdateReport::End::NothingToDo) {
        onStopUpdateProcedure();
    }
}

// All that were to be updated are, unless the first selector names no file for the next one.
void MainWindow::onUpdateNextDevice()
{
    if (isAnySelected()) {
        m_footer->say(tr("Not all selected instruments are updated."), true);
        return;
    }
    tell(QMessageBox::Information, QStringLiteral("Firmware Upgrade"),
         QStringLiteral("Device succesfuly updated!"));
    onScanDevices();
    m_ui->pageUpdate->untickManualIp();
}

void MainWindow::onStopUpdateProcedure()
{
    m_footer->showUpdate(m_session->updates());
    tell(QMessageBox::Critical, QStringLiteral("Firmware Upgrade"),
         QStringLiteral("ERROR: Updating failed!"));
}

void MainWindow::onWriteFwUpLog(const QString &message)
{
    m_ui->pageUpdate->appendLog(message);
}

void MainWindow::onChangeFwProgressBar(int value)
{
    m_ui->pageUpdate->changeProgress(value);
}

void MainWindow::onSelectedtoUpdate()
{
    table().readSelection(&m_selectedForUpdate);
    table().updateSelectableDevices(m_session->devices());
}

// One number serves as row and as device index. The two agree only while the table is unsorted; in a
// sorted table another row than the updated instrument's is unticked: the instrument there is left out,
// and the updated one may be updated once more.
void MainWindow::onRemoveSelectedDev(int index)
{
    if (QCheckBox *box = table().selectionBox(index)) {
        box->setChecked(false);
    }
    if (index >= 0 && index < m_selectedForUpdate.size()) {
        m_selectedForUpdate[index] = false;
    }
}

void MainWindow::onEnableManualIP()
{
    m_ui->pageUpdate->showManualIpField();
    refreshControls();
    if (m_ui->pageUpdate->isManualIpTicked()) {
        table().untickAll();
    }
}

void MainWindow::onDownloadLog()
{
    m_ui->pageUpdate->saveLog();
}

// True when no update runs, or the user closes all the same. Then the update is stopped where that loses
// nothing, or waited for, and only then may the window go. It may stay even longer, when a new version that
// it was to make way for does not start.
bool MainWindow::mayCloseNow()
{
    const CloseQuestion::Answer answer = m_closeQuestion.ask(*m_session, this);
    if (answer == CloseQuestion::Answer::StopUpdateAndClose) {
        m_footer->say(tr("The instrument is left in a safe state, then the window closes..."));
        m_session->stopUpdate();
        m_footer->showUpdate(m_session->updates());
    }
    if (answer != CloseQuestion::Answer::Stay) {
        m_windowState->save();
    }
    return answer != CloseQuestion::Answer::Stay;
}
