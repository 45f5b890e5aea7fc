#pragma once

#include <QString>
#include <QStringList>

class QWidget;

// What a screen reader reads of a window, in its order: names of all that has one, menu entries with their
// keys. A control without a name, and a button whose picture is missing, is reported with a question mark.
QStringList readOut(QWidget *window);

// What is drawn smaller than its text or icon needs.
QString cutControls(QWidget *window);
