#pragma once

#include "device.h"

#include <QHash>
#include <QIcon>
#include <QTableWidget>

#include <memory>

class QCheckBox;

// The table of found instruments, one row each. Every item carries the device index (the record's
// place in the window's list) in its user data, and that is the only link between a row and a
// record: rows may be sorted at will. Column 0 holds the check boxes that choose instruments for a
// firmware update; the firmware page alone shows it.
class DeviceTable : public QTableWidget
{
    Q_OBJECT

public:
    enum Column { SelectionColumn, IconColumn, GroupColumn, ModuleIdColumn, IpColumn, FirmwareColumn };

    explicit DeviceTable(QWidget *parent = nullptr);

    // Widths and resize rules of the columns; the form must have made them.
    void prepareColumns();

    // Replaces the rows by one for each device, in list order and unsorted. Linear in their number.
    void fill(const QList<Device_t> &devices);

    // One more record, behind those that were given before, or another one in the place of the record at
    // `index`. Ticks, the current row and the sorting stay.
    void addDevice(const Device_t &device);
    void updateDevice(int index, const Device_t &device);

    // -1 where there is no current item, no such row or no item.
    int currentDeviceIndex() const;
    int deviceIndex(int row, Column column = IconColumn) const;
    QCheckBox *selectionBox(int row) const;
    // The device index of the row whose selection box this is, -1 for anything else.
    int indexOfSelectionBox(const QObject *box) const;
    // Copies the boxes into one flag for each device index.
    void readSelection(QList<bool> *selected) const;

    // Enables the selection boxes that may be ticked beside those that are: instruments of one code,
    // a motor driver alone, a current transducer never.
    void updateSelectableDevices(const QList<Device_t> &devices);
    void untickAll();

    // Shows the rows whose family is the filter's entry `family` (0 power supplies, 1 beamline,
    // 2 current transducers), hides all others. A current row that is hidden is current no longer.
    void showFamily(const QList<Device_t> &devices, int family);
    void showFirstRows();

    // What stands in the middle of the table while it has no rows.
    void setEmptyText(const QString &text);

    // The filter's entry for a product code; -1 for a code that does not begin with a digit.
    static int familyOfCode(const QString &code);

signals:
    // A selection check box changed.
    void signalSelectionToggled();

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    void fillRow(int row, const Device_t &device);
    void writeRow(int row, const Device_t &device);
    void addSelectionBox(int row, const Device_t &device);
    void addItem(int row, Column column, std::unique_ptr<QTableWidgetItem> item);
    QIcon picture(const Device_t &device);
    QString codeOfRow(const QList<Device_t> &devices, int row) const;
    QString chosenCode(const QList<Device_t> &devices) const;

    QHash<QString, QIcon> m_pictures; // scaled, by resource path
    QFont m_numberFont;
    QString m_emptyText;
};
