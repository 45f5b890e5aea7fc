#include "configurationpage.h"

#include "elidedtooltips.h"
#include "instrumentrules.h"
#include "ipv4address.h"
#include "markedcelldelegate.h"
#include "returnpresses.h"
#include "styleproperty.h"
#include "tableitems.h"
#include "tabularfont.h"
#include "ui_configurationpage.h"

#include <QCheckBox>
#include <QCoreApplication>
#include <QHeaderView>
#include <QSignalBlocker>

#include <algorithm>
#include <array>
#include <utility>

namespace {

constexpr int ipRow = 0;
constexpr int netmaskRow = 1;
constexpr int gatewayRow = 2;
constexpr int dhcpRow = 3;
constexpr int parameterColumn = 0;
constexpr int valueColumn = 1;
constexpr int parameterWidth = 170;

struct Parameter
{
    const char *caption;
    DeviceField field;
};

constexpr std::array<Parameter, 4> parameters{{
    {"New IP Address:", Ip},
    {"New Subnet Mask:", Netmask},
    {"New Gateway:", Gateway},
    {"DHCP:", Dhcp},
}};

const QColor lockedColour(128, 128, 128);
const QColor editableColour(0, 0, 0);

} // namespace

ConfigurationPage::ConfigurationPage(QWidget *parent)
    : QWidget(parent), m_ui(std::make_unique<Ui::ConfigurationPage>())
{
    m_ui->setupUi(this);
    setAttribute(
        Qt::WA_StyledBackground); // else a widget of our own class takes no ground from the style sheet
    m_ui->tableDeviceConfig->horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    m_ui->tableDeviceConfig->horizontalHeader()->setTextElideMode(Qt::ElideRight);
    m_ui->tableDeviceConfig->setColumnWidth(parameterColumn, parameterWidth);
    m_ui->tableDeviceConfig->setItemDelegateForColumn(valueColumn,
                                                      new MarkedCellDelegate(m_ui->tableDeviceConfig));
    new ElidedTooltips(m_ui->tableDeviceConfig);
    connect(m_ui->saveConfBtn, &QPushButton::released, this, [this] {
        m_ui->saveConfBtn->setFocus(); // takes over a value that is still being typed, also after Alt+S
        emit signalSaveRequested();
    });
    connect(m_ui->tableDeviceConfig, &QTableWidget::itemChanged, this,
            &ConfigurationPage::checkTypedAddresses);
    resetConfigurationTable();
}

ConfigurationPage::~ConfigurationPage() = default;

// With a large text the captions are wider than their column usually is. Later the width is the user's.
void ConfigurationPage::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    if (m_fitted) {
        return;
    }
    m_fitted = true;
    const int before = m_ui->tableDeviceConfig->columnWidth(parameterColumn);
    m_ui->tableDeviceConfig->resizeColumnToContents(parameterColumn);
    const int needed = m_ui->tableDeviceConfig->columnWidth(parameterColumn);
    m_ui->tableDeviceConfig->setColumnWidth(parameterColumn, std::max(before, needed));
}

void ConfigurationPage::resetConfigurationTable()
{
    m_shown.reset();
    {
        const QSignalBlocker blocker(m_ui->tableDeviceConfig);
        m_ui->tableDeviceConfig->setRowCount(0);
        m_ui->tableDeviceConfig->setRowCount(static_cast<int>(parameters.size()));
        for (int row = ipRow; row <= dhcpRow; ++row) {
            insertRow(row);
        }
        lockCells();
    }
    sayHint(tr("Select an instrument in the table."), "hint");
    // So that the cleared table is drawn. No clicks: one on another instrument would fill this page
    // from within, and the record shown would no longer be the one selected.
    QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
}

void ConfigurationPage::insertRow(int row)
{
    QTableWidget *table = m_ui->tableDeviceConfig;
    const QString caption = QString::fromLatin1(parameters[static_cast<std::size_t>(row)].caption);
    tableitems::place(table, row, parameterColumn, tableitems::text(caption));
    if (row != dhcpRow) {
        setConfigValue(row, QStringLiteral("unknown"), true);
        return;
    }
    auto blank = tableitems::text(QStringLiteral(" "));
    blank->setFlags(blank->flags() & ~Qt::ItemIsEditable);
    tableitems::place(table, row, valueColumn, std::move(blank));
    auto box = std::make_unique<QCheckBox>(QStringLiteral("N.A."));
    box->setObjectName(QStringLiteral("checkBoxDhcp"));
    box->setAccessibleName(QStringLiteral("DHCP"));
    box->setEnabled(false);
    ReturnPresses::addTo(box.get());
    table->setCellWidget(row, valueColumn, box.release());
}

void ConfigurationPage::lockCells()
{
    for (int row = ipRow; row <= dhcpRow; ++row) {
        for (const int column : {parameterColumn, valueColumn}) {
            QTableWidgetItem *item = m_ui->tableDeviceConfig->item(row, column);
            if (item && (column == parameterColumn || row != dhcpRow)) {
                item->setFlags(item->flags() & ~Qt::ItemIsEditable);
            }
        }
    }
}

void ConfigurationPage::setConfigValue(int row, const QString &text, bool locked)
{
    auto item = tableitems::number(text);
    item->setForeground(locked ? lockedColour : editableColour);
    tableitems::place(m_ui->tableDeviceConfig, row, valueColumn, std::move(item));
    if (locked) {
        lockCells();
    }
}

void ConfigurationPage::showAddresses(const Device_t &device, bool locked)
{
    for (int row = ipRow; row <= gatewayRow; ++row) {
        setConfigValue(row, device[parameters[static_cast<std::size_t>(row)].field], locked);
    }
}

void ConfigurationPage::setPlainValue(int row, const QString &text)
{
    tableitems::place(m_ui->tableDeviceConfig, row, valueColumn, tableitems::number(text));
}

// By value: a timer's scan may replace the window's records while the cleared table is drawn.
void ConfigurationPage::showDevice(Device_t device)
{
    resetConfigurationTable();
    m_shown = device;
    const QString &code = device[Code];
    const instrumentrules::NetworkFields fields = instrumentrules::networkFields(code);
    setPlainValue(ipRow, device[Ip]);
    if (fields != instrumentrules::NetworkFields::AddressOnly) {
        setPlainValue(netmaskRow, device[Netmask]);
        setPlainValue(gatewayRow, device[Gateway]);
    }
    if (instrumentrules::hasDhcpChoice(code)) {
        QCheckBox *box = dhcpBox();
        box->setEnabled(true);
        box->setText(QString());
        connect(box, &QCheckBox::stateChanged, this, &ConfigurationPage::signalDhcpToggled);
        box->setChecked(device[Dhcp] == QLatin1String("1"));
    }
    if (fields == instrumentrules::NetworkFields::None) {
        showAddresses(device, true);
    }
    checkTypedAddresses();
}

// Says what is wrong as soon as a value is entered. Saving stays possible: what an address that cannot be
// read leads to is decided where it is sent.
void ConfigurationPage::checkTypedAddresses()
{
    const QSignalBlocker marking(m_ui->tableDeviceConfig); // a mark is a change of the item as well
    QStringList wrong;
    for (int row = ipRow; row <= gatewayRow && m_shown; ++row) {
        QTableWidgetItem *item = m_ui->tableDeviceConfig->item(row, valueColumn);
        if (!item) {
            continue;
        }
        if (!item->flags().testFlag(Qt::ItemIsEditable)) {
            item->setData(MarkedCellDelegate::WrongRole, false); // what cannot be changed needs no mark
            continue;
        }
        const bool usable = isUsableIpv4Address(item->text());
        item->setData(MarkedCellDelegate::WrongRole, !usable);
        if (!usable) {
            wrong.append(m_ui->tableDeviceConfig->item(row, parameterColumn)->text().chopped(1));
        }
    }
    m_ui->tableDeviceConfig->viewport()->update();
    sayHint(wrong.isEmpty()
                ? QString()
                : tr("%1: not an IPv4 address that can be set.").arg(wrong.join(QStringLiteral(", "))),
            "error");
}

void ConfigurationPage::sayHint(const QString &text, const char *role)
{
    m_ui->labelConfigHint->setText(text);
    setStyleProperty(m_ui->labelConfigHint, "role", QString::fromLatin1(role));
}

quint32 ConfigurationPage::typedAddress(int row) const
{
    return parseIpv4Address(m_ui->tableDeviceConfig->item(row, valueColumn)->text()).value_or(0);
}

std::optional<NetworkSettings> ConfigurationPage::settings() const
{
    if (!m_shown) {
        return {};
    }
    NetworkSettings settings{*m_shown, typedAddress(ipRow), typedAddress(netmaskRow),
                             typedAddress(gatewayRow), dhcpBox()->isChecked()};
    if (instrumentrules::networkFields((*m_shown)[Code]) == instrumentrules::NetworkFields::AddressOnly) {
        // Whatever the table says: these keep their mask and gateway, and are told the usual ones.
        settings.netmask = instrumentrules::fixedNetmask;
        settings.gateway = instrumentrules::fixedGateway;
    }
    return settings;
}

void ConfigurationPage::setSaveEnabled(bool enabled)
{
    m_ui->saveConfBtn->setEnabled(enabled);
}

void ConfigurationPage::setControlsEnabled(bool enabled)
{
    m_ui->tableDeviceConfig->setEnabled(enabled);
    m_ui->saveConfBtn->setEnabled(enabled);
}

QCheckBox *ConfigurationPage::dhcpBox() const
{
    return qobject_cast<QCheckBox *>(m_ui->tableDeviceConfig->cellWidget(dhcpRow, valueColumn));
}
