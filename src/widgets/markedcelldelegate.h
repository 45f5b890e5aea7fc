#pragma once

#include <QStyledItemDelegate>

// Draws a value cell that can be typed into: what is wrong stands on another ground and in a frame, and a
// text that does not fit keeps its end, which tells addresses apart. Made by the table's page and parented to
// it.
class MarkedCellDelegate : public QStyledItemDelegate
{
    Q_OBJECT

public:
    static constexpr int WrongRole = Qt::UserRole; // of an index: true where the value cannot be used

    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter *painter, const QStyleOptionViewItem &option,
               const QModelIndex &index) const override;
    QWidget *createEditor(QWidget *parent, const QStyleOptionViewItem &option,
                          const QModelIndex &index) const override;

protected:
    void initStyleOption(QStyleOptionViewItem *option, const QModelIndex &index) const override;
};
