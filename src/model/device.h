#pragma once

#include <QList>
#include <QMap>
#include <QMetaType>
#include <QString>
#include <QVector>

#include <array>

// The fields of a record, in the order of the key and label tables (devicetables.h).
enum DeviceField { Code, Id, Family, Device, Brand, Sn, Fw, Mac, Ip, Netmask, Gateway, Dhcp };

constexpr int deviceFieldCount = 12;

// One discovered instrument: twelve texts, empty when unset, and whatever else the instrument told
// of itself. A value: discovery fills it, everyone else reads copies. The "MAC" text is its identity.
struct Device_t
{
    QString &operator[](DeviceField field) { return fields[static_cast<std::size_t>(field)]; }
    const QString &operator[](DeviceField field) const { return fields[static_cast<std::size_t>(field)]; }

    // One-entry maps (key to value) in the order of arrival.
    QList<QMap<QString, QString>> extra;

    std::array<QString, deviceFieldCount> fields;
};

bool operator==(const Device_t &left, const Device_t &right);

Q_DECLARE_METATYPE(Device_t)

// Makes Device_t, and lists and vectors of it, usable as arguments of queued signals.
void registerDeviceMetaTypes();
