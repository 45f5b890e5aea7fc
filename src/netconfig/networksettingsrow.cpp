#include "networksettingsrow.h"

#include "ipv4address.h"
#include "macaddress.h"

#include <array>

namespace {

constexpr int longestQuote = 40; // characters of a foreign text that are repeated in a message

constexpr std::array<networkrow::Column, 3> addressColumns{networkrow::IpColumn, networkrow::NetmaskColumn,
                                                           networkrow::GatewayColumn};

} // namespace

QStringList networkrow::fromDevice(const Device_t &device)
{
    return {device[Family], device[Sn], device[Mac], device[Ip], device[Netmask], device[Gateway]};
}

QString networkrow::addressName(Column column)
{
    switch (column) {
    case IpColumn:
        return QStringLiteral("IP address");
    case NetmaskColumn:
        return QStringLiteral("subnet mask");
    case GatewayColumn:
        return QStringLiteral("gateway");
    default:
        return {};
    }
}

QString networkrow::addressProblem(const QString &address)
{
    if (isUsableIpv4Address(address)) {
        return {};
    }
    if (address.trimmed().isEmpty()) {
        return QStringLiteral("is missing");
    }
    return parseIpv4Address(address) ? QStringLiteral("cannot be given to an instrument")
                                     : QStringLiteral("is not an IPv4 address");
}

QString networkrow::rowProblem(const QStringList &row)
{
    if (row.size() < rowLength) {
        return QStringLiteral("the row has fewer than six columns");
    }
    if (macBytes(row.at(MacColumn)).isEmpty()) {
        return QStringLiteral("there is no MAC address that names the instrument");
    }
    for (const Column column : addressColumns) {
        const QString text = row.at(column).trimmed();
        const QString problem = addressProblem(text);
        if (problem.isEmpty()) {
            continue;
        }
        return text.isEmpty() ? QStringLiteral("the %1 %2").arg(addressName(column), problem)
                              : QStringLiteral("the %1 \"%2\" %3")
                                    .arg(addressName(column), text.left(longestQuote), problem);
    }
    return {};
}
