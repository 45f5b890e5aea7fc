#pragma once

#include "device.h"

// The network settings that one instrument is to get. Addresses are host-order numbers, 0 where what was
// typed is no IPv4 address; the sender refuses those.
struct NetworkSettings
{
    Device_t device; // the instrument as it was when its settings were shown
    quint32 ip = 0;
    quint32 netmask = 0;
    quint32 gateway = 0;
    bool dhcp = false;
};
