#pragma once

#include <QObject>

class QAbstractItemView;

// Shows the whole text of a cell that is cut off as the cell's tool tip, literally: a text from the
// network is never markup. A cell that shows all it holds has no tool tip. The view owns this object.
class ElidedTooltips : public QObject
{
    Q_OBJECT

public:
    explicit ElidedTooltips(QAbstractItemView *view);

    // What the tool tip at a point of the view's viewport says; empty for none.
    QString tooltipAt(const QPoint &position) const;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    QAbstractItemView *m_view;
};
