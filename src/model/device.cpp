#include "device.h"

bool operator==(const Device_t &left, const Device_t &right)
{
    return left.fields == right.fields && left.extra == right.extra;
}

void registerDeviceMetaTypes()
{
    qRegisterMetaType<Device_t>("Device_t");
    qRegisterMetaType<QList<Device_t>>("QList<Device_t>");
    qRegisterMetaType<QVector<Device_t>>("QVector<Device_t>");
}
