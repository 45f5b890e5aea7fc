#include "modulesettings.h"

quint32 ModuleSettings::netmask() const
{
    if (hostBits > 0 && hostBits < 32) {
        return 0xFFFFFFFF << hostBits;
    }
    if (ip >> 31 == 0) {
        return 0xFF000000;
    }
    return ip >> 30 == 2 ? 0xFFFF0000 : 0xFFFFFF00;
}

ModuleSettings ModuleSettings::withDefaults() const
{
    ModuleSettings defaults;
    defaults.ip = ip;
    defaults.gateway = gateway;
    defaults.hasGateway = hasGateway;
    defaults.hostBits = hostBits;
    return defaults;
}

ModuleSettings motorDriverSettings()
{
    ModuleSettings settings;
    settings.baudrate = 921600;
    settings.cpu = ModuleSettings::cpuHigh;
    return settings;
}
