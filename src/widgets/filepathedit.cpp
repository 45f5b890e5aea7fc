#include "filepathedit.h"

#include <QDragEnterEvent>
#include <QMimeData>
#include <QUrl>

bool FilePathEdit::takesUrls(const QDropEvent *event) const
{
    return !isReadOnly() && isEnabled() && event->mimeData()->hasUrls();
}

void FilePathEdit::dragEnterEvent(QDragEnterEvent *event)
{
    if (takesUrls(event)) {
        event->acceptProposedAction();
    } else {
        QLineEdit::dragEnterEvent(event);
    }
}

void FilePathEdit::dragMoveEvent(QDragMoveEvent *event)
{
    if (takesUrls(event)) {
        event->acceptProposedAction();
    } else {
        QLineEdit::dragMoveEvent(event);
    }
}

void FilePathEdit::dropEvent(QDropEvent *event)
{
    const QList<QUrl> urls = event->mimeData()->urls();
    if (!takesUrls(event) || urls.isEmpty()) {
        QLineEdit::dropEvent(event);
        return;
    }
    setText(urls.first().toString());
    event->acceptProposedAction();
}
