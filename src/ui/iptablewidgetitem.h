#pragma once

#include <QTableWidgetItem>

// The item of an address column: sorts by the number that a dotted IPv4 address stands for, so that
// 192.168.0.9 comes before 192.168.0.10. Where one of the two is no address, by text.
class IpTableWidgetItem : public QTableWidgetItem
{
public:
    explicit IpTableWidgetItem(const QString &text, int type = 0);

    bool operator<(const QTableWidgetItem &other) const override;
};
