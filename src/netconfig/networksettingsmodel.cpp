#include "networksettingsmodel.h"

#include "ipv4address.h"
#include "macaddress.h"
#include "tabularfont.h"

#include <algorithm>
#include <array>

using namespace networkrow; // this file is about its columns

namespace {

constexpr int firstAddressColumn = IpColumn;
constexpr int longestSerialNumber = 24; // characters of it that are repeated in a message

constexpr std::array<const char *, rowLength> headers{"Family",     "Serial Number", "MAC Address",
                                                      "IP Address", "Subnet Mask",   "Gateway"};

// Addresses first, by number, then other texts: one kind of value, so that any two can be compared.
QString sortKey(const QString &text, int column)
{
    if (column >= firstAddressColumn) {
        if (const auto address = parseIpv4Address(text)) {
            return QStringLiteral("0%1").arg(*address, 10, 10, QLatin1Char('0'));
        }
    }
    return QLatin1Char('1') + text;
}

} // namespace

NetworkSettingsModel::NetworkSettingsModel(const QList<QStringList> &rows, QObject *parent)
    : QAbstractTableModel(parent), m_numberFont(tabularFont())
{
    m_rows.reserve(rows.size());
    for (const QStringList &given : rows) {
        Row row;
        row.texts = given.mid(0, rowLength);
        while (row.texts.size() < rowLength) {
            row.texts.append(QString());
        }
        row.reported = row.texts;
        row.named = !macBytes(row.texts.at(MacColumn)).isEmpty();
        countAddress(row.texts.at(IpColumn), +1);
        m_rows.append(row);
    }
}

int NetworkSettingsModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_rows.size();
}

int NetworkSettingsModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : rowLength;
}

QVariant NetworkSettingsModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid()) {
        return {};
    }
    const Row &row = m_rows.at(index.row());
    switch (role) {
    case Qt::DisplayRole:
    case Qt::EditRole:
        return row.texts.at(index.column());
    case Qt::ToolTipRole:
        return toolTip(index.row(), index.column());
    case Qt::FontRole: {
        if (index.column() == FamilyColumn) {
            return {};
        }
        QFont font = m_numberFont;
        if (isCellChanged(row, index.column())) {
            font.setBold(true);
        }
        return font;
    }
    case SortRole:
        return sortKey(row.texts.at(index.column()), index.column());
    case MarkRole:
        return mark(index.row(), index.column());
    case ReportedRole:
        return row.reported.at(index.column());
    default:
        return {};
    }
}

QVariant NetworkSettingsModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || section < 0 || section >= rowLength) {
        return {};
    }
    if (role == Qt::DisplayRole) {
        return QString::fromLatin1(headers.at(static_cast<std::size_t>(section)));
    }
    return role == Qt::TextAlignmentRole ? QVariant(Qt::AlignLeft | Qt::AlignVCenter) : QVariant();
}

Qt::ItemFlags NetworkSettingsModel::flags(const QModelIndex &index) const
{
    const Qt::ItemFlags flags = QAbstractTableModel::flags(index);
    return index.isValid() && isEditable(index.row(), index.column()) ? flags | Qt::ItemIsEditable : flags;
}

bool NetworkSettingsModel::setData(const QModelIndex &index, const QVariant &value, int role)
{
    if (!index.isValid() || role != Qt::EditRole || !isEditable(index.row(), index.column())) {
        return false;
    }
    setCells({{index.row(), index.column(), value.toString()}});
    return true;
}

void NetworkSettingsModel::setCells(const QVector<CellEdit> &edits)
{
    const int sharedBefore = m_sharedAddresses;
    int first = m_rows.size();
    int last = -1;
    for (const CellEdit &edit : edits) {
        if (!isEditable(edit.row, edit.column)) {
            continue;
        }
        QString &text = m_rows[edit.row].texts[edit.column];
        if (edit.column == IpColumn) {
            countAddress(text, -1);
            countAddress(edit.text, +1);
        }
        text = edit.text;
        judge(edit.row);
        first = std::min(first, edit.row);
        last = std::max(last, edit.row);
    }
    if (last < 0) {
        return;
    }
    // A row far away may have gained or lost the mark of a shared address.
    const bool marksMoved = sharedBefore != m_sharedAddresses || m_sharedAddresses > 0;
    emit dataChanged(index(marksMoved ? 0 : first, firstAddressColumn),
                     index(marksMoved ? m_rows.size() - 1 : last, rowLength - 1));
    emit signalChanged();
}

bool NetworkSettingsModel::isEditable(int row, int column) const
{
    return column >= firstAddressColumn && column < rowLength && m_rows.at(row).named;
}

QList<QStringList> NetworkSettingsModel::rows() const
{
    QList<QStringList> result;
    for (const Row &row : m_rows) {
        result.append(trimmed(row.texts));
    }
    return result;
}

QList<QStringList> NetworkSettingsModel::changedRows() const
{
    QList<QStringList> result;
    for (const Row &row : m_rows) {
        if (row.changed) {
            result.append(trimmed(row.texts));
        }
    }
    return result;
}

QModelIndex NetworkSettingsModel::firstInvalidCell() const
{
    if (m_invalidRows.empty()) {
        return {};
    }
    const int row = *m_invalidRows.begin();
    int column = firstAddressColumn;
    while (column < GatewayColumn && mark(row, column) != InvalidMark) {
        ++column;
    }
    return index(row, column);
}

QString NetworkSettingsModel::firstProblem() const
{
    if (m_invalidRows.empty()) {
        return {};
    }
    const QStringList &texts = m_rows.at(*m_invalidRows.begin()).texts;
    return tr("Serial number %1: %2")
        .arg(texts.at(SerialNumberColumn).left(longestSerialNumber), rowProblem(texts));
}

void NetworkSettingsModel::acceptFirstChanged(int count)
{
    for (int i = 0; i < m_rows.size() && count > 0; ++i) {
        if (m_rows.at(i).changed) {
            m_rows[i].texts = trimmed(m_rows.at(i).texts);
            m_rows[i].reported = m_rows.at(i).texts;
            judge(i);
            --count;
        }
    }
    emit dataChanged(index(0, 0), index(m_rows.size() - 1, rowLength - 1));
    emit signalChanged();
}

void NetworkSettingsModel::acceptSent(const QList<QStringList> &sent)
{
    QHash<QByteArray, QStringList> settings; // an instrument keeps what its last row says
    for (const QStringList &row : sent) {
        settings.insert(macBytes(row.at(MacColumn)), row);
    }
    QVector<CellEdit> edits;
    for (int i = 0; i < m_rows.size(); ++i) {
        Row &row = m_rows[i];
        const auto found = settings.constFind(macBytes(row.texts.at(MacColumn)));
        if (!row.named || found == settings.constEnd()) {
            continue;
        }
        for (int column = firstAddressColumn; column < rowLength; ++column) {
            const QString now = found->at(column).trimmed();
            edits.append({i, column, isCellChanged(row, column) ? row.texts.at(column) : now});
            row.reported[column] = now;
        }
    }
    setCells(edits);
}

NetworkSettingsModel::Mark NetworkSettingsModel::mark(int row, int column) const
{
    if (column < firstAddressColumn) {
        return NoMark;
    }
    const QString &text = m_rows.at(row).texts.at(column);
    if (m_rows.at(row).changed && !addressProblem(text).isEmpty()) {
        return InvalidMark;
    }
    const auto address = parseIpv4Address(text);
    return column == IpColumn && address && m_addressUses.value(*address) > 1 ? SharedMark : NoMark;
}

// Never holds a text that came from the network: a tool tip that looks like markup is shown as such.
QString NetworkSettingsModel::toolTip(int row, int column) const
{
    if (!m_rows.at(row).named) {
        return tr("Nothing can be sent to this instrument: it reports no MAC address.");
    }
    switch (mark(row, column)) {
    case InvalidMark:
        return tr("This %1 %2.")
            .arg(addressName(static_cast<networkrow::Column>(column)),
                 addressProblem(m_rows.at(row).texts.at(column)));
    case SharedMark:
        return tr("Another instrument of the list has the same IP address.");
    case NoMark:
        break;
    }
    return {};
}

bool NetworkSettingsModel::isCellChanged(const Row &row, int column) const
{
    return row.texts.at(column).trimmed() != row.reported.at(column).trimmed();
}

QStringList NetworkSettingsModel::trimmed(const QStringList &texts) const
{
    QStringList result = texts;
    for (int column = firstAddressColumn; column < rowLength; ++column) {
        result[column] = texts.at(column).trimmed();
    }
    return result;
}

void NetworkSettingsModel::judge(int row)
{
    Row &judged = m_rows[row];
    const bool before = judged.changed;
    judged.changed = isCellChanged(judged, IpColumn) || isCellChanged(judged, NetmaskColumn) ||
                     isCellChanged(judged, GatewayColumn);
    m_changedCount += static_cast<int>(judged.changed) - static_cast<int>(before);
    if (judged.changed && !rowProblem(judged.texts).isEmpty()) {
        m_invalidRows.insert(row);
    } else {
        m_invalidRows.erase(row);
    }
}

void NetworkSettingsModel::countAddress(const QString &text, int change)
{
    const auto address = parseIpv4Address(text);
    if (!address) {
        return;
    }
    int &uses = m_addressUses[*address];
    const bool sharedBefore = uses > 1;
    uses += change;
    m_sharedAddresses += static_cast<int>(uses > 1) - static_cast<int>(sharedBefore);
    if (uses == 0) {
        m_addressUses.remove(*address);
    }
}
