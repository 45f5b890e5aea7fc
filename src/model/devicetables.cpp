#include "devicetables.h"

#include "device.h"

#include <array>

namespace {

using Texts = const char *;

constexpr std::array<Texts, deviceFieldCount> fieldKeys{
    "CODE", "ID", "FAMILY", "DEVICE", "BRAND", "SN", "FW", "MAC", "IP", "NETMASK", "GATEWAY", "DHCP"};

constexpr std::array<Texts, deviceFieldCount> fieldLabels{
    "---",
    "Module ID:",
    "Group:",
    "Device Description:",
    "Brand:",
    "Serial Number:",
    "Firmware Version:",
    "MAC Address:",
    "IP Address:",
    "SubnetMask:",
    "Gateway:",
    "DHCP:",
};

constexpr std::array<Texts, 4> families{"Power Supply Systems", "Beamline", "Current Transducers",
                                        "Quorvex Tools"};

constexpr std::array<Texts, devicetables::brandCount> brands{"", "HALVERN", "DOSSIK", "PYRENTA", "LUMIVAST"};

constexpr std::array<Texts, devicetables::brandCount> iconSuffixes{".png", "_ha.png", "_do.png", "_py.png",
                                                                   "_lu.png"};

template <std::size_t size>
QString entry(const std::array<Texts, size> &table, int key)
{
    if (key < 0 || key >= static_cast<int>(size)) {
        return {};
    }
    return QString::fromLatin1(table[static_cast<std::size_t>(key)]);
}

} // namespace

QString devicetables::fieldKey(int field)
{
    return entry(fieldKeys, field);
}

QString devicetables::fieldLabel(int field)
{
    return entry(fieldLabels, field);
}

QString devicetables::familyName(int family)
{
    return entry(families, family);
}

QString devicetables::brandName(int brand)
{
    return entry(brands, brand);
}

QString devicetables::brandIconSuffix(int brand)
{
    return entry(iconSuffixes, brand);
}

int devicetables::brandKey(const QString &name)
{
    for (int key = 0; key < brandCount; ++key) {
        if (brandName(key) == name) {
            return key;
        }
    }
    return -1;
}
