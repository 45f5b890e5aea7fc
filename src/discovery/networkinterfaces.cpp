#include "networkinterfaces.h"

#include "literaltext.h"
#include "tableitems.h"
#include "ui_networkinterfaces.h"

#include <QCheckBox>
#include <QHeaderView>
#include <QStyledItemDelegate>
#include <QTableWidgetItem>

namespace {

enum Column { TickColumn, NameColumn, IpColumn, MaskColumn };

constexpr int tickWidth = 10;
constexpr int nameWidth = 100;
constexpr int ipWidth = 200;

// The tick column is narrower than a tick box, which therefore stands out into the name column.
constexpr int boxWidth = 26;

// Keeps the name out from under the tick box.
class NameDelegate : public QStyledItemDelegate
{
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override
    {
        QStyleOptionViewItem besideBox(option);
        besideBox.rect.setLeft(option.rect.left() + boxWidth - tickWidth);
        QStyledItemDelegate::paint(painter, besideBox, index);
    }
};

void place(QTableWidget *table, int row, Column column, std::unique_ptr<QTableWidgetItem> item)
{
    item->setTextAlignment(Qt::AlignCenter);
    item->setToolTip(literalText(item->text())); // a long name is cut
    tableitems::place(table, row, column, std::move(item));
}

} // namespace

NetworkInterfaces::NetworkInterfaces(QWidget *parent)
    : QDialog(parent), m_ui(std::make_unique<Ui::NetworkInterfaces>())
{
    m_ui->setupUi(this);
    setUpTable();
    connect(m_ui->applyBtn, &QPushButton::released, this, &NetworkInterfaces::onApply);
    connect(m_ui->cancelBtn, &QPushButton::released, this, &NetworkInterfaces::reject);
    fillTable();
}

NetworkInterfaces::~NetworkInterfaces() = default;

void NetworkInterfaces::setInterfaces(const QList<interfaces_t> &interfaces)
{
    m_interfaces = interfaces;
    fillTable();
}

void NetworkInterfaces::refresh()
{
    setInterfaces(localInterfaces(m_interfaces));
}

QList<interfaces_t> NetworkInterfaces::current()
{
    refresh();
    return m_interfaces;
}

void NetworkInterfaces::fillTable()
{
    m_ui->tableNetworks->setRowCount(m_interfaces.size());
    for (int row = 0; row < m_interfaces.size(); ++row) {
        addRow(row, m_interfaces.at(row));
    }
    m_ui->labelNoNetwork->setVisible(m_interfaces.isEmpty());
}

void NetworkInterfaces::reject()
{
    emit signalClose();
}

void NetworkInterfaces::onApply()
{
    for (int row = 0; row < m_interfaces.size(); ++row) {
        m_interfaces[row].selected = tickBox(row)->isChecked();
    }
    emit signalUpdateNetworkList(m_interfaces);
}

void NetworkInterfaces::setUpTable()
{
    QTableWidget *table = m_ui->tableNetworks;
    table->horizontalHeader()->setMinimumSectionSize(tickWidth);
    table->setColumnWidth(TickColumn, tickWidth);
    table->setColumnWidth(NameColumn, nameWidth);
    table->setColumnWidth(IpColumn, ipWidth);
    table->horizontalHeader()->setSectionResizeMode(TickColumn, QHeaderView::Fixed);
    table->setItemDelegateForColumn(NameColumn, new NameDelegate(table));
    // The boxes are small: a click anywhere in a row ticks it.
    connect(table, &QTableWidget::cellClicked, this, [this](int row) { tickBox(row)->toggle(); });
}

void NetworkInterfaces::addRow(int row, const interfaces_t &interface)
{
    auto box = std::make_unique<QCheckBox>();
    box->setChecked(interface.selected);
    box->setMinimumWidth(boxWidth);
    box->setAccessibleName(interface.name + QLatin1Char(' ') + interface.ip);
    QTableWidget *table = m_ui->tableNetworks;
    table->setCellWidget(row, TickColumn, box.release());
    place(table, row, NameColumn, tableitems::text(interface.name));
    place(table, row, IpColumn, tableitems::number(interface.ip));
    place(table, row, MaskColumn, tableitems::number(interface.netmask));
}

QCheckBox *NetworkInterfaces::tickBox(int row) const
{
    return qobject_cast<QCheckBox *>(m_ui->tableNetworks->cellWidget(row, TickColumn));
}
