#include "iptablewidgetitem.h"

#include <QHostAddress>

IpTableWidgetItem::IpTableWidgetItem(const QString &text, int type) : QTableWidgetItem(text, type) {}

bool IpTableWidgetItem::operator<(const QTableWidgetItem &other) const
{
    QHostAddress mine;
    QHostAddress theirs;
    if (mine.setAddress(text()) && theirs.setAddress(other.text())) {
        return mine.toIPv4Address() < theirs.toIPv4Address();
    }
    return text() < other.text();
}
