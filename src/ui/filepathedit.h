#pragma once

#include <QLineEdit>

// A path field onto which a file can be dropped: the dropped file's URL replaces the whole text,
// where a plain line edit would insert it into what stands there.
class FilePathEdit : public QLineEdit
{
    Q_OBJECT

public:
    using QLineEdit::QLineEdit;

protected:
    void dropEvent(QDropEvent *event) override;
};
