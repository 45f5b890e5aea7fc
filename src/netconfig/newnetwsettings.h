#pragma once

#include "device.h"
#include "networkconfigurationfile.h"

#include <QDialog>
#include <QHash>
#include <QList>
#include <QMessageBox>
#include <QStringList>

#include <functional>
#include <memory>

class NetworkSettingsModel;

namespace Ui {
class NewNetwSettings;
}

// Gives many instruments new network settings: a table to type and paste into, or a file that was saved
// here, edited elsewhere and is loaded back. Made by the window for each use and parented to it; while it
// is shown the window takes no input, so no scan can replace the instruments below it.
//
// It opens no socket. The window sends what it hands out:
//   signalApply(rows)   -> changeNetworkConfiguration::applyList(interfaces, rows, beforeRow), where
//                          beforeRow(row) is `return dialog->onProgress(row, rows.size())`,
//                          then dialog->onApplied(), then a scan that looks for the rows' MAC addresses
//                          at their new IP addresses;
//   signalClose()       -> schedule the dialog for deletion. It is hidden by then.
// Rows are those of networksettingsrow.h, and all of them can be sent. onProgress processes events, so
// that "Stop" works.
class NewNetwSettings : public QDialog
{
    Q_OBJECT

public:
    // Where to save and what to load; an empty text when the user wants neither after all.
    using FileChooser = std::function<QString()>;

    explicit NewNetwSettings(const QList<QStringList> &rows, QWidget *parent = nullptr);
    ~NewNetwSettings() override;

    // With a row for each of them, and setDevices() called.
    static NewNetwSettings *forDevices(const QList<Device_t> &devices, QWidget *parent);

    // The instruments behind the rows, found by their MAC addresses: a saved file also holds the product
    // code, which no row has. Without them the file's first field is empty, which loading does not mind.
    void setDevices(const QList<Device_t> &devices);

    // In place of the desktop's file dialogs.
    void setFileChoosers(const FileChooser &save, const FileChooser &open);

    // The user wants no further rows sent.
    bool stopRequested() const { return m_stopRequested; }

public slots:
    // Before the row at position `done` is sent: `done` of `total` rows have been. The opposite of
    // stopRequested(), also false when the dialog was destroyed meanwhile.
    bool onProgress(int done, int total);

    // After the last row that is sent. The dialog closes if that was all of them, else it shows what is
    // left: after an upload also what was typed into the table and is not sent by it.
    void onApplied();

    // In place of onApplied: nothing at all was sent, and why, to be read in the status line.
    void onNotApplied(const QString &reason);

    void reject() override; // Escape and the window frame: asks first if changes would be lost

signals:
    void signalApply(const QList<QStringList> &rows);
    void signalClose();

private slots:
    void onApply();
    void onCancel();
    void onSaveFile();
    void onUploadFile();
    void onStop();
    void onFind(const QString &text);
    void onShowProblem();
    void onShowMessage(const QString &message);
    void onTableChanged();

private:
    enum class Sending { Nothing, Table, File };

    void connectAll();
    void send(Sending what, const QList<QStringList> &rows);
    void showSending(bool sending);
    void showReason(const QString &text, const char *role);
    void tellUpload(QMessageBox::Icon icon, const QString &text, bool closeAfterwards);
    QList<Device_t> devicesAsShown() const;

    std::unique_ptr<Ui::NewNetwSettings> m_ui;
    std::unique_ptr<NetworkSettingsModel> m_model;
    QHash<QString, QString> m_codes; // by MAC address
    FileChooser m_chooseSave;
    FileChooser m_chooseOpen;
    NetworkConfiguration m_upload; // what the last file held
    Sending m_sending = Sending::Nothing;
    bool m_stopRequested = false;
    int m_done = 0;
    int m_total = 0;
};
