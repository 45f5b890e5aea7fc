#pragma once

#include <QSortFilterProxyModel>
#include <QTableView>

class NetworkSettingsModel;
struct CellEdit;

// The table of the dialog for many instruments, handled as a spreadsheet: sorted by its headers, copied
// and pasted as blocks of cells in the order that is seen, edited by typing. Rows stay where they are
// while their cells change; only a header or the find text puts them in order again.
class NetworkSettingsView : public QTableView
{
    Q_OBJECT

public:
    explicit NetworkSettingsView(QWidget *parent = nullptr);

    // Keeps a pointer to the model.
    void showModel(NetworkSettingsModel *model);

    // Shows only the rows that hold the text in any column, whatever its case; all rows for no text.
    void find(const QString &text);

    // Makes a cell of the model the current one and scrolls to it. A row that is not shown stays so.
    void goTo(const QModelIndex &modelCell);

    int shownRowCount() const { return m_order.rowCount(); }

public slots:
    void onCopy();    // the selected cells
    void onPaste();   // from the current cell on; one copied cell goes into all selected ones
    void onRestore(); // the selected cells get the text that their instruments report

signals:
    // What came of a paste, for the dialog's status line.
    void signalMessage(const QString &message);

protected:
    void keyPressEvent(QKeyEvent *event) override;

private:
    void onGoDown();
    void addShortcut(const QString &text, QKeySequence::StandardKey key, void (NetworkSettingsView::*slot)());
    void fitColumns();
    void paste(const QVector<QStringList> &cells);
    void fillSelection(const QString &text);
    void appendEdit(QVector<CellEdit> &edits, const CellEdit &edit) const;
    bool namesOtherInstrument(const QVector<QStringList> &cells, QString *message) const;
    int modelRow(int shownRow) const;

    NetworkSettingsModel *m_model = nullptr;
    QSortFilterProxyModel m_order;
};
