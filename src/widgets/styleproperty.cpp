#include "styleproperty.h"

#include <QStyle>
#include <QWidget>

void setStyleProperty(QWidget *widget, const char *name, const QVariant &value)
{
    if (widget->property(name) != value) {
        widget->setProperty(name, value);
        widget->style()->unpolish(widget);
        widget->style()->polish(widget);
    }
}
