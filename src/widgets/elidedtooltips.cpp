#include "elidedtooltips.h"

#include "literaltext.h"

#include <QAbstractItemView>
#include <QHelpEvent>
#include <QToolTip>

ElidedTooltips::ElidedTooltips(QAbstractItemView *view) : QObject(view), m_view(view)
{
    view->viewport()->installEventFilter(this);
}

QString ElidedTooltips::tooltipAt(const QPoint &position) const
{
    const QModelIndex cell = m_view->indexAt(position);
    const QString text = cell.data().toString();
    if (text.isEmpty() || m_view->sizeHintForIndex(cell).width() <= m_view->visualRect(cell).width()) {
        return {};
    }
    return literalText(text);
}

bool ElidedTooltips::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() != QEvent::ToolTip) {
        return QObject::eventFilter(watched, event);
    }
    const auto *help = static_cast<QHelpEvent *>(event);
    const QModelIndex cell = m_view->indexAt(help->pos());
    // An empty text hides the tool tip of the cell that the pointer came from.
    QToolTip::showText(help->globalPos(), tooltipAt(help->pos()), m_view->viewport(),
                       m_view->visualRect(cell));
    return true;
}
