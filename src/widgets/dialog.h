#pragma once

#include <QDialog>

#include <memory>

namespace Ui {
class Dialog;
}

// A read-only viewer of one plain text; the Help menu opens one for each use. Nothing in the text is
// taken for markup: the change log, a Markdown file, is shown as it is written.
class Dialog : public QDialog
{
    Q_OBJECT

public:
    explicit Dialog(QWidget *parent = nullptr);
    ~Dialog() override;

    void setText(const QString &text);

private:
    std::unique_ptr<Ui::Dialog> m_ui;
};
