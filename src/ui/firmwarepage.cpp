#include "firmwarepage.h"

#include "instrumentrules.h"
#include "ui_firmwarepage.h"

#include <algorithm>

namespace {

constexpr std::array<int, 6> progressPositions{0, 50, 70, 80, 95, 100};

} // namespace

FirmwarePage::FirmwarePage(QWidget *parent) : QWidget(parent), ui(std::make_unique<Ui::FirmwarePage>())
{
    ui->setupUi(this);
    QSizePolicy policy = ui->frameDevIP->sizePolicy();
    policy.setRetainSizeWhenHidden(true); // so that nothing moves when the field is shown
    ui->frameDevIP->setSizePolicy(policy);
    setAttribute(
        Qt::WA_StyledBackground); // else a widget of our own class takes no ground from the style sheet
    rows = {{{ui->lineEditFirmware1, ui->chooseFirmwareBtn, ui->updateFwBtn},
             {ui->lineEditFirmware2, ui->chooseFirmware2Btn, ui->updateFw2Btn}}};
    ui->frameDevIP->hide();
    updateFirmwareLabels(nullptr);
}

FirmwarePage::~FirmwarePage() = default;

QPushButton *FirmwarePage::saveLogButton() const
{
    return ui->dowloadLog;
}

QCheckBox *FirmwarePage::manualIpBox() const
{
    return ui->checkBoxManualIP;
}

void FirmwarePage::setManualIpOffered(bool offered)
{
    ui->frameManualIp->setVisible(offered);
}

bool FirmwarePage::isManualIpTicked() const
{
    return ui->checkBoxManualIP->isChecked();
}

void FirmwarePage::untickManualIp()
{
    ui->checkBoxManualIP->setChecked(false);
}

void FirmwarePage::showManualIpField()
{
    ui->frameDevIP->setVisible(isManualIpTicked());
}

QString FirmwarePage::manualIp() const
{
    return isManualIpTicked() ? ui->lineEditSetManualIP->text() : QString();
}

void FirmwarePage::updateFirmwareLabels(const Device_t *device)
{
    const bool motorDriver = device && instrumentrules::takesSecondFirmware((*device)[Code]);
    ui->widgetFirmware2->setVisible(motorDriver);
    ui->selectFirmwareLabel_4->setText(motorDriver ? QStringLiteral("Communication Firmware")
                                                   : QStringLiteral("Select Firmware"));
    if (motorDriver) {
        ui->labelSelectFirmware2->setText(QStringLiteral("Control Firmware"));
    }
}

void FirmwarePage::updateFirmwareFilter(const Device_t *device)
{
    if (device) {
        filter = instrumentrules::firmwareFilter((*device)[Code]);
    }
}

void FirmwarePage::resetProgress()
{
    ui->progressBarFirmware->setValue(0);
    ui->plainTextEditFirmware->clear();
    ui->labelElapsed->reset();
}

void FirmwarePage::startClock()
{
    ui->labelElapsed->start();
}

void FirmwarePage::stopClock()
{
    ui->labelElapsed->stop();
}

void FirmwarePage::changeProgress(int value)
{
    const bool position =
        std::find(progressPositions.begin(), progressPositions.end(), value) != progressPositions.end();
    ui->progressBarFirmware->setValue(position ? value : (ui->progressBarFirmware->value() + value) % 101);
}

void FirmwarePage::appendLog(const QString &message)
{
    ui->plainTextEditFirmware->appendPlainText(message);
}

QString FirmwarePage::log() const
{
    return ui->plainTextEditFirmware->toPlainText();
}

void FirmwarePage::setStartEnabled(bool enabled)
{
    for (const FirmwareSelector &row : rows) {
        row.update->setEnabled(enabled);
    }
}

void FirmwarePage::setControlsEnabled(bool enabled)
{
    for (const FirmwareSelector &row : rows) {
        row.path->setEnabled(enabled);
        row.choose->setEnabled(enabled);
        row.update->setEnabled(enabled);
    }
    ui->checkBoxManualIP->setEnabled(enabled);
    ui->lineEditSetManualIP->setEnabled(enabled);
}
