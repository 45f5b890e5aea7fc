#pragma once

#include <QByteArray>

#include <array>

// What the setup menu asks for in its dialogue "Channel 1", in the order of asking. The remote address is
// asked for number by number.
enum ChannelField {
    Baudrate,
    InterfaceMode,
    Flow,
    Port,
    ConnectMode,
    SendsPlus,
    ShowsAddress,
    IncrementsPort,
    Remote1,
    Remote2,
    Remote3,
    Remote4,
    RemotePort,
    DisconnectMode,
    FlushMode,
    DisconnectMinutes,
    DisconnectSeconds,
    SendCharacter1,
    SendCharacter2,
    ChannelFields // so many
};

// What the module keeps in its setup memory, as far as its menu shows or changes it: its addresses, as
// host-order numbers, and the serial line with the connection that carries it. At first it is what
// the motor driver's module is set to when it leaves the works.
struct ModuleSettings
{
    quint32 ip = 0;
    quint32 netmask = 0;
    quint32 gateway = 0; // 0: none
    std::array<quint32, ChannelFields> channel{{921600, 0x4C, 0, 10001, 0xC0, 1, 1}};
};

// What the module's setup menu prints, byte for byte. Two line ends, both with a NUL after the
// carriage return, stand side by side on one screen.
namespace setuptexts {

// `text` with the line ends CR NUL LF for "<N>" and LF CR NUL for "<L>".
QByteArray screen(QByteArray text);

// The first bytes of a connection: two telnet offers and who it is. The line that asks for Enter
// follows in pressEnter(). `mac` has six bytes.
QByteArray banner(const QByteArray &mac);
QByteArray pressEnter();

// All settings, as printed after Enter.
QByteArray listing(const ModuleSettings &settings);

QByteArray mainMenu();

// Of a field of the channel; with its line end, unless it goes on with the line.
QByteArray prompt(int field, const ModuleSettings &settings);

// Numbers as the prompts and the listing have them.
QByteArray hexByte(quint32 value);
QByteArray padded(quint32 value, int width);

} // namespace setuptexts
