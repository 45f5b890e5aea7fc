#pragma once

#include "device.h"

#include <QWidget>

#include <array>
#include <memory>
#include <optional>

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
// progress and the log, and asks for the files; the window decides what is updated and runs the worker.
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

    // Asks for a file, beginning in `folder`, if `button` is the chooser of a selector, which shows the
    // chosen path then. Nothing when it is no chooser, or no file was chosen.
    std::optional<QString> chooseFile(const QObject *button, const QString &folder);
    // If `field` is a line edit that holds the URL of a local file, as after a drop: the file's plain path,
    // which takes the URL's place.
    std::optional<QString> takeFileUrl(QObject *field);

    // Progress to 0, log empty.
    void resetProgress();
    // Both draw what they changed at once: they process pending events, unless one of them already does.
    // 0, 50, 70, 80, 95 and 100 are positions; any other value is a step, counted modulo 101.
    void changeProgress(int value);
    void appendLog(const QString &message);
    QString log() const;
    // Asks where to, and writes the log there. Does nothing for an empty log; a file that cannot be
    // written is passed over silently.
    void saveLog();

    // The time that an update takes, over all its instruments.
    void startClock();
    void stopClock();

    void setControlsEnabled(bool enabled);
    // The buttons that start an update alone.
    void setStartEnabled(bool enabled);

private:
    void draw();

    std::unique_ptr<Ui::FirmwarePage> m_ui;
    std::array<FirmwareSelector, 2> m_rows;
    QString m_filter = QStringLiteral("Firmware files (*.updt);;All files (*.*)");
    bool m_drawing = false;
};
