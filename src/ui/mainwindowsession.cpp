// What MainWindow does with what the session says: records come and go, the controls follow the activity.

#include "appsettings.h"
#include "footer.h"
#include "mainwindow.h"
#include "pageswitch.h"
#include "ui_mainwindow.h"

#include <QApplication>
#include <QMessageBox>

#include <algorithm>

void MainWindow::connectSession()
{
    const Session *session = m_session.get();
    const UpdateQueue *updates = &m_session->updates();
    connect(session, &Session::signalActivityChanged, this, &MainWindow::refreshControls);
    connect(session, &Session::signalScanBegun, this, &MainWindow::onScanBegun);
    connect(session, &Session::signalScanEnded, this, &MainWindow::onScanEnded);
    connect(session, &Session::signalDeviceChanged, this, &MainWindow::onDeviceChanged);
    connect(session, &Session::signalDeviceAdded, this, &MainWindow::onDeviceAdded);
    connect(session, &Session::signalReportChanged, this,
            [this] { m_footer->showReport(m_session->report()); });
    connect(updates, &UpdateQueue::signalPrintMessage, this, &MainWindow::onWriteFwUpLog);
    connect(updates, &UpdateQueue::signalProgressBarUpdate, this, &MainWindow::onChangeFwProgressBar);
    connect(updates, &UpdateQueue::signalBegun, this, &MainWindow::onUpdateBegun);
    connect(updates, &UpdateQueue::signalRemoveSelectedDevice, this, &MainWindow::onRemoveSelectedDev);
    connect(session, &Session::signalUpdateEnded, this, &MainWindow::onUpdateEnded);
    // Nobody is disturbed while a box or a dialog waits for an answer.
    m_session->setLeave([] { return QApplication::activeModalWidget() == nullptr; });
    refreshControls();
}

// All controls, from what goes on. While settings are sent or instruments updated nothing may be touched; a
// scan leaves alone what it does not replace.
void MainWindow::refreshControls()
{
    const Activity activity = m_session->activity();
    const auto may = [activity](Order order) { return refusalOf(order, activity) == Refusal::None; };
    const bool updating = activity == Activity::Updating || activity == Activity::Closing;
    const bool busy = updating || activity == Activity::Sending;
    m_ui->scanBtn->setEnabled(may(Order::Scan));
    m_ui->actionNew_Scan->setEnabled(may(Order::Scan));
    m_ui->actionAdvanced_network_config->setEnabled(activity != Activity::Scanning);
    m_pageSwitch->setEnabled(!busy);
    table().setEnabled(!busy && !m_ui->pageUpdate->isManualIpTicked());
    m_ui->pageUpdate->setControlsEnabled(!busy);
    m_ui->pageUpdate->setStartEnabled(may(Order::Update));
    m_ui->pageConfigure->setControlsEnabled(!busy);
    updating ? m_ui->pageUpdate->startClock() : m_ui->pageUpdate->stopClock();
    if (!updating) { // an address that is being updated is not taken away
        m_manualIpEnabled = m_settings->manualIp();
        m_ui->pageUpdate->setManualIpOffered(m_manualIpEnabled);
    }
    if (!updating && !m_manualIpEnabled) {
        m_ui->pageUpdate->untickManualIp(); // a box that cannot be seen must not decide what is updated
    }
}

void MainWindow::onScanDevices()
{
    m_footer->showRefusal(m_session->scan());
}

void MainWindow::onScanBegun()
{
    m_selectedForUpdate.clear();
    m_ui->pageInfo->clear();
    m_ui->pageConfigure->resetConfigurationTable();
    table().setEmptyText(tr("Scanning..."));
    table().setRowCount(0);
    m_ui->frameWeb->hide();
    m_footer->say(tr("Scanning... Esc stops."));
    QCoreApplication::processEvents();
}

void MainWindow::onScanEnded()
{
    QApplication::setOverrideCursor(Qt::WaitCursor); // thousands of rows take a moment
    table().fill(m_session->devices());
    QApplication::restoreOverrideCursor();
    applyFilterState();
    m_selectedForUpdate.clear();
    std::fill_n(std::back_inserter(m_selectedForUpdate), m_session->devices().size(), false);
    table().setEmptyText(tr("No instrument answered.\nPress Space to scan again."));
}

// Found by a look: its own row changes, and nothing that the user has typed, ticked or sorted.
void MainWindow::onDeviceChanged(int index)
{
    table().updateDevice(index, m_session->devices().at(index));
    if (table().currentDeviceIndex() == index) {
        onWriteAddInfo();
    }
}

void MainWindow::onDeviceAdded()
{
    table().addDevice(m_session->devices().last());
    m_selectedForUpdate.append(false);
    table().updateSelectableDevices(m_session->devices());
    onHideDevice();
}

// A message box, during which nothing happens that was not ordered.
void MainWindow::tell(int icon, const QString &title, const QString &text)
{
    const Session::Hold hold(*m_session);
    QMessageBox box(static_cast<QMessageBox::Icon>(icon), title, text, QMessageBox::Ok, this);
    box.exec();
}
