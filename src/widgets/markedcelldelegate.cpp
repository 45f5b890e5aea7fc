#include "markedcelldelegate.h"

#include "cellmarks.h"
#include "tabularfont.h"

#include <QPainter>

void MarkedCellDelegate::paint(QPainter *painter, const QStyleOptionViewItem &option,
                               const QModelIndex &index) const
{
    const bool wrong = index.data(WrongRole).toBool();
    if (wrong) {
        painter->fillRect(option.rect, QColor(cellmarks::wrongGround));
    }
    QStyledItemDelegate::paint(painter, option, index);
    if (wrong) {
        cellmarks::drawFrame(painter, option.rect, cellmarks::wrong);
    }
}

QWidget *MarkedCellDelegate::createEditor(QWidget *parent, const QStyleOptionViewItem &option,
                                          const QModelIndex &index) const
{
    QWidget *editor = QStyledItemDelegate::createEditor(parent, option, index);
    editor->setFont(tabularFont()); // as the cell's text
    return editor;
}

void MarkedCellDelegate::initStyleOption(QStyleOptionViewItem *option, const QModelIndex &index) const
{
    QStyledItemDelegate::initStyleOption(option, index);
    option->textElideMode = Qt::ElideLeft;
}
