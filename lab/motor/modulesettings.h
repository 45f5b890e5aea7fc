#pragma once

#include <QByteArray>

// What the module keeps in its setup memory, as far as the setup menu asks for it. The values here
// are those of a module that was just reset to its defaults. Numbers are all of one type and switches
// are 0 or 1, so that the menu's tables can point at any of them. Addresses are host-order numbers.
struct ModuleSettings
{
    static constexpr quint32 cpuRegular = 0;
    static constexpr quint32 cpuHigh = 2;

    // Server
    quint32 ip = 0;
    quint32 gateway = 0;
    quint32 hasGateway = 0;
    quint32 hostBits = 0; // of the netmask; 0: as the address class says
    QByteArray password;

    // Channel 1: the serial line and the connection that carries it
    quint32 baudrate = 9600;
    quint32 interfaceMode = 0x4C;
    quint32 flow = 0;
    quint32 port = 10001;
    quint32 connectMode = 0xC0;
    quint32 sendsPlus = 1;
    quint32 showsAddress = 1;
    quint32 incrementsPort = 0;
    quint32 remoteIp = 0;
    quint32 remotePort = 0;
    quint32 disconnectMode = 0;
    quint32 flushMode = 0;
    quint32 packControl = 0;
    quint32 disconnectMinutes = 0;
    quint32 disconnectSeconds = 0;
    quint32 sendCharacter1 = 0;
    quint32 sendCharacter2 = 0;
    quint32 datagramType = 1;
    quint32 sendsBroadcast = 0;
    quint32 hostListRetries = 3;
    quint32 hostListTimeout = 250;
    QByteArray terminal;

    // Expert
    quint32 keepaliveS = 45;
    quint32 arpTimeoutS = 600;
    quint32 cpu = cpuRegular; // 1 is low
    quint32 monitorModeDisabled = 0;
    quint32 rs485ActiveHigh = 0;
    quint32 httpPort = 80;
    quint32 smtpPort = 25;
    quint32 mtu = 1400;
    quint32 alternateMac = 0;
    quint32 ethernetType = 0;

    // Security
    quint32 snmpDisabled = 0;
    QByteArray snmpCommunity = "public";
    quint32 telnetSetupDisabled = 0;
    quint32 tftpDisabled = 0;
    quint32 port77feDisabled = 0;
    quint32 webServerDisabled = 0;
    quint32 webSetupDisabled = 0;
    quint32 echoDisabled = 1;
    quint32 enhancedPassword = 0;
    quint32 port77f0Disabled = 0;

    // Answers that only steer the dialogue that asks for them.
    quint32 changesPassword = 0;
    quint32 changesHostList = 0;
    quint32 enablesHighPerformance = 0;
    quint32 reserved = 0; // of prompts that only a scenario asks for

    bool isUdp() const { return (connectMode & 0x0F) == 0x0C; }
    bool hasHostList() const { return !isUdp() && (connectMode & 0x20) != 0; }
    bool isTelnet() const { return (disconnectMode & 0x60) != 0; }

    quint32 netmask() const;

    // Everything as delivered but the three things one would lose the module by.
    ModuleSettings withDefaults() const;
};

// What the motor driver's module is set to when it leaves the works.
ModuleSettings motorDriverSettings();
