#pragma once

#include <QString>
#include <QStringList>
#include <QVector>

// Cells as spreadsheets exchange them over the clipboard: a line for each row, tabulators between the
// columns.

// The cells without the blanks around them; at most `mostRows` lines. A line break at the end does not
// begin another row.
QVector<QStringList> cellsFromText(const QString &text, int mostRows);

// A tabulator or line break inside a cell becomes a blank.
QString textFromCells(const QVector<QStringList> &rows);

// True for more than one cell.
bool isBlockOfCells(const QString &text);
