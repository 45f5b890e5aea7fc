#include "returnpresses.h"

#include <QAbstractButton>
#include <QKeyEvent>

// One filter for all: it holds nothing, and tables make a box for each of thousands of rows.
void ReturnPresses::addTo(QAbstractButton *button)
{
    static ReturnPresses filter;
    button->installEventFilter(&filter);
}

bool ReturnPresses::eventFilter(QObject *watched, QEvent *event)
{
    return press(watched, event);
}

bool ReturnPresses::press(QObject *button, QEvent *event)
{
    if (event->type() != QEvent::KeyPress) {
        return false;
    }
    const int key = static_cast<QKeyEvent *>(event)->key();
    if (key != Qt::Key_Return && key != Qt::Key_Enter) {
        return false;
    }
    static_cast<QAbstractButton *>(button)->click();
    return true;
}
