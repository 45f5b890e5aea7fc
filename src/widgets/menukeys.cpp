#include "menukeys.h"

#include <QMenuBar>
#include <QShortcut>

void addMenuKeys(QMenuBar *bar)
{
    const QList<QAction *> menus = bar->actions();
    for (QAction *menu : menus) {
        auto *shortcut =
            new QShortcut(QKeySequence(QStringLiteral("Alt+") + menu->text().left(1)), bar->window());
        QObject::connect(shortcut, &QShortcut::activated, bar, [bar, menu] { bar->setActiveAction(menu); });
    }
}
