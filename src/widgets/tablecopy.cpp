#include "tablecopy.h"

#include "spreadsheettext.h"

#include <QAction>
#include <QCheckBox>
#include <QClipboard>
#include <QGuiApplication>
#include <QHeaderView>
#include <QTableView>

#include <algorithm>
#include <set>

TableCopy::TableCopy(QTableView *table) : QObject(table), m_table(table)
{
    addAction(tr("Copy"), &TableCopy::onCopy, QKeySequence::Copy);
    addAction(tr("Copy table"), &TableCopy::onCopyTable, {});
    table->setContextMenuPolicy(Qt::ActionsContextMenu);
}

void TableCopy::addTo(QWidget *parent)
{
    const QList<QTableView *> tables = parent->findChildren<QTableView *>();
    for (QTableView *table : tables) {
        if (table->actions().isEmpty()) {
            new TableCopy(table);
        }
    }
}

void TableCopy::addAction(const QString &text, void (TableCopy::*slot)(), const QKeySequence &shortcut)
{
    auto *action = new QAction(text, m_table);
    action->setShortcut(shortcut);
    // The boxes in the cells may have the focus. A cell's open editor copies for itself.
    action->setShortcutContext(Qt::WidgetWithChildrenShortcut);
    connect(action, &QAction::triggered, this, slot);
    m_table->addAction(action);
}

QString TableCopy::selectedText() const
{
    std::set<int> rows;
    std::set<int> columns;
    const QModelIndexList cells = m_table->selectionModel()->selectedIndexes();
    for (const QModelIndex &cell : cells) {
        rows.insert(cell.row());
        columns.insert(cell.column());
    }
    QList<int> chosenRows;
    QList<int> chosenColumns;
    for (const int row : shownRows()) {
        if (cells.isEmpty() || rows.count(row) > 0) {
            chosenRows.append(row);
        }
    }
    for (const int column : shownColumns()) {
        if (cells.isEmpty() || columns.count(column) > 0) {
            chosenColumns.append(column);
        }
    }
    return text(chosenRows, chosenColumns, Headers::Without);
}

QString TableCopy::tableText() const
{
    return text(shownRows(), shownColumns(), Headers::With);
}

void TableCopy::onCopy()
{
    QGuiApplication::clipboard()->setText(selectedText());
}

void TableCopy::onCopyTable()
{
    QGuiApplication::clipboard()->setText(tableText());
}

QString TableCopy::cellText(int row, int column) const
{
    const QModelIndex cell = m_table->model()->index(row, column);
    const auto *box = qobject_cast<QCheckBox *>(m_table->indexWidget(cell));
    if (box && box->text().isEmpty() && !cell.data().toString().isEmpty()) {
        return box->isChecked() ? tr("ON") : tr("OFF");
    }
    return box && !box->text().isEmpty() ? box->text() : cell.data().toString();
}

QString TableCopy::text(const QList<int> &rows, const QList<int> &columns, Headers headers) const
{
    const auto hasText = [this, &rows](int column) {
        return std::any_of(rows.begin(), rows.end(),
                           [this, column](int row) { return !cellText(row, column).isEmpty(); });
    };
    const auto first = std::find_if(columns.begin(), columns.end(), hasText);
    QVector<QStringList> lines;
    if (headers == Headers::With && first != columns.end()) {
        lines.append(QStringList());
        std::for_each(first, columns.end(), [this, &lines](int column) {
            lines.last().append(m_table->model()->headerData(column, Qt::Horizontal).toString());
        });
    }
    for (const int row : rows) {
        QStringList line;
        std::for_each(first, columns.end(),
                      [this, row, &line](int column) { line.append(cellText(row, column)); });
        lines.append(line);
    }
    return first == columns.end() ? QString() : textFromCells(lines);
}

QList<int> TableCopy::shownRows() const
{
    QList<int> rows;
    for (int row = 0; row < m_table->model()->rowCount(); ++row) {
        if (!m_table->isRowHidden(row)) {
            rows.append(row);
        }
    }
    return rows;
}

QList<int> TableCopy::shownColumns() const
{
    QList<int> columns;
    const QHeaderView *header = m_table->horizontalHeader();
    for (int position = 0; position < header->count(); ++position) {
        const int column = header->logicalIndex(position);
        if (!m_table->isColumnHidden(column)) {
            columns.append(column);
        }
    }
    return columns;
}
