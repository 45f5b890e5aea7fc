#include "networksettingsview.h"

#include "macaddress.h"
#include "networksettingsdelegate.h"
#include "networksettingsmodel.h"
#include "spreadsheettext.h"
#include "tabularfont.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QHeaderView>
#include <QKeyEvent>

#include <algorithm>

using namespace networkrow; // this file is about its columns

namespace {

constexpr int rowPadding = 19;    // pixels above and below a cell's text, together
constexpr int columnPadding = 20; // pixels beside it

// What the columns behind the first have room for, changed cells being bold; the first takes the rest.
const char *const widestTexts[rowLength] = {
    "", "00Y00W0000000", "DD:DD:DD:DD:DD:DD", "255.255.255.255", "255.255.255.255", "255.255.255.255"};

QString pasteMessage(int rows, bool linesLeft)
{
    if (rows == 0) {
        return NetworkSettingsView::tr("Nothing pasted: these cells cannot be changed.");
    }
    const QString where =
        rows == 1 ? NetworkSettingsView::tr("1 row") : NetworkSettingsView::tr("%1 rows").arg(rows);
    return (linesLeft ? NetworkSettingsView::tr("Pasted into %1; the lines behind have no row here.")
                      : NetworkSettingsView::tr("Pasted into %1."))
        .arg(where);
}

// However the two MAC addresses are written. Other texts name an instrument only by being the same.
bool nameTheSame(const QString &pasted, const QString &shown)
{
    const QByteArray mac = macBytes(pasted);
    return mac.isEmpty() ? pasted.compare(shown, Qt::CaseInsensitive) == 0 : mac == macBytes(shown);
}

} // namespace

NetworkSettingsView::NetworkSettingsView(QWidget *parent) : QTableView(parent)
{
    auto *delegate = new NetworkSettingsDelegate(this);
    setItemDelegate(delegate);
    connect(delegate, &NetworkSettingsDelegate::signalPasteCells, this, &NetworkSettingsView::onPaste);
    connect(delegate, &NetworkSettingsDelegate::signalReturnPressed, this, &NetworkSettingsView::onGoDown);

    setSelectionMode(ExtendedSelection);
    setEditTriggers(DoubleClicked | EditKeyPressed | AnyKeyPressed);
    setWordWrap(false);
    setTabKeyNavigation(false); // Tab leads on to the buttons
    verticalHeader()->hide();
    horizontalHeader()->setHighlightSections(false);

    // A row that jumped away while it is typed into, or between two pasted lines, would get a
    // neighbour's address.
    m_order.setDynamicSortFilter(false);
    m_order.setSortRole(NetworkSettingsModel::SortRole);
    m_order.setFilterKeyColumn(-1);
    m_order.setFilterCaseSensitivity(Qt::CaseInsensitive);

    addShortcut(tr("Copy"), QKeySequence::Copy, &NetworkSettingsView::onCopy);
    addShortcut(tr("Paste"), QKeySequence::Paste, &NetworkSettingsView::onPaste);
    addShortcut(tr("Restore reported value"), QKeySequence::Delete, &NetworkSettingsView::onRestore);
    setContextMenuPolicy(Qt::ActionsContextMenu);
}

void NetworkSettingsView::addShortcut(const QString &text, QKeySequence::StandardKey key,
                                      void (NetworkSettingsView::*slot)())
{
    auto *action = new QAction(text, this);
    action->setShortcut(key);
    action->setShortcutContext(Qt::WidgetShortcut); // not while an editor is open: it has its own
    connect(action, &QAction::triggered, this, slot);
    addAction(action);
}

void NetworkSettingsView::showModel(NetworkSettingsModel *model)
{
    m_model = model;
    m_order.setSourceModel(model);
    setModel(&m_order);
    horizontalHeader()->setSortIndicator(-1, Qt::AscendingOrder); // as the instruments are listed
    setSortingEnabled(true);

    ensurePolished();
    verticalHeader()->setDefaultSectionSize(fontMetrics().height() + rowPadding);
    fitColumns();
    setCurrentIndex(m_order.index(0, IpColumn));
}

// By what a column usually holds and not by what this one does: an instrument that reports a serial
// number of a thousand characters must not push the addresses out of the window.
void NetworkSettingsView::fitColumns()
{
    QFont bold = tabularFont().resolve(font());
    bold.setBold(true);
    const QFontMetrics metrics(bold);
    horizontalHeader()->setSectionResizeMode(FamilyColumn, QHeaderView::Stretch);
    for (int column = SerialNumberColumn; column < rowLength; ++column) {
        const int widest = metrics.horizontalAdvance(QLatin1String(widestTexts[column])) + columnPadding;
        setColumnWidth(column, std::max(widest, horizontalHeader()->sectionSizeHint(column)));
    }
}

void NetworkSettingsView::find(const QString &text)
{
    m_order.setFilterFixedString(text);
    // Rows that came back were put in at their place in the instrument list.
    m_order.sort(horizontalHeader()->sortIndicatorSection(), horizontalHeader()->sortIndicatorOrder());
}

void NetworkSettingsView::goTo(const QModelIndex &modelCell)
{
    const QModelIndex cell = m_order.mapFromSource(modelCell);
    setCurrentIndex(cell);
    scrollTo(cell);
    setFocus();
}

void NetworkSettingsView::onCopy()
{
    QModelIndexList cells = selectionModel()->selectedIndexes();
    std::sort(cells.begin(), cells.end());
    std::set<int> columns;
    for (const QModelIndex &cell : qAsConst(cells)) {
        columns.insert(cell.column());
    }
    QVector<QStringList> rows;
    int row = -1;
    for (const QModelIndex &cell : qAsConst(cells)) {
        if (cell.row() != row) {
            row = cell.row();
            rows.append(QStringList());
            while (rows.last().size() < static_cast<int>(columns.size())) {
                rows.last().append(QString());
            }
        }
        const auto before = std::distance(columns.begin(), columns.find(cell.column()));
        rows.last()[static_cast<int>(before)] = cell.data().toString();
    }
    if (!rows.isEmpty()) {
        QApplication::clipboard()->setText(textFromCells(rows));
    }
}

void NetworkSettingsView::onPaste()
{
    const QString text = QApplication::clipboard()->text();
    const int rowsBelow = m_order.rowCount() - currentIndex().row();
    // One more than there is room for, to know whether something was left out.
    const QVector<QStringList> cells = cellsFromText(text, rowsBelow + 1);
    if (cells.isEmpty() || !currentIndex().isValid()) {
        return;
    }
    if (!isBlockOfCells(text)) {
        fillSelection(cells.first().first());
    } else {
        paste(cells);
    }
}

void NetworkSettingsView::paste(const QVector<QStringList> &cells)
{
    const QModelIndex start = currentIndex();
    QString message;
    if (namesOtherInstrument(cells, &message)) {
        emit signalMessage(message);
        return;
    }
    QVector<CellEdit> edits;
    const int rowCount = std::min(cells.size(), m_order.rowCount() - start.row());
    int rowsEdited = 0;
    for (int i = 0; i < rowCount; ++i) {
        const int editsBefore = edits.size();
        for (int j = 0; j < cells.at(i).size(); ++j) {
            appendEdit(edits, {modelRow(start.row() + i), start.column() + j, cells.at(i).at(j)});
        }
        rowsEdited += edits.size() > editsBefore ? 1 : 0;
    }
    m_model->setCells(edits);
    emit signalMessage(pasteMessage(rowsEdited, rowCount < cells.size()));
}

void NetworkSettingsView::fillSelection(const QString &text)
{
    QVector<CellEdit> edits;
    const QModelIndexList cells = selectionModel()->selectedIndexes();
    for (const QModelIndex &cell : cells) {
        appendEdit(edits, {modelRow(cell.row()), cell.column(), text});
    }
    m_model->setCells(edits);
    emit signalMessage(edits.isEmpty() ? pasteMessage(0, false) : tr("Pasted into the selected cells."));
}

// Only an edit of a cell that can be changed, so that the user is told how far a paste went.
void NetworkSettingsView::appendEdit(QVector<CellEdit> &edits, const CellEdit &edit) const
{
    if (m_model->isEditable(edit.row, edit.column)) {
        edits.append(edit);
    }
}

// Pasted lines bring their MAC addresses along when they cover that column. Where one is not that of the
// row it falls on, the orders differ, and every address would go to a wrong instrument.
bool NetworkSettingsView::namesOtherInstrument(const QVector<QStringList> &cells, QString *message) const
{
    const QModelIndex start = currentIndex();
    const int macPosition = MacColumn - start.column();
    for (int i = 0; macPosition >= 0 && i < cells.size() && start.row() + i < m_order.rowCount(); ++i) {
        const QString pasted = cells.at(i).value(macPosition);
        const QString shown = m_order.index(start.row() + i, MacColumn).data().toString().trimmed();
        if (cells.at(i).size() > macPosition && !nameTheSame(pasted, shown)) {
            *message = tr("Nothing pasted: line %1 is for another instrument (%2, not %3).")
                           .arg(i + 1)
                           .arg(pasted.left(17), shown.left(17));
            return true;
        }
    }
    return false;
}

void NetworkSettingsView::onRestore()
{
    QVector<CellEdit> edits;
    const QModelIndexList cells = selectionModel()->selectedIndexes();
    for (const QModelIndex &cell : cells) {
        edits.append(
            {modelRow(cell.row()), cell.column(), cell.data(NetworkSettingsModel::ReportedRole).toString()});
    }
    m_model->setCells(edits);
}

void NetworkSettingsView::keyPressEvent(QKeyEvent *event)
{
    const bool enter = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (enter && state() != EditingState && currentIndex().flags().testFlag(Qt::ItemIsEditable)) {
        edit(currentIndex());
        return;
    }
    QTableView::keyPressEvent(event);
}

void NetworkSettingsView::onGoDown()
{
    if (currentIndex().row() + 1 < m_order.rowCount()) {
        setCurrentIndex(currentIndex().siblingAtRow(currentIndex().row() + 1));
    }
}

int NetworkSettingsView::modelRow(int shownRow) const
{
    return m_order.mapToSource(m_order.index(shownRow, 0)).row();
}
