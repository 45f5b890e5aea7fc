#pragma once

#include <QDialog>
#include <QHostAddress>

#include <memory>

class QDoubleSpinBox;
class QLineEdit;

namespace Ui {
class Settings;
}

// The options dialog. The main window fills it through the setters, shows it, and stores what the
// signals carry; the dialog itself knows neither the settings file nor who uses the values. For each
// option it keeps the current value (what it was last given) and the edited one. A box that cannot
// show a value shows the nearest it can, and the edited value moves only when the user changes the box.
class Settings : public QDialog
{
    Q_OBJECT

public:
    explicit Settings(QWidget *parent = nullptr);
    ~Settings() override;

    // Each makes its value the current one and shows it.
    void setBroadcastTime(int ms);
    void setTimeout(int ms);
    void setFlagManualIp(bool on);
    void setFlagUnicast(bool on);
    void setStartIp(const QHostAddress &address);
    void setEndIp(const QHostAddress &address);
    void setNumberOfThreads(int threads);
    void setWaitForBytesWritten(int ms);
    void setWaitForReadyRead(int ms);
    void setWaitForConnected(int ms);

    // Esc and the window's close button: as Cancel.
    void reject() override;

signals:
    void signalChangeBroadcastTime(int ms);
    void signalChangeTimeout(int ms);
    void signalChangeFlagManualIP(bool on);
    void signalChangeFlagUnicast(bool on);
    void signalChangeStartIp(const QHostAddress &address);
    void signalChangeEndIp(const QHostAddress &address);
    void signalChangeNumbeOfThreads(int threads);
    void signalChangeWaitForBytesWritten(int ms);
    void signalChangeWaitForReadyRead(int ms);
    void signalChangeWaitForConnected(int ms);
    // The owner is asked to close the dialog.
    void signalClose();

public slots:
    void onChangeBroadcastTime();
    void onChangeTimeout();
    void onChangeChangeFlagManualIP();
    void onChangeChangeFlagUnicast();
    void onApply();
    void onClose();
    void onIpLineEditTextChanged(const QString &text);
    void onChangeNumbeOfThreads();
    void onChangeWaitForBytesWritten();
    void onChangeWaitForReadyRead();
    void onChangeWaitForConnected();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void showEvent(QShowEvent *event) override;

private:
    template <typename T>
    struct Option
    {
        T current;
        T edited;
        bool isChanged() const { return edited != current; }
    };

    void connectWidgets();
    void setWait(Option<int> &option, QDoubleSpinBox *box, int ms);
    void showAddress(QLineEdit *field, const QHostAddress &address);
    bool hasRange() const;
    void showRange();
    void applyChanges();

    std::unique_ptr<Ui::Settings> m_ui;
    Option<double> m_broadcastTime{200, 200}; // milliseconds
    Option<double> m_timeout{20000, 20000};   // milliseconds
    Option<bool> m_manualIp{false, false};
    Option<int> m_threads{10, 10};
    Option<int> m_waitForBytesWritten{1000, 1000}; // milliseconds
    Option<int> m_waitForReadyRead{1000, 1000};    // milliseconds
    Option<int> m_waitForConnected{1000, 1000};    // milliseconds
    bool m_closing = false;                        // the owner has been asked since the dialog was shown
};
