#include "networksettingsrow.h"

#include "ipv4address.h"

#include <QCoreApplication>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("NetworkSettingsRow", text);
}

constexpr int macByteCount = 6;
constexpr int macPairDistance = 3;
constexpr int longestQuote = 40; // characters of a foreign text that are repeated in a message

// The digit's value; -1 for anything else. QString::toInt would also take "+A" and " A" for a pair.
int hexadecimalDigit(QChar character)
{
    const ushort code = character.unicode();
    if (code >= '0' && code <= '9') {
        return code - '0';
    }
    if (code >= 'A' && code <= 'F') {
        return code - 'A' + 10;
    }
    if (code >= 'a' && code <= 'f') {
        return code - 'a' + 10;
    }
    return -1;
}

constexpr NetworkSettingsColumn addressColumns[] = {IpColumn, NetmaskColumn, GatewayColumn};

} // namespace

QStringList networkSettingsRow(const Device_t &device)
{
    return {device[Family], device[Sn], device[Mac], device[Ip], device[Netmask], device[Gateway]};
}

QByteArray macBytes(const QString &mac)
{
    QByteArray bytes;
    for (int i = 0; i < macByteCount; ++i) {
        const int position = i * macPairDistance;
        if (position + 2 > mac.size()) {
            return {};
        }
        const int high = hexadecimalDigit(mac.at(position));
        const int low = hexadecimalDigit(mac.at(position + 1));
        if (high < 0 || low < 0) {
            return {};
        }
        bytes.append(static_cast<char>(high * 16 + low));
    }
    return bytes;
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
