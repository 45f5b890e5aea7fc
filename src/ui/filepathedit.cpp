#include "filepathedit.h"

#include <QDropEvent>
#include <QMimeData>
#include <QUrl>

void FilePathEdit::dropEvent(QDropEvent *event)
{
    const QList<QUrl> urls = event->mimeData()->urls();
    if (isReadOnly() || !isEnabled() || urls.isEmpty()) {
        QLineEdit::dropEvent(event);
        return;
    }
    setText(urls.first().toString());
    event->acceptProposedAction();
}
