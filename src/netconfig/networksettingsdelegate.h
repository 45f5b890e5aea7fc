#pragma once

#include <QStyledItemDelegate>

// Draws and edits the address cells of NetworkSettingsView, its owner. What is typed goes into the model
// with every keystroke, so that marks and counts follow it; Escape gives the cell its text back.
class NetworkSettingsDelegate : public QStyledItemDelegate
{
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter *painter, const QStyleOptionViewItem &option,
               const QModelIndex &index) const override;
    QWidget *createEditor(QWidget *parent, const QStyleOptionViewItem &option,
                          const QModelIndex &index) const override;
    void setEditorData(QWidget *editor, const QModelIndex &index) const override;

signals:
    // Several cells are being pasted into the editor of one, which was closed for it.
    void signalPasteCells();

    // The editor was closed by Return, which goes one row down, as in a spreadsheet.
    void signalReturnPressed();

protected:
    void initStyleOption(QStyleOptionViewItem *option, const QModelIndex &index) const override;
    bool eventFilter(QObject *editor, QEvent *event) override;

private slots:
    void onTextEdited();
};
