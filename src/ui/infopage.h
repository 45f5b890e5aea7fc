#pragma once

#include "device.h"

#include <QWidget>

#include <memory>

class QTableWidgetItem;

namespace Ui {
class InfoPage;
}

// The page that lists everything known about one instrument: ten fields of the record and then
// whatever else the instrument told of itself.
class InfoPage : public QWidget
{
    Q_OBJECT

public:
    explicit InfoPage(QWidget *parent = nullptr);
    ~InfoPage() override;

    void clear();
    void showDevice(const Device_t &device);

protected:
    void showEvent(QShowEvent *event) override;

private:
    void setRow(int row, const QString &property, std::unique_ptr<QTableWidgetItem> value);
    void setCell(int row, int column, std::unique_ptr<QTableWidgetItem> item);

    std::unique_ptr<Ui::InfoPage> m_ui;
};
