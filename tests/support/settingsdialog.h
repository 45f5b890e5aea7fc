#pragma once

#include "settings.h"

#include <QCheckBox>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QString>
#include <QStringList>

// Hands for the settings dialog: finding, filling, typing and clicking as a user would.
namespace settingsdialog {

QString text(const char *latin1);

template <typename T>
T *child(const Settings &dialog, const char *name)
{
    T *widget = dialog.findChild<T *>(text(name));
    if (!widget) {
        qFatal("the form has no %s", name);
    }
    return widget;
}

QPushButton *button(const Settings &dialog, const char *caption);

// What the dialog says under the range.
QString message(const Settings &dialog);

// Appends everything the dialog reports to the log, in its order: "scan 250", "unicast on", "close".
void record(Settings &dialog, QStringList &log);

// Gives the dialog the values of a fresh settings file.
void fill(Settings &dialog, bool unicast = false);

void open(Settings &dialog);
void type(QDoubleSpinBox *box, const QString &value);
void type(QLineEdit *field, const QString &value);
void click(QWidget *widget);

} // namespace settingsdialog
