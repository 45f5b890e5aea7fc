#include "pageswitch.h"

#include "textresource.h"

#include <QPushButton>
#include <QStackedWidget>

void highlightButton(QPushButton *button, bool selected)
{
    button->setStyleSheet(selected ? textResource(QStringLiteral(":/files/resources/btnSelected.qss"))
                                   : QString());
}

PageSwitch::PageSwitch(QStackedWidget *pages, QVector<QPushButton *> buttons)
    : m_pages(pages), m_buttons(std::move(buttons))
{}

void PageSwitch::show(int page)
{
    m_resting = page;
    setEnabled(true);
    for (QPushButton *button : qAsConst(m_buttons)) {
        highlightButton(button, button == m_buttons.at(page));
    }
    m_pages->setCurrentIndex(page);
}

void PageSwitch::setEnabled(bool enabled)
{
    m_resting = enabled ? m_resting : -1;
    for (int i = 0; i < m_buttons.size(); ++i) {
        m_buttons.at(i)->setEnabled(enabled && i != m_resting);
    }
}
