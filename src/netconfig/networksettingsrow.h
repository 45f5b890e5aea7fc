#pragma once

#include "device.h"

#include <QString>
#include <QStringList>

// What the dialog for many instruments, the configuration file and the sender hand each other: one
// instrument as six texts. A row names its instrument by the MAC address and carries no DHCP choice.
namespace networkrow {

enum Column { FamilyColumn, SerialNumberColumn, MacColumn, IpColumn, NetmaskColumn, GatewayColumn };

constexpr int rowLength = 6;

QStringList fromDevice(const Device_t &device);

// What the user calls the address in a column, to stand within a sentence; empty for other columns.
QString addressName(Column column);

// Why an instrument cannot be given this address, mask or gateway, to stand behind "the IP address
// ...": "is missing", "is not an IPv4 address", ... Empty when it can.
QString addressProblem(const QString &address);

// The first thing for which a row would not be sent, as a sentence without its full stop; empty for a
// row that will be.
QString rowProblem(const QStringList &row);

} // namespace networkrow
