#include "closequestion.h"

#include "session.h"

#include <QMessageBox>
#include <QPushButton>

CloseQuestion::Answer CloseQuestion::ask(Session &session, QWidget *window)
{
    const Refusal refusal = m_box ? Refusal::Closing : session.close();
    if (refusal != Refusal::Updating) {
        return refusal == Refusal::None ? Answer::Close : Answer::Stay;
    }
    const Session::Hold hold(session);
    return isUserSure(window) ? Answer::StopUpdateAndClose : Answer::Stay;
}

bool CloseQuestion::isUserSure(QWidget *window)
{
    QMessageBox box(
        QMessageBox::Warning, window->windowTitle(),
        QStringLiteral("An update is running. Closing now can leave the instrument without firmware."),
        QMessageBox::NoButton, window);
    QPushButton *keep = box.addButton(QStringLiteral("Keep running"), QMessageBox::RejectRole);
    const QPushButton *closeAnyway =
        box.addButton(QStringLiteral("Close anyway"), QMessageBox::DestructiveRole);
    box.setDefaultButton(keep);
    m_box = &box;
    box.exec();
    m_box.clear();
    return box.clickedButton() == closeAnyway;
}

void CloseQuestion::dismiss()
{
    if (m_box) {
        m_box->reject();
    }
}
