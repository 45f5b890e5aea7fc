#pragma once

#include <QLineEdit>

// A path field onto which a file can be dropped: the dropped file's URL replaces the whole text, where
// a plain line edit would insert it into what stands there, and would not even take it from a file
// manager that offers a list of URLs and no text beside it.
class FilePathEdit : public QLineEdit
{
    Q_OBJECT

public:
    using QLineEdit::QLineEdit;

protected:
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dragMoveEvent(QDragMoveEvent *event) override;
    void dropEvent(QDropEvent *event) override;

private:
    bool takesUrls(const QDropEvent *event) const;
};
