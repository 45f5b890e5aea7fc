#include "readout.h"

#include <QAbstractButton>
#include <QAccessible>
#include <QLabel>
#include <QSet>

namespace {

QStringList readBelow(QAccessibleInterface *node)
{
    static const QSet<int> controls{
        QAccessible::PushButton,   QAccessible::CheckBox, QAccessible::ComboBox,
        QAccessible::EditableText, QAccessible::SpinBox,  QAccessible::ProgressBar,
        QAccessible::Table,        QAccessible::MenuItem, QAccessible::ButtonMenu};
    static const QSet<int> whole{QAccessible::SpinBox, QAccessible::ComboBox}; // parts bear the whole's name
    const QString object = node->object() ? node->object()->objectName() : QString();
    const auto *button = qobject_cast<QAbstractButton *>(node->object());
    const bool blank = button && !button->icon().isNull() && button->icon().pixmap(20).isNull();
    const int role = node->role();
    const QString key = role == QAccessible::MenuItem ? node->text(QAccessible::Accelerator) : QString();
    QStringList texts{(node->text(QAccessible::Name) + QLatin1Char(' ') + key).trimmed()};
    if (!object.startsWith(QLatin1String("qt_")) &&
        (blank || (controls.contains(role) && texts[0].isEmpty()))) {
        texts[0] = QLatin1Char('?') + object;
    }
    for (int i = 0; i < node->childCount() && !whole.contains(role); ++i) {
        if (QAccessibleInterface *child = node->child(i)) {
            texts += readBelow(child);
        }
    }
    texts.removeAll(QString());
    return texts;
}

} // namespace

QStringList readOut(QWidget *window)
{
    return readBelow(QAccessible::queryAccessibleInterface(window));
}

QString cutControls(QWidget *window)
{
    QString cut;
    const QList<QWidget *> widgets = window->findChildren<QWidget *>();
    for (const QWidget *widget : widgets) {
        const auto *label = qobject_cast<const QLabel *>(widget);
        const bool counts = qobject_cast<const QAbstractButton *>(widget) || (label && !label->wordWrap());
        if (counts && widget->isVisibleTo(window) && !widget->objectName().isEmpty() &&
            widget->size().expandedTo(widget->sizeHint()) != widget->size()) {
            cut += widget->objectName() + QLatin1Char(' ');
        }
    }
    return cut;
}
