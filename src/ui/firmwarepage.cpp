#include "firmwarepage.h"

#include "instrumentrules.h"
#include "ui_firmwarepage.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QScopedValueRollback>
#include <QTextStream>
#include <QUrl>

#include <algorithm>

namespace {

constexpr std::array<int, 6> progressPositions{0, 50, 70, 80, 95, 100};

} // namespace

FirmwarePage::FirmwarePage(QWidget *parent) : QWidget(parent), m_ui(std::make_unique<Ui::FirmwarePage>())
{
    m_ui->setupUi(this);
    QSizePolicy policy = m_ui->frameDevIP->sizePolicy();
    policy.setRetainSizeWhenHidden(true); // so that nothing moves when the field is shown
    m_ui->frameDevIP->setSizePolicy(policy);
    setAttribute(
        Qt::WA_StyledBackground); // else a widget of our own class takes no ground from the style sheet
    m_rows = {{{m_ui->lineEditFirmware1, m_ui->chooseFirmwareBtn, m_ui->updateFwBtn},
               {m_ui->lineEditFirmware2, m_ui->chooseFirmware2Btn, m_ui->updateFw2Btn}}};
    m_ui->frameDevIP->hide();
    updateFirmwareLabels(nullptr);
}

FirmwarePage::~FirmwarePage() = default;

QPushButton *FirmwarePage::saveLogButton() const
{
    return m_ui->dowloadLog;
}

QCheckBox *FirmwarePage::manualIpBox() const
{
    return m_ui->checkBoxManualIP;
}

void FirmwarePage::setManualIpOffered(bool offered)
{
    m_ui->frameManualIp->setVisible(offered);
}

bool FirmwarePage::isManualIpTicked() const
{
    return m_ui->checkBoxManualIP->isChecked();
}

void FirmwarePage::untickManualIp()
{
    m_ui->checkBoxManualIP->setChecked(false);
}

void FirmwarePage::showManualIpField()
{
    m_ui->frameDevIP->setVisible(isManualIpTicked());
}

QString FirmwarePage::manualIp() const
{
    return isManualIpTicked() ? m_ui->lineEditSetManualIP->text() : QString();
}

void FirmwarePage::updateFirmwareLabels(const Device_t *device)
{
    const bool motorDriver = device && instrumentrules::takesSecondFirmware((*device)[Code]);
    m_ui->widgetFirmware2->setVisible(motorDriver);
    m_ui->selectFirmwareLabel_4->setText(motorDriver ? QStringLiteral("Communication Firmware")
                                                     : QStringLiteral("Select Firmware"));
    if (motorDriver) {
        m_ui->labelSelectFirmware2->setText(QStringLiteral("Control Firmware"));
    }
}

void FirmwarePage::updateFirmwareFilter(const Device_t *device)
{
    if (device) {
        m_filter = instrumentrules::firmwareFilter((*device)[Code]);
    }
}

std::optional<QString> FirmwarePage::chooseFile(const QObject *button, const QString &folder)
{
    const auto row = std::find_if(m_rows.begin(), m_rows.end(), [button](const FirmwareSelector &selector) {
        return selector.choose == button;
    });
    if (row == m_rows.end()) {
        return {};
    }
    const QString file =
        QFileDialog::getOpenFileName(nullptr, QStringLiteral("Open Firmware File"), folder, m_filter);
    if (file.isEmpty()) {
        return {};
    }
    row->path->setText(file);
    return file;
}

std::optional<QString> FirmwarePage::takeFileUrl(QObject *field)
{
    auto *edit = qobject_cast<QLineEdit *>(field);
    if (!edit) {
        return {};
    }
    const QUrl url(edit->text(), QUrl::TolerantMode);
    if (!url.isLocalFile()) {
        return {};
    }
    const QString file = url.toLocalFile().trimmed();
    edit->setText(file);
    return file;
}

void FirmwarePage::resetProgress()
{
    m_ui->progressBarFirmware->setValue(0);
    m_ui->plainTextEditFirmware->clear();
    m_ui->labelElapsed->reset();
}

void FirmwarePage::startClock()
{
    m_ui->labelElapsed->start();
}

void FirmwarePage::stopClock()
{
    m_ui->labelElapsed->stop();
}

void FirmwarePage::changeProgress(int value)
{
    const bool position =
        std::find(progressPositions.begin(), progressPositions.end(), value) != progressPositions.end();
    m_ui->progressBarFirmware->setValue(position ? value
                                                 : (m_ui->progressBarFirmware->value() + value) % 101);
    draw();
}

void FirmwarePage::appendLog(const QString &message)
{
    m_ui->plainTextEditFirmware->appendPlainText(message);
    draw();
}

// Signals that wait in the queue are delivered from within; they need not do the same again, or a talkative
// instrument would nest as many calls as it sends lines.
void FirmwarePage::draw()
{
    if (!m_drawing) {
        const QScopedValueRollback<bool> drawing(m_drawing, true);
        QCoreApplication::processEvents();
    }
}

QString FirmwarePage::log() const
{
    return m_ui->plainTextEditFirmware->toPlainText();
}

void FirmwarePage::saveLog()
{
    const QString text = log();
    if (text.isEmpty()) {
        return;
    }
    const QString stamp = QDateTime::currentDateTime().toString(QStringLiteral("yyyy_MM_dd_HH_mm"));
    const QString proposal = QDir::homePath() + QDir::separator() + QStringLiteral("Downloads") +
                             QDir::separator() + QStringLiteral("update_log_%1.txt").arg(stamp);
    const QString path = QFileDialog::getSaveFileName(window(), QStringLiteral("Save File"), proposal,
                                                      QStringLiteral("Text files (*.txt)"));
    QFile file(path);
    if (!path.isEmpty() && file.open(QIODevice::WriteOnly | QIODevice::Text)) {
        QTextStream(&file) << text;
    }
}

void FirmwarePage::setStartEnabled(bool enabled)
{
    for (const FirmwareSelector &row : m_rows) {
        row.update->setEnabled(enabled);
    }
}

void FirmwarePage::setControlsEnabled(bool enabled)
{
    for (const FirmwareSelector &row : m_rows) {
        row.path->setEnabled(enabled);
        row.choose->setEnabled(enabled);
        row.update->setEnabled(enabled);
    }
    m_ui->checkBoxManualIP->setEnabled(enabled);
    m_ui->lineEditSetManualIP->setEnabled(enabled);
}
