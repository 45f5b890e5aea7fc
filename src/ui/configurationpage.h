#pragma once

#include "networksettings.h"

#include <QWidget>

#include <memory>
#include <optional>

class QCheckBox;

namespace Ui {
class ConfigurationPage;
}

// The page on which a new address, mask, gateway and DHCP choice are typed for one instrument. It
// keeps the record that it shows, so that nothing typed here can go to another instrument. It sends
// nothing itself: the window asks for settings() when the save button is released.
class ConfigurationPage : public QWidget
{
    Q_OBJECT

public:
    explicit ConfigurationPage(QWidget *parent = nullptr);
    ~ConfigurationPage() override;

    // The table without an instrument: "unknown" three times and a dead DHCP box.
    void resetConfigurationTable();
    void showDevice(Device_t device);

    // Puts `text` into the value cell of `row`; locked draws it grey and not editable.
    void setConfigValue(int row, const QString &text, bool locked);
    // The record's address, mask and gateway like that.
    void showAddresses(const Device_t &device, bool locked);

    void setSaveEnabled(bool enabled);
    void setControlsEnabled(bool enabled);

    // Nothing while the page shows no instrument.
    std::optional<NetworkSettings> settings() const;

signals:
    void signalSaveRequested();
    void signalDhcpToggled();

protected:
    void showEvent(QShowEvent *event) override;

private:
    void insertRow(int row);
    void lockCells();
    void setPlainValue(int row, const QString &text);
    void checkTypedAddresses();
    void sayHint(const QString &text, const char *role);
    quint32 typedAddress(int row) const;
    QCheckBox *dhcpBox() const;

    std::unique_ptr<Ui::ConfigurationPage> m_ui;
    std::optional<Device_t> m_shown;
    bool m_fitted = false; // the columns, to their texts
};
