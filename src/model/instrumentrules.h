#pragma once

#include <QString>
#include <QtGlobal>

#include <chrono>

// What may be done with an instrument of a product code: pure functions of the code, the one place where
// pages, table, update and settings look such a thing up. Codes are compared exactly, and a code that the
// catalogue does not have is treated as an instrument of no known family.
namespace instrumentrules {

// How an instrument is given new firmware.
enum class Procedure {
    None, // it is not: current transducers, boards, tools, unknown codes
    PowerSupply,
    PowerSupplyModular, // 1400: its DC link is asked in its own way
    Beamline,           // also 1600
    MotorDriver         // the serial server too, for the motor driver behind it
};

Procedure procedure(const QString &code);

// The kind of file that its procedure reads.
enum class FirmwareFile { Unknown, Updt, Flash, IntelHex };

FirmwareFile firmwareFile(const QString &code);

// A file chooser's filter for it: the kind by its ending, then everything; everything alone for a code
// whose procedure is None.
QString firmwareFilter(const QString &code);

// A motor driver has two processors and so takes two files, for communication and for control.
bool takesSecondFirmware(const QString &code);

// Whether its box in the table's selection column can ever be ticked. Wider than having a procedure: of
// the others only current transducers are kept out beforehand.
bool isSelectable(const QString &code);

// A motor driver is updated by itself, everything else together with instruments of its own code.
bool isUpdatedAlone(const QString &code);
bool mayUpdateTogether(const QString &code, const QString &other);

// Which of address, mask and gateway can be typed for it.
enum class NetworkFields {
    All,
    AddressOnly, // it is sent the fixed mask and gateway below, whatever it reports
    None         // in recovery mode: they are shown, and locked
};

NetworkFields networkFields(const QString &code);

constexpr quint32 fixedNetmask = 0xFFFFFF00; // 255.255.255.0
constexpr quint32 fixedGateway = 0xC0A80001; // 192.168.0.1

// Whether its DHCP box is live.
bool hasDhcpChoice(const QString &code);

// New network settings count from its next start on, which somebody has to bring about.
bool needsRebootForAddress(const QString &code);

// It serves a page for web browsers at its address.
bool hasWebPage(const QString &code);
// "http://192.168.0.10/"; empty for an instrument without a page, and when `ip`, which comes from the
// network, is anything but an IPv4 address.
QString webAddress(const QString &code, const QString &ip);

// How long it may take after an update until it answers again.
std::chrono::milliseconds restartTime(const QString &code);

} // namespace instrumentrules
