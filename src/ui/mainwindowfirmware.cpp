// The slots of MainWindow that serve the firmware page: what is updated, with which file, and how it
// ended. One worker thread runs at a time; it is given copies and talks back by queued signals.

#include "firmwareupgrade.h"
#include "mainwindow.h"
#include "ui_mainwindow.h"

#include <QApplication>
#include <QCheckBox>
#include <QDateTime>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QFileDialog>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QScopedValueRollback>
#include <QTextStream>
#include <QTimer>
#include <QUrl>

#include <algorithm>

namespace {

// A motor driver needs the longest: about 20 s.
constexpr int mostRestartLooks = 5;

} // namespace

void MainWindow::onChooseFirmware()
{
    for (const FirmwareSelector &row : ui->pageUpdate->selectors()) {
        if (row.choose != sender()) {
            continue;
        }
        const QString file = QFileDialog::getOpenFileName(nullptr, QStringLiteral("Open Firmware File"),
                                                          firmwareDefaultDir, ui->pageUpdate->fileFilter());
        if (!file.isEmpty()) {
            row.path->setText(file);
            rememberFirmwareFolder(file);
        }
    }
}

// A file that is dropped onto a path field arrives as its URL; the plain path takes its place.
void MainWindow::onCheckFirmwarePath()
{
    auto *edit = qobject_cast<QLineEdit *>(sender());
    const QUrl url(edit ? edit->text() : QString(), QUrl::TolerantMode);
    if (edit && url.isLocalFile()) {
        const QString file = url.toLocalFile().trimmed();
        edit->setText(file);
        rememberFirmwareFolder(file);
    }
}

void MainWindow::rememberFirmwareFolder(const QString &file)
{
    firmwareDefaultDir = QFileInfo(file).absolutePath();
    settings->setFwDefaultDir(file);
    ui->pageUpdate->resetProgress();
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
    const QString path = ui->pageUpdate->selectors().at(selector).path->text();
    if (path.isEmpty() || path == QLatin1String("/...")) {
        QMessageBox::critical(this, QStringLiteral("Firmware"),
                              QStringLiteral("ERROR: Please select a valid firmware!"));
        return;
    }
    startFirmwareUpdate(path);
}

bool MainWindow::isAnySelected() const
{
    const int rows = std::min(ui->tableWidgetDeviceFirstTable->rowCount(), selectedForUpdate.size());
    return std::find(selectedForUpdate.begin(), selectedForUpdate.begin() + rows, true) !=
           selectedForUpdate.begin() + rows;
}

void MainWindow::startFirmwareUpdate(const QString &path)
{
    if (scanning || sendingSettings || settingsTimer->isActive()) {
        return; // the records are about to be replaced: their addresses may be somebody else's by now
    }
    updating = false;
    if (!ui->pageUpdate->isManualIpTicked() && !isAnySelected()) {
        QMessageBox::critical(this, QStringLiteral("Devices to Update"),
                              QStringLiteral("ERROR: Select the devices to update!"));
        return;
    }
    setUpdateControlsEnabled(false);
    if (worker) {
        worker->wait(); // it has reported its end and is about to return
    }
    worker = std::make_unique<firmwareUpgrade>(path, ui->tableWidgetDeviceFirstTable->rowCount(),
                                               selectedForUpdate, devices, ui->pageUpdate->manualIp());
    updating = true;
    ui->pageUpdate->startClock();
    connectWorker();
    auto *limit = new QTimer(worker.get());
    limit->setSingleShot(true);
    connect(limit, &QTimer::timeout, worker.get(), [this] { interruptUpdate(); });
    sayUpdating(ui->pageUpdate->manualIp());
    worker->start();
    limit->start(updateTimeoutMs);
}

void MainWindow::connectWorker()
{
    const firmwareUpgrade *source = worker.get();
    connect(source, &firmwareUpgrade::signalPrintMessage, this, &MainWindow::onWriteFwUpLog);
    connect(source, &firmwareUpgrade::signalProgressBarUpdate, this, &MainWindow::onChangeFwProgressBar);
    connect(source, &firmwareUpgrade::signalErrorDetected, this, &MainWindow::onStopUpdateProcedure);
    connect(source, &firmwareUpgrade::signalProcedureCompleted, this, &MainWindow::onUpdateNextDevice);
    connect(source, &firmwareUpgrade::signalRemoveSelectedDevice, this, &MainWindow::onNoteUpdatedDevice);
    connect(source, &firmwareUpgrade::signalRemoveSelectedDevice, this, &MainWindow::onRemoveSelectedDev);
    connect(source, &firmwareUpgrade::finished, this, &MainWindow::onUpdateThreadEnded);
}

// The time-out of one device's update. The worker decides how far it may still be stopped.
void MainWindow::interruptUpdate()
{
    if (worker && worker->isRunning()) {
        worker->requestInterruption();
    }
}

// A worker that ends without having said how leaves nobody waiting.
void MainWindow::onUpdateThreadEnded()
{
    if (sender() == worker.get() && updating) {
        endUpdate();
    }
}

// Nothing runs any more: the page is the user's again, and what had to wait is done.
void MainWindow::endUpdate()
{
    updating = false;
    ui->pageUpdate->stopClock();
    setUpdateControlsEnabled(true);
    offerManualIp();
}

void MainWindow::onNoteUpdatedDevice(int index)
{
    if (index >= 0 && index < devices.size()) {
        versions.noteBefore(devices.at(index));
        sayUpdating(devices.at(index)[Ip]);
    }
}

// The footer tells of what goes on now, not of what was done before.
void MainWindow::sayUpdating(const QString &ip)
{
    if (!ip.isEmpty()) {
        updatedIp = ip;
        sayInFooter(tr("Updating %1...").arg(ip));
    }
}

void MainWindow::onUpdateNextDevice()
{
    if (closing) {
        return; // the end of the thread is waited for, and nothing more is started
    }
    updating = false;
    if (isAnySelected()) {
        onButtonUpFwPressed(); // with the first selector's file, also after the second button
        if (!updating) {
            endUpdate(); // the first selector names no file
            dismissCloseBox();
            sayInFooter(tr("Not all selected instruments are updated."), true);
        }
        return;
    }
    ui->pageUpdate->stopClock();
    dismissCloseBox();
    QMessageBox::information(this, QStringLiteral("Firmware Upgrade"),
                             QStringLiteral("Device succesfuly updated!"));
    restartLooks = mostRestartLooks;
    onScanDevices();
    ui->pageUpdate->untickManualIp();
    endUpdate();
}

void MainWindow::onStopUpdateProcedure()
{
    if (closing) {
        failedWhileClosing = true;
        return;
    }
    endUpdate();
    dismissCloseBox();
    sayFailed();
    QMessageBox::critical(this, QStringLiteral("Firmware Upgrade"),
                          QStringLiteral("ERROR: Updating failed!"));
}

void MainWindow::sayFailed()
{
    sayInFooter(tr("The update of %1 failed; the log says why.").arg(updatedIp), true);
}

// Updated instruments that were still starting again when the scan behind the update asked them. The
// scan is repeated only as long as it takes nothing from the user's hands.
void MainWindow::onLookForUpdated()
{
    const bool watching = ui->pageUpdate->isVisible() && !QApplication::activeModalWidget();
    if (watching && !updating && !isAnySelected() && !ui->pageUpdate->isManualIpTicked()) {
        --restartLooks;
        onScanDevices();
    } else if (!updating && !versions.isEmpty()) {
        sayInFooter(versions.summary(devices), true); // without the promise to look again
    }
}

void MainWindow::onWriteFwUpLog(const QString &message)
{
    ui->pageUpdate->appendLog(message);
    drawUpdate();
}

void MainWindow::onChangeFwProgressBar(int value)
{
    ui->pageUpdate->changeProgress(value);
    drawUpdate();
}

// Signals that wait in the queue are delivered from within; they need not do the same again, or a talkative
// instrument would nest as many calls as it sends lines.
void MainWindow::drawUpdate()
{
    if (!drawingUpdate) {
        const QScopedValueRollback<bool> drawing(drawingUpdate, true);
        QCoreApplication::processEvents();
    }
}

void MainWindow::onSelectedtoUpdate()
{
    const DeviceTable *table = ui->tableWidgetDeviceFirstTable;
    for (int row = 0; row < table->rowCount(); ++row) {
        const QCheckBox *box = table->selectionBox(row);
        const int index = table->deviceIndex(row, DeviceTable::GroupColumn);
        if (box && index >= 0 && index < selectedForUpdate.size()) {
            selectedForUpdate[index] = box->isChecked();
        }
    }
    ui->tableWidgetDeviceFirstTable->updateSelectableDevices(devices);
}

// One number serves as row and as device index. The two agree only while the table is unsorted; in a
// sorted table another row than the updated instrument's is unticked: the instrument there is left out,
// and the updated one may be updated once more.
void MainWindow::onRemoveSelectedDev(int index)
{
    if (QCheckBox *box = ui->tableWidgetDeviceFirstTable->selectionBox(index)) {
        box->setChecked(false);
    }
    if (index >= 0 && index < selectedForUpdate.size()) {
        selectedForUpdate[index] = false;
    }
}

void MainWindow::onEnableManualIP()
{
    ui->pageUpdate->showManualIpField();
    const bool manual = ui->pageUpdate->isManualIpTicked();
    ui->tableWidgetDeviceFirstTable->setEnabled(!manual && !updating);
    if (manual) {
        ui->tableWidgetDeviceFirstTable->untickAll();
    }
}

void MainWindow::onDownloadLog()
{
    const QString log = ui->pageUpdate->log();
    if (log.isEmpty()) {
        return;
    }
    const QString stamp = QDateTime::currentDateTime().toString(QStringLiteral("yyyy_MM_dd_HH_mm"));
    const QString proposal = QDir::homePath() + QDir::separator() + QStringLiteral("Downloads") +
                             QDir::separator() + QStringLiteral("update_log_%1.txt").arg(stamp);
    const QString path = QFileDialog::getSaveFileName(this, QStringLiteral("Save File"), proposal,
                                                      QStringLiteral("Text files (*.txt)"));
    QFile file(path);
    if (!path.isEmpty() && file.open(QIODevice::WriteOnly | QIODevice::Text)) {
        QTextStream(&file) << log;
    }
}

// A box that asks about an update which has ended asks nothing any more.
void MainWindow::dismissCloseBox()
{
    if (closeBox) {
        closeBox->reject();
    }
}

// True when no update runs, or the user closes all the same. Then the worker is asked to stop and
// waited for: it ends at its next safe point, and only then may the window go.
bool MainWindow::mayCloseNow()
{
    if (closing || closeBox) {
        return false; // asked and answered, or being asked
    }
    if (!updating) {
        return true;
    }
    QMessageBox box(QMessageBox::Warning, windowTitle(),
                    tr("An update is running. Closing now can leave the instrument without firmware."),
                    QMessageBox::NoButton, this);
    QPushButton *keep = box.addButton(tr("Keep running"), QMessageBox::RejectRole);
    const QPushButton *closeAnyway = box.addButton(tr("Close anyway"), QMessageBox::DestructiveRole);
    box.setDefaultButton(keep);
    closeBox = &box;
    box.exec();
    closeBox.clear();
    if (box.clickedButton() != closeAnyway) {
        return false;
    }
    finishBeforeClosing();
    return true;
}

// The window stays alive meanwhile, or the desktop would offer to kill what must not be killed. It may stay
// even longer, when a new version that it was to make way for does not start.
void MainWindow::finishBeforeClosing()
{
    closing = true;
    failedWhileClosing = false;
    sayInFooter(tr("The instrument is left in a safe state, then the window closes..."));
    interruptUpdate();
    QEventLoop loop;
    connect(worker.get(), &QThread::finished, &loop, &QEventLoop::quit);
    if (worker->isRunning()) {
        loop.exec();
    }
    QCoreApplication::sendPostedEvents(this, QEvent::MetaCall); // what the worker has said and nobody heard
    closing = false;
    if (failedWhileClosing) {
        sayFailed();
    } else {
        sayInFooter(tr("The update of %1 has ended.").arg(updatedIp));
    }
}
