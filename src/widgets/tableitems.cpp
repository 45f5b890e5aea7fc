#include "tableitems.h"

#include "tabularfont.h"

#include <QTableWidget>

std::unique_ptr<QTableWidgetItem> tableitems::text(const QString &text)
{
    return std::make_unique<QTableWidgetItem>(text);
}

std::unique_ptr<QTableWidgetItem> tableitems::number(const QString &text)
{
    auto item = tableitems::text(text);
    item->setFont(tabularFont());
    return item;
}

void tableitems::place(QTableWidget *table, int row, int column, std::unique_ptr<QTableWidgetItem> item)
{
    table->setItem(row, column, item.release());
}
