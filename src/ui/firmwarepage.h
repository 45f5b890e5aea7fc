#pragma once

#include "device.h"

#include <QWidget>

#include <array>
#include <memory>

class QCheckBox;
class QLineEdit;
class QPushButton;

namespace Ui {
class FirmwarePage;
}

// One row of the page that names a firmware file: path field, chooser and start button.
struct FirmwareSelector
{
    QLineEdit *path = nullptr;
    QPushButton *choose = nullptr;
    QPushButton *update = nullptr;
};

// The page on which firmware files are chosen and an update is followed. It holds the controls, the
// progress and the log; the window decides what is updated and runs the worker.
class FirmwarePage : public QWidget
{
    Q_OBJECT

public:
    explicit FirmwarePage(QWidget *parent = nullptr);
    ~FirmwarePage() override;

    // The first selector serves every instrument, the second the motor driver's other processor.
    const std::array<FirmwareSelector, 2> &selectors() const { return m_rows; }
    QPushButton *saveLogButton() const;
    QCheckBox *manualIpBox() const;

    void setManualIpOffered(bool offered);
    bool isManualIpTicked() const;
    void untickManualIp();
    // Shows the address field while the box is ticked.
    void showManualIpField();
    // The typed address, empty while the box is not ticked.
    QString manualIp() const;

    // Captions, selectors and the choosers' file filter for the kind of the current device; with
    // none (null) the captions fall back and the filter stays.
    void updateFirmwareLabels(const Device_t *device);
    void updateFirmwareFilter(const Device_t *device);
    QString fileFilter() const { return m_filter; }

    // Progress to 0, log empty.
    void resetProgress();
    // 0, 50, 70, 80, 95 and 100 are positions; any other value is a step, counted modulo 101.
    void changeProgress(int value);
    void appendLog(const QString &message);
    QString log() const;

    // The time that an update takes, over all its instruments.
    void startClock();
    void stopClock();

    void setControlsEnabled(bool enabled);
    // The buttons that start an update alone.
    void setStartEnabled(bool enabled);

private:
    std::unique_ptr<Ui::FirmwarePage> m_ui;
    std::array<FirmwareSelector, 2> m_rows;
    QString m_filter = QStringLiteral("Firmware files (*.updt);;All files (*.*)");
};
