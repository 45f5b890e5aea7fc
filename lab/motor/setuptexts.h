#pragma once

#include <QByteArray>

#include <array>

// What the setup menu asks for in its dialogue "Channel 1", in the order of asking. The remote address is
// asked for number by number.
namespace setuptexts {
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
} // namespace setuptexts

// How a field is asked for, and answered. A prompt reads `before`, the present value in brackets, `after`.
struct ChannelPrompt
{
    enum Answer {
        Decimal,     // (9600)
        Hexadecimal, // (4C)
        OneKey,      // (Y): answered by the key alone, without Enter
        Number,      // (192) of the remote address, which stands on one line
        Minutes,     // (00:03), with the seconds of the field after it
        Seconds      // no bracket, on the same line
    };

    Answer answer;
    const char *before;
    const char *after;
};

// What the module keeps in its setup memory, as far as its menu shows or changes it: its addresses, as
// host-order numbers, and the serial line with the connection that carries it. At first it is what
// the motor driver's module is set to when it leaves the works.
struct ModuleSettings
{
    quint32 ip = 0;
    quint32 netmask = 0;
    quint32 gateway = 0; // 0: none
    std::array<quint32, setuptexts::ChannelFields> channel{{921600, 0x4C, 0, 10001, 0xC0, 1, 1}};
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
ChannelPrompt::Answer answer(int field);

} // namespace setuptexts
