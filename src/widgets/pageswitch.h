#pragma once

#include <QVector>

class QPushButton;
class QStackedWidget;

// Gives a button the look of one whose page or function is shown, or takes it away.
void highlightButton(QPushButton *button, bool selected);

// A row of buttons, each for one page of a stack: the button of the page that is shown is highlighted and has
// nothing to do. Owned by the window that has the buttons.
class PageSwitch
{
public:
    // The button at a page's index shows that page.
    PageSwitch(QStackedWidget *pages, QVector<QPushButton *> buttons);

    void show(int page);
    // No page can be chosen while disabled; afterwards all of them can, the one that is shown as well.
    void setEnabled(bool enabled);

private:
    QStackedWidget *m_pages;
    QVector<QPushButton *> m_buttons;
    int m_resting = -1; // the button that has nothing to do
};
