#pragma once

#include <QVariant>

class QWidget;

// Sets a property that the style sheet selects on, as `role` and `invalid` in docs/look.md. A style sheet
// looks at properties only when a widget is polished, so a change polishes it again.
void setStyleProperty(QWidget *widget, const char *name, const QVariant &value);
