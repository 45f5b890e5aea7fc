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

constexpr std::array<Texts, brandCount> brands{"", "HALVERN", "DOSSIK", "PYRENTA", "LUMIVAST"};

constexpr std::array<Texts, brandCount> iconSuffixes{".png", "_ha.png", "_do.png", "_py.png", "_lu.png"};

template <std::size_t size>
QString entry(const std::array<Texts, size> &table, int key)
{
    if (key < 0 || key >= static_cast<int>(size)) {
        return {};
    }
    return QString::fromLatin1(table[static_cast<std::size_t>(key)]);
}

} // namespace

QString fieldKey(int field)
{
    return entry(fieldKeys, field);
}

QString fieldLabel(int field)
{
    return entry(fieldLabels, field);
}

QString familyName(int family)
{
    return entry(families, family);
}

QString brandName(int brand)
{
    return entry(brands, brand);
}

QString brandIconSuffix(int brand)
{
    return entry(iconSuffixes, brand);
}

int brandKey(const QString &name)
{
    for (int key = 0; key < brandCount; ++key) {
        if (brandName(key) == name) {
            return key;
        }
    }
    return -1;
}
