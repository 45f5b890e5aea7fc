#include "networksettingsrow.h"

#include "ipv4address.h"
#include "macaddress.h"

#include <QCoreApplication>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("NetworkSettingsRow", text);
}

constexpr int longestQuote = 40; // characters of a foreign text that are repeated in a message

constexpr NetworkSettingsColumn addressColumns[] = {IpColumn, NetmaskColumn, GatewayColumn};

} // namespace

QStringList networkSettingsRow(const Device_t &device)
{
    return {device[Family], device[Sn], device[Mac], device[Ip], device[Netmask], device[Gateway]};
}

QString addressName(NetworkSettingsColumn column)
{
    switch (column) {
    case IpColumn:
        return tr("IP address");
    case NetmaskColumn:
        return tr("subnet mask");
    case GatewayColumn:
        return tr("gateway");
    default:
        return {};
    }
}

QString addressProblem(const QString &address)
{
    if (isUsableIpv4Address(address)) {
        return {};
    }
    if (address.trimmed().isEmpty()) {
        return tr("is missing");
    }
    return parseIpv4Address(address) ? tr("cannot be given to an instrument") : tr("is not an IPv4 address");
}

QString rowProblem(const QStringList &row)
{
    if (row.size() < networkSettingsColumnCount) {
        return tr("the row has fewer than six columns");
    }
    if (macBytes(row.at(MacColumn)).isEmpty()) {
        return tr("there is no MAC address that names the instrument");
    }
    for (const NetworkSettingsColumn column : addressColumns) {
        const QString text = row.at(column).trimmed();
        const QString problem = addressProblem(text);
        if (problem.isEmpty()) {
            continue;
        }
        return text.isEmpty()
                   ? tr("the %1 %2").arg(addressName(column), problem)
                   : tr("the %1 \"%2\" %3").arg(addressName(column), text.left(longestQuote), problem);
    }
    return {};
}
