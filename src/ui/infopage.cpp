#include "infopage.h"

#include "devicetables.h"
#include "literaltext.h"
#include "tableitems.h"
#include "ui_infopage.h"

#include <QHeaderView>

#include <algorithm>
#include <array>
#include <utility>

namespace {

// The brand is not among them: the picture in the device table shows it.
constexpr std::array<DeviceField, 10> shownFields{Id,  Family, Device,  Sn,      Fw,
                                                  Mac, Ip,     Netmask, Gateway, Dhcp};

constexpr std::array<DeviceField, 6> numberFields{Sn, Fw, Mac, Ip, Netmask, Gateway};

constexpr int propertyColumn = 0;
constexpr int valueColumn = 1;
constexpr int propertyWidth = 150;
constexpr int valueWidth = 280;

QString shownValue(const Device_t &device, DeviceField field)
{
    if (field != Dhcp) {
        return device[field];
    }
    if (device[Dhcp] == QLatin1String("1")) {
        return QStringLiteral("ON");
    }
    return device[Dhcp] == QLatin1String("0") ? QStringLiteral("OFF") : QStringLiteral("Not Available");
}

} // namespace

InfoPage::InfoPage(QWidget *parent) : QWidget(parent), m_ui(std::make_unique<Ui::InfoPage>())
{
    m_ui->setupUi(this);
    setAttribute(
        Qt::WA_StyledBackground); // else a widget of our own class takes no ground from the style sheet
    m_ui->tableInfo->horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    m_ui->tableInfo->horizontalHeader()->setTextElideMode(Qt::ElideRight);
    m_ui->tableInfo->setColumnWidth(propertyColumn, propertyWidth);
    m_ui->tableInfo->setColumnWidth(valueColumn, valueWidth);
}

InfoPage::~InfoPage() = default;

// The columns have their widths from the start; only a page that is laid out gives the values its rest.
void InfoPage::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    m_ui->tableInfo->horizontalHeader()->setSectionResizeMode(valueColumn, QHeaderView::Stretch);
}

void InfoPage::clear()
{
    m_ui->tableInfo->setRowCount(0);
    m_ui->labelInfoHint->show();
}

void InfoPage::showDevice(const Device_t &device)
{
    m_ui->labelInfoHint->hide();
    const int fieldRows = static_cast<int>(shownFields.size());
    m_ui->tableInfo->setRowCount(fieldRows + device.extra.size());
    int row = 0;
    for (const DeviceField field : shownFields) {
        const bool isNumber =
            std::find(numberFields.begin(), numberFields.end(), field) != numberFields.end();
        const QString value = shownValue(device, field);
        setRow(row++, devicetables::fieldLabel(field),
               isNumber ? tableitems::number(value) : tableitems::text(value));
    }
    for (const QMap<QString, QString> &entry : device.extra) {
        setRow(row++, entry.firstKey(), tableitems::text(entry.first()));
    }
}

void InfoPage::setRow(int row, const QString &property, std::unique_ptr<QTableWidgetItem> value)
{
    setCell(row, propertyColumn, tableitems::text(property));
    setCell(row, valueColumn, std::move(value));
}

void InfoPage::setCell(int row, int column, std::unique_ptr<QTableWidgetItem> item)
{
    item->setToolTip(item->text().isEmpty() ? QString() : literalText(item->text()));
    tableitems::place(m_ui->tableInfo, row, column, std::move(item));
}
