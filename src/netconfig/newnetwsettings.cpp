#include "newnetwsettings.h"

#include "changenetworkconfiguration.h"
#include "networksettingsmodel.h"
#include "networksettingsrow.h"
#include "styleproperty.h"
#include "ui_newnetwsettings.h"
#include "uploaddetails.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileDialog>
#include <QGridLayout>
#include <QPointer>

#include <utility>

namespace {

const QString uploadTitle = QStringLiteral("Upload csv-file");
constexpr int messageWidth = 460; // pixels

QString fileFilter()
{
    return NewNetwSettings::tr("csv-files (*.csv);;All files (*)");
}

QString instruments(int count)
{
    return count == 1 ? NewNetwSettings::tr("1 instrument")
                      : NewNetwSettings::tr("%1 instruments").arg(count);
}

} // namespace

NewNetwSettings::NewNetwSettings(const QList<QStringList> &rows, QWidget *parent)
    : QDialog(parent),
      m_ui(std::make_unique<Ui::NewNetwSettings>()),
      m_model(std::make_unique<NetworkSettingsModel>(rows)),
      m_chooseSave([this] {
          return QFileDialog::getSaveFileName(this, tr("Save csv-file"),
                                              QStringLiteral("network_configuration.csv"), fileFilter());
      }),
      m_chooseOpen(
          [this] { return QFileDialog::getOpenFileName(this, uploadTitle, QString(), fileFilter()); })
{
    m_ui->setupUi(this);
    if (auto *clear = m_ui->lineEditFind->findChild<QToolButton *>()) {
        clear->setAccessibleName(tr("Clear the find text")); // Qt leaves it without a name
    }
    m_ui->tableNetwSettings->showModel(m_model.get());
    connectAll();
    showSending(false);
    onShowMessage(QString());
    onTableChanged();
}

NewNetwSettings::~NewNetwSettings() = default;

NewNetwSettings *NewNetwSettings::forDevices(const QList<Device_t> &devices, QWidget *parent)
{
    QList<QStringList> rows;
    for (const Device_t &device : devices) {
        rows.append(networkrow::fromDevice(device));
    }
    auto *dialog = new NewNetwSettings(rows, parent);
    dialog->setDevices(devices);
    return dialog;
}

void NewNetwSettings::connectAll()
{
    connect(m_ui->applyBtn, &QPushButton::clicked, this, &NewNetwSettings::onApply);
    connect(m_ui->cancelBtn, &QPushButton::clicked, this, &NewNetwSettings::onCancel);
    connect(m_ui->saveFileBtn, &QPushButton::clicked, this, &NewNetwSettings::onSaveFile);
    connect(m_ui->uploadFileBtn, &QPushButton::clicked, this, &NewNetwSettings::onUploadFile);
    connect(m_ui->stopBtn, &QPushButton::clicked, this, &NewNetwSettings::onStop);
    connect(m_ui->showProblemBtn, &QToolButton::clicked, this, &NewNetwSettings::onShowProblem);
    connect(m_ui->lineEditFind, &QLineEdit::textChanged, this, &NewNetwSettings::onFind);
    connect(m_ui->tableNetwSettings, &NetworkSettingsView::signalMessage, this,
            &NewNetwSettings::onShowMessage);
    connect(m_model.get(), &NetworkSettingsModel::signalChanged, this, &NewNetwSettings::onTableChanged);
}

void NewNetwSettings::setDevices(const QList<Device_t> &devices)
{
    m_codes.clear();
    for (const Device_t &device : devices) {
        m_codes.insert(device[Mac], device[Code]);
    }
}

void NewNetwSettings::setFileChoosers(const FileChooser &save, const FileChooser &open)
{
    m_chooseSave = save;
    m_chooseOpen = open;
}

void NewNetwSettings::onApply()
{
    if (m_model->changedCount() > 0 && m_model->invalidCount() == 0) {
        send(Sending::Table, m_model->changedRows());
    }
}

void NewNetwSettings::send(Sending what, const QList<QStringList> &rows)
{
    m_sending = what;
    m_stopRequested = false;
    m_done = 0;
    m_total = rows.size();
    m_ui->progressBarApply->setRange(0, m_total);
    m_ui->progressBarApply->setValue(0);
    onShowMessage(QString());
    showSending(true);
    emit signalApply(rows);
}

bool NewNetwSettings::onProgress(int done, int total)
{
    m_done = done;
    m_ui->progressBarApply->setRange(0, total);
    m_ui->progressBarApply->setValue(done);
    const QPointer<NewNetwSettings> self(this);
    QCoreApplication::processEvents();
    return self && !m_stopRequested;
}

void NewNetwSettings::onApplied()
{
    const Sending what = std::exchange(m_sending, Sending::Nothing);
    const int sent = m_stopRequested ? m_done : m_total;
    showSending(false);
    if (what == Sending::Table) {
        m_model->acceptFirstChanged(sent);
    } else if (what == Sending::File) {
        m_model->acceptSent(m_upload.sendableRows.mid(0, sent));
    }
    if (sent < m_total) {
        onShowMessage(tr("Stopped: %1 of %2 were sent their settings.").arg(sent).arg(instruments(m_total)));
    } else if (what == Sending::File) {
        const int unsent = m_model->changedCount();
        tellUpload(QMessageBox::Information, QStringLiteral("upload completed!"), unsent == 0);
        if (unsent > 0) {
            onShowMessage(tr("The file was sent. Not sent yet: the changes to %1 in this table.")
                              .arg(instruments(unsent)));
        }
    } else if (what == Sending::Table) {
        onCancel();
    }
}

void NewNetwSettings::onNotApplied(const QString &reason)
{
    m_sending = Sending::Nothing;
    showSending(false);
    onShowMessage(reason);
}

void NewNetwSettings::onStop()
{
    m_stopRequested = true;
    m_ui->stopBtn->setEnabled(false);
}

// Also the end of a successful Apply: all that is left is to go.
void NewNetwSettings::onCancel()
{
    QDialog::reject();
    emit signalClose();
}

void NewNetwSettings::reject()
{
    if (m_sending != Sending::Nothing) {
        onStop();
        return;
    }
    if (m_model->changedCount() == 0) {
        onCancel();
        return;
    }
    auto *question =
        new QMessageBox(QMessageBox::Question, windowTitle(),
                        tr("Discard the changes to %1?").arg(instruments(m_model->changedCount())),
                        QMessageBox::Discard | QMessageBox::Cancel, this);
    question->setAttribute(Qt::WA_DeleteOnClose);
    question->setDefaultButton(QMessageBox::Cancel);
    connect(question->button(QMessageBox::Discard), &QAbstractButton::clicked, this,
            &NewNetwSettings::onCancel);
    question->open();
}

void NewNetwSettings::onSaveFile()
{
    const QString path = m_chooseSave();
    if (path.isEmpty()) {
        return;
    }
    const QList<Device_t> devices = devicesAsShown();
    QString reason;
    if (changeNetworkConfiguration::writeFile(devices, path, &reason)) {
        onShowMessage(tr("Saved %1 to %2.").arg(instruments(devices.size()), QDir::toNativeSeparators(path)));
    } else {
        onShowMessage(tr("ERROR: the file was not written: %1").arg(reason));
    }
}

// What the table holds now, typed changes included: what is seen is what is saved.
QList<Device_t> NewNetwSettings::devicesAsShown() const
{
    QList<Device_t> devices;
    const QList<QStringList> rows = m_model->rows();
    for (const QStringList &row : rows) {
        Device_t device;
        device[Code] = m_codes.value(row.at(networkrow::MacColumn));
        device[Family] = row.at(networkrow::FamilyColumn);
        device[Sn] = row.at(networkrow::SerialNumberColumn);
        device[Mac] = row.at(networkrow::MacColumn);
        device[Ip] = row.at(networkrow::IpColumn);
        device[Netmask] = row.at(networkrow::NetmaskColumn);
        device[Gateway] = row.at(networkrow::GatewayColumn);
        devices.append(device);
    }
    return devices;
}

void NewNetwSettings::onUploadFile()
{
    const QString path = m_chooseOpen();
    if (path.isEmpty()) {
        return;
    }
    m_upload = readNetworkConfiguration(path);
    if (m_upload.sendableRows.isEmpty()) {
        tellUpload(QMessageBox::Critical, QStringLiteral("Error: incorrect file"), false);
    } else {
        send(Sending::File, m_upload.sendableRows);
    }
}

void NewNetwSettings::tellUpload(QMessageBox::Icon icon, const QString &text, bool closeAfterwards)
{
    auto *box = new QMessageBox(icon, uploadTitle, text, QMessageBox::Ok, this);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setTextFormat(Qt::PlainText);
    box->setInformativeText(uploadSummary(m_upload));
    box->setDetailedText(uploadDetails(m_upload));
    // A message box is as wide as its first line, too narrow to read the details in.
    auto *layout = static_cast<QGridLayout *>(box->layout());
    layout->addItem(new QSpacerItem(messageWidth, 0), layout->rowCount(), 0, 1, layout->columnCount());
    if (closeAfterwards) {
        connect(box, &QMessageBox::finished, this, &NewNetwSettings::onCancel);
    }
    box->open();
}

void NewNetwSettings::onFind(const QString &text)
{
    m_ui->tableNetwSettings->find(text);
    onTableChanged();
}

void NewNetwSettings::onShowProblem()
{
    m_ui->lineEditFind->clear();
    m_ui->tableNetwSettings->goTo(m_model->firstInvalidCell());
}

void NewNetwSettings::onShowMessage(const QString &message)
{
    m_ui->labelStatus->setText(message);
    m_ui->labelStatus->setVisible(!message.isEmpty());
}

void NewNetwSettings::onTableChanged()
{
    const int changed = m_model->changedCount();
    const int invalid = m_model->invalidCount();
    const int shown = m_ui->tableNetwSettings->shownRowCount();
    const QString all = instruments(m_model->rowCount());
    m_ui->labelCount->setText(
        tr("%1, %2 changed")
            .arg(shown == m_model->rowCount() ? all : tr("%1 of %2 shown").arg(shown).arg(all))
            .arg(changed));

    m_ui->applyBtn->setEnabled(changed > 0 && invalid == 0 && m_sending == Sending::Nothing);
    m_ui->showProblemBtn->setVisible(invalid > 0);
    if (invalid > 0) {
        showReason(invalid == 1
                       ? m_model->firstProblem()
                       : tr("%1; and %2 more").arg(m_model->firstProblem(), QString::number(invalid - 1)),
                   "error");
    } else if (m_model->sharedAddressCount() > 0) {
        showReason(tr("More than one instrument has the same IP address."), "hint");
    } else {
        showReason(changed == 0 ? tr("Nothing is changed yet.") : QString(), "hint");
    }
}

void NewNetwSettings::showReason(const QString &text, const char *role)
{
    m_ui->labelReason->setText(text);
    setStyleProperty(m_ui->labelReason, "role", QString::fromLatin1(role));
}

void NewNetwSettings::showSending(bool sending)
{
    m_ui->frameProgress->setVisible(sending);
    m_ui->stopBtn->setEnabled(sending);
    for (QWidget *widget :
         {static_cast<QWidget *>(m_ui->tableNetwSettings), static_cast<QWidget *>(m_ui->lineEditFind),
          static_cast<QWidget *>(m_ui->saveFileBtn), static_cast<QWidget *>(m_ui->uploadFileBtn),
          static_cast<QWidget *>(m_ui->cancelBtn)}) {
        widget->setEnabled(!sending);
    }
    onTableChanged();
}
