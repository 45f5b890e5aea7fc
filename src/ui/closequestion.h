#pragma once

#include <QPointer>

class QMessageBox;
class QWidget;
class Session;

// Whether the program may be closed now; asks the user when an update runs. Owned by the window; one question
// at a time, which goes by itself when the update has ended.
class CloseQuestion
{
public:
    enum class Answer { Stay, Close, StopUpdateAndClose };

    // Blocks while the user is asked. Stay also while that goes on already, or the program is being closed.
    Answer ask(Session &session, QWidget *window);
    void dismiss();

private:
    bool isUserSure(QWidget *window);

    QPointer<QMessageBox> m_box;
};
