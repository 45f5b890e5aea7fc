#pragma once

#include <QString>
#include <QTableWidgetItem>

#include <memory>

class QTableWidget;

// The one way in which tables of items get their cells: an item is made, finished, and then given to the
// table, which owns it from there on and tells of every later change.
namespace tableitems {

std::unique_ptr<QTableWidgetItem> text(const QString &text = QString());

// For addresses, numbers and versions: in the font whose digits stand below each other.
std::unique_ptr<QTableWidgetItem> number(const QString &text);

void place(QTableWidget *table, int row, int column, std::unique_ptr<QTableWidgetItem> item);

} // namespace tableitems
