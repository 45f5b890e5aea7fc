#pragma once

class EventLog;
class HostAddresses;
class UdpFace;

// What every instrument finds around it. The lab owns all of it and outlives the instruments.
struct Workbench
{
    EventLog &log;
    HostAddresses &addresses;
    UdpFace &discovery;   // UDP 30719
    UdpFace &modules;     // UDP 30718
    bool verbose = false; // every reply is an event
};
