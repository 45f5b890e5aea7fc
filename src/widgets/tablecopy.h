#pragma once

#include <QObject>

class QTableView;
class QWidget;

// Copying from one table, as spreadsheets take it: tabulators between the columns, a line for each row.
// Ctrl+C and the context menu's "Copy" take the selected cells, or everything where nothing is selected;
// "Copy table" takes everything with the headers. Hidden rows and columns stay out, and so do the leading
// columns that hold no text but a picture or a box. The table owns this object.
class TableCopy : public QObject
{
    Q_OBJECT

public:
    explicit TableCopy(QTableView *table);

    // For each table inside `parent` that cannot be copied from yet.
    static void addTo(QWidget *parent);

    // Cells in the order that is seen. Empty for no cells.
    QString selectedText() const;
    QString tableText() const;

public slots:
    void onCopy();
    void onCopyTable();

private:
    enum class Headers { Without, With };

    void addAction(const QString &text, void (TableCopy::*slot)(), const QKeySequence &shortcut);
    QString cellText(int row, int column) const;
    QString text(const QList<int> &rows, const QList<int> &columns, Headers headers) const;
    QList<int> shownRows() const;
    QList<int> shownColumns() const;

    QTableView *m_table;
};
