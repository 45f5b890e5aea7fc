// The slots of MainWindow that open dialogs.

#include "appsettings.h"
#include "dialog.h"
#include "footer.h"
#include "mainwindow.h"
#include "networkinterfaces.h"
#include "newnetwsettings.h"
#include "settings.h"
#include "settingsbinding.h"
#include "tablecopy.h"
#include "textresource.h"
#include "ui_mainwindow.h"
#include "updates.h"

#include <QPointer>

void MainWindow::onShowNetworksTable()
{
    auto *dialog = new NetworkInterfaces(this);
    connect(dialog, &NetworkInterfaces::signalUpdateNetworkList, this, &MainWindow::onSaveNetworkList);
    connect(dialog, &NetworkInterfaces::signalUpdateNetworkList, dialog, &QObject::deleteLater);
    connect(dialog, &NetworkInterfaces::signalClose, dialog, &QObject::deleteLater);
    dialog->setInterfaces(m_interfaces->current());
    dialog->fillTable();
    TableCopy::addTo(dialog);
    dialog->show();
}

void MainWindow::onSaveNetworkList(const QList<interfaces_t> &list)
{
    if (list != m_interfaces->interfaces()) {
        m_interfaces->setInterfaces(list);
    }
}

void MainWindow::onShowSettings()
{
    auto *dialog = new Settings(this);
    bindSettings(*dialog, *m_settings, [this] {
        m_session->setOptions(m_settings->options());
        refreshControls(); // the manual address may have come or gone
    });
    connect(dialog, &Settings::signalClose, dialog, &QObject::deleteLater);
    dialog->setModal(true);
    dialog->show();
}

void MainWindow::onShowAdvancedNetwConf()
{
    m_configPageActive = true;
    auto *dialog = NewNetwSettings::forDevices(m_session->devices(), this);
    connect(dialog, &NewNetwSettings::signalApply, this,
            [this, dialog](const QList<QStringList> &changed) { applyNetworkSettings(dialog, changed); });
    connect(dialog, &NewNetwSettings::signalClose, dialog, &QObject::deleteLater);
    dialog->show();
}

void MainWindow::applyNetworkSettings(NewNetwSettings *dialog, const QList<QStringList> &rows)
{
    const QPointer<NewNetwSettings> asked(dialog); // it can go while rows are sent
    const Refusal refusal = m_session->sendSettings(
        rows, [&asked, &rows](int row) { return asked && asked->onProgress(row, rows.size()); });
    if (refusal == Refusal::None) {
        m_footer->say(tr("Waiting for the instruments to take their new settings..."));
    }
    if (asked) {
        refusal == Refusal::None ? asked->onApplied() : asked->onNotApplied(Footer::refusalText(refusal));
    }
}

// One object for the window's life, so that a second check while one runs can be told apart.
void MainWindow::onCheckForUpdates()
{
    if (!m_updates) {
        m_updates = new Updates(this);
        m_updates->setQuitGuard([this] { return mayCloseNow(); });
    }
    m_updates->checkUpdates();
}

void MainWindow::onShowChangelog()
{
    showText(textResource(QStringLiteral(":/otherFiles/changelogNEW.md")), QStringLiteral("Changelog"));
}

void MainWindow::onShowAbout()
{
    showText(textResource(QStringLiteral(":/files/resources/about")), QStringLiteral("About"));
}

void MainWindow::onShowSupportedDev()
{
    showText(textResource(QStringLiteral(":/files/resources/supportedDevices")),
             QStringLiteral("Supported Devices"));
}

// Each use opens a further viewer; they stay until the user closes them or the window goes.
void MainWindow::showText(const QString &text, const QString &title)
{
    auto *viewer = new Dialog(this);
    viewer->setText(text);
    viewer->setWindowTitle(title);
    viewer->show();
}
