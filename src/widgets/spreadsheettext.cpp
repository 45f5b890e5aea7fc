#include "spreadsheettext.h"

namespace {

constexpr QChar columnEnd = QLatin1Char('\t');
constexpr QChar rowEnd = QLatin1Char('\n');
constexpr QChar carriageReturn = QLatin1Char('\r');

QStringList cellsFromLine(const QString &line)
{
    QStringList cells = line.split(columnEnd);
    for (QString &cell : cells) {
        cell = cell.trimmed();
    }
    return cells;
}

} // namespace

QVector<QStringList> cellsFromText(const QString &text, int mostRows)
{
    QString lines = text;
    lines.replace(QLatin1String("\r\n"), QLatin1String("\n")).replace(carriageReturn, rowEnd);
    QVector<QStringList> rows;
    int start = 0;
    while (start < lines.size() && rows.size() < mostRows) {
        const int found = lines.indexOf(rowEnd, start);
        const int end = found < 0 ? lines.size() : found;
        rows.append(cellsFromLine(lines.mid(start, end - start)));
        start = end + 1;
    }
    return rows;
}

QString textFromCells(const QVector<QStringList> &rows)
{
    QString text;
    for (const QStringList &row : rows) {
        QStringList cells = row;
        for (QString &cell : cells) {
            cell.replace(columnEnd, QLatin1Char(' '))
                .replace(rowEnd, QLatin1Char(' '))
                .replace(carriageReturn, QLatin1Char(' '));
        }
        text += cells.join(columnEnd) + rowEnd;
    }
    text.chop(1);
    return text;
}

bool isBlockOfCells(const QString &text)
{
    const QVector<QStringList> rows = cellsFromText(text, 2);
    return rows.size() > 1 || (rows.size() == 1 && rows.first().size() > 1);
}
