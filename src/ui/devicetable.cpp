#include "devicetable.h"

#include "devicecatalogue.h"
#include "devicetables.h"
#include "instrumentrules.h"
#include "iptablewidgetitem.h"
#include "returnpresses.h"
#include "tableitems.h"
#include "tabularfont.h"

#include <QCheckBox>
#include <QFile>
#include <QHeaderView>
#include <QPainter>
#include <QStyledItemDelegate>

#include <algorithm>
#include <utility>

namespace {

constexpr int selectionWidth = 80;
constexpr int iconWidth = 96;
constexpr int pictureSize = 90;
constexpr int deviceRowHeight = 96;

// Rows are chosen, not cells: the selected row shows where the keyboard is, and a mark around one of its
// cells would mean nothing. An address that does not fit keeps its end, which tells instruments apart.
class RowDelegate : public QStyledItemDelegate
{
public:
    using QStyledItemDelegate::QStyledItemDelegate;

protected:
    void initStyleOption(QStyleOptionViewItem *option, const QModelIndex &index) const override
    {
        QStyledItemDelegate::initStyleOption(option, index);
        option->state.setFlag(QStyle::State_HasFocus, false);
        if (index.column() == DeviceTable::IpColumn) {
            option->textElideMode = Qt::ElideLeft;
        }
    }
};

// On a dense screen the picture at twice the size, where there is one.
QPixmap loadPicture(const QString &path, qreal ratio)
{
    QString dense = path;
    dense.insert(dense.lastIndexOf(QLatin1Char('.')), QLatin1String("@2x"));
    QPixmap pixmap(ratio > 1 && QFile::exists(dense) ? dense : path);
    pixmap.setDevicePixelRatio(1);
    return pixmap;
}

} // namespace

DeviceTable::DeviceTable(QWidget *parent) : QTableWidget(parent), m_numberFont(tabularFont())
{
    setItemDelegate(new RowDelegate(this));
    setEditTriggers(NoEditTriggers);
    setSelectionBehavior(SelectRows);
    setSelectionMode(SingleSelection);
    setDropIndicatorShown(false);
    setAlternatingRowColors(true);
    setWordWrap(false);
    setIconSize({pictureSize, pictureSize});
    setVerticalScrollMode(ScrollPerPixel);
    verticalHeader()->hide();
    verticalHeader()->setDefaultSectionSize(deviceRowHeight);
    verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    horizontalHeader()->setSortIndicatorShown(true);
    horizontalHeader()->setHighlightSections(false);
    horizontalHeader()->setTextElideMode(Qt::ElideRight);
}

void DeviceTable::prepareColumns()
{
    QHeaderView *header = horizontalHeader();
    header->setSectionResizeMode(SelectionColumn, QHeaderView::Fixed);
    setColumnWidth(SelectionColumn, selectionWidth);
    header->setSectionResizeMode(IconColumn, QHeaderView::Fixed);
    setColumnWidth(IconColumn, iconWidth);
    for (const Column column : {GroupColumn, ModuleIdColumn, IpColumn}) {
        header->setSectionResizeMode(column, QHeaderView::Stretch);
    }
    hideColumn(SelectionColumn);
}

void DeviceTable::fill(const QList<Device_t> &devices)
{
    setSortingEnabled(false);
    horizontalHeader()->setSortIndicator(-1, Qt::AscendingOrder);
    setUpdatesEnabled(false);
    setRowCount(0);
    // All rows at once: appending them one by one moves every cell widget's index each time.
    setRowCount(devices.size());
    for (int row = 0; row < devices.size(); ++row) {
        fillRow(row, devices.at(row));
    }
    setUpdatesEnabled(true);
    setSortingEnabled(true);
}

void DeviceTable::fillRow(int row, const Device_t &device)
{
    for (int column = SelectionColumn; column <= FirmwareColumn; ++column) {
        addItem(row, static_cast<Column>(column),
                column == IpColumn ? std::make_unique<IpTableWidgetItem>(QString()) : tableitems::text());
    }
    addSelectionBox(row, device);
    writeRow(row, device);
}

void DeviceTable::writeRow(int row, const Device_t &device)
{
    item(row, IconColumn)->setIcon(picture(device));
    item(row, IconColumn)->setData(Qt::AccessibleTextRole, device[Family]); // for those who do not see it
    item(row, GroupColumn)->setText(device[Family]);
    item(row, ModuleIdColumn)->setText(device[Id]);
    item(row, IpColumn)->setText(device[Ip]);
    item(row, FirmwareColumn)->setText(device[Fw]);
}

// The row goes to its place when the sorting is switched on again.
void DeviceTable::addDevice(const Device_t &device)
{
    setSortingEnabled(false);
    const int row = rowCount(); // the device index too: rows are never taken away one by one
    setRowCount(row + 1);
    fillRow(row, device);
    setSortingEnabled(true);
}

void DeviceTable::updateDevice(int index, const Device_t &device)
{
    int row = 0;
    while (row < rowCount() && deviceIndex(row) != index) {
        ++row;
    }
    if (row == rowCount()) {
        return;
    }
    setSortingEnabled(false);
    writeRow(row, device);
    setSortingEnabled(true);
}

void DeviceTable::addItem(int row, Column column, std::unique_ptr<QTableWidgetItem> item)
{
    item->setData(Qt::UserRole, row); // rows go in in list order: the row is the device index
    item->setTextAlignment(Qt::AlignCenter);
    if (column == IpColumn || column == FirmwareColumn) {
        item->setFont(m_numberFont);
    }
    tableitems::place(this, row, column, std::move(item));
}

void DeviceTable::addSelectionBox(int row, const Device_t &device)
{
    auto box = std::make_unique<QCheckBox>();
    box->setStyleSheet(QStringLiteral("padding-left: 33px;"));
    box->setProperty("deviceIndex", row);
    box->setAccessibleName(tr("Select for update"));
    box->setEnabled(instrumentrules::isSelectable(device[Code]));
    connect(box.get(), &QCheckBox::stateChanged, this, &DeviceTable::signalSelectionToggled);
    ReturnPresses::addTo(box.get());
    setCellWidget(row, SelectionColumn, box.release());
}

QIcon DeviceTable::picture(const Device_t &device)
{
    const QString path = devicecatalogue::deviceIconPath(device[Code], device[Brand]);
    const auto known = m_pictures.constFind(path);
    if (known != m_pictures.constEnd()) {
        return *known;
    }
    const qreal ratio = devicePixelRatioF();
    QPixmap pixmap = loadPicture(path, ratio);
    QIcon icon;
    if (!pixmap.isNull()) {
        pixmap = pixmap.scaled(QSize(pictureSize, pictureSize) * ratio, Qt::KeepAspectRatio,
                               Qt::SmoothTransformation);
        pixmap.setDevicePixelRatio(ratio);
        icon.addPixmap(pixmap);
        icon.addPixmap(pixmap, QIcon::Selected); // else a selected row tints it
    }
    m_pictures.insert(path, icon);
    return icon;
}

int DeviceTable::deviceIndex(int row, Column column) const
{
    const QTableWidgetItem *cell = item(row, column);
    return cell ? cell->data(Qt::UserRole).toInt() : -1;
}

int DeviceTable::currentDeviceIndex() const
{
    const QTableWidgetItem *cell = currentItem();
    return cell ? cell->data(Qt::UserRole).toInt() : -1;
}

QCheckBox *DeviceTable::selectionBox(int row) const
{
    return qobject_cast<QCheckBox *>(cellWidget(row, SelectionColumn));
}

int DeviceTable::indexOfSelectionBox(const QObject *box) const
{
    for (int row = 0; row < rowCount(); ++row) {
        if (box && selectionBox(row) == box) {
            return deviceIndex(row);
        }
    }
    return -1;
}

void DeviceTable::readSelection(QList<bool> *selected) const
{
    for (int row = 0; row < rowCount(); ++row) {
        const int index = deviceIndex(row, GroupColumn);
        if (selectionBox(row) && index >= 0 && index < selected->size()) {
            (*selected)[index] = selectionBox(row)->isChecked();
        }
    }
}

QString DeviceTable::codeOfRow(const QList<Device_t> &devices, int row) const
{
    const int index = deviceIndex(row);
    return index >= 0 && index < devices.size() ? devices.at(index)[Code] : QString();
}

// The code of the first ticked row, in the order in which the rows stand now.
QString DeviceTable::chosenCode(const QList<Device_t> &devices) const
{
    for (int row = 0; row < rowCount(); ++row) {
        if (selectionBox(row) && selectionBox(row)->isChecked()) {
            return codeOfRow(devices, row);
        }
    }
    return {};
}

void DeviceTable::updateSelectableDevices(const QList<Device_t> &devices)
{
    const QString chosen = chosenCode(devices);
    for (int row = 0; row < rowCount(); ++row) {
        QCheckBox *box = selectionBox(row);
        if (!box) {
            continue;
        }
        const QString code = codeOfRow(devices, row);
        if (chosen.isEmpty()) {
            box->setEnabled(instrumentrules::isSelectable(code));
        } else if (instrumentrules::isUpdatedAlone(chosen)
                       ? !box->isChecked()
                       : !instrumentrules::mayUpdateTogether(code, chosen)) {
            box->setEnabled(false);
        }
    }
}

void DeviceTable::untickAll()
{
    for (int row = 0; row < rowCount(); ++row) {
        if (QCheckBox *box = selectionBox(row)) {
            box->setChecked(false);
        }
    }
}

int DeviceTable::familyOfCode(const QString &code)
{
    const int digit = code.isEmpty() ? -1 : code.at(0).digitValue();
    if (digit < 0) {
        return -1;
    }
    return digit == 4 ? 0 : digit - 1; // motor drivers, which begin with 4, are power supplies
}

void DeviceTable::showFamily(const QList<Device_t> &devices, int family)
{
    for (int row = 0; row < rowCount(); ++row) {
        const int index = deviceIndex(row);
        if (index >= 0 && index < devices.size()) {
            const int own = familyOfCode(devices.at(index)[Code]);
            setRowHidden(row, own < 0 || own != family);
        }
    }
    // Nobody means an instrument that is out of sight, so the pages must not go on showing it.
    if (currentRow() >= 0 && isRowHidden(currentRow())) {
        setCurrentItem(nullptr);
    }
}

// Makes rows visible again, but only as many as the table has columns: a row from the seventh on that
// the filter hid stays hidden until the next scan fills the table anew.
void DeviceTable::showFirstRows()
{
    for (int row = 0; row < std::min(columnCount(), rowCount()); ++row) {
        showRow(row);
    }
}

void DeviceTable::setEmptyText(const QString &text)
{
    m_emptyText = text;
    viewport()->update();
}

void DeviceTable::paintEvent(QPaintEvent *event)
{
    QTableWidget::paintEvent(event);
    if (rowCount() == 0) {
        QPainter painter(viewport());
        painter.setPen(palette().color(QPalette::Disabled, QPalette::Text));
        painter.drawText(viewport()->rect(), Qt::AlignCenter, m_emptyText);
    }
}
