#pragma once

#include <QObject>

class QAbstractButton;

// Return and Enter press a button that has the focus. For check boxes: Space belongs to the scan.
class ReturnPresses : public QObject
{
    Q_OBJECT

public:
    static void addTo(QAbstractButton *button);

    // True when the event was such a key, and the button has been pressed.
    static bool press(QObject *button, QEvent *event);

    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    ReturnPresses() = default;
};
