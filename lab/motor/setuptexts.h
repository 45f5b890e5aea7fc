#pragma once

#include "modulesettings.h"

#include <QByteArray>

// What the module's setup menu prints, byte for byte. Two line ends, both with a NUL after the
// carriage return, stand side by side on one screen.
namespace setuptexts {

constexpr int lineEndBytes = 3;

QByteArray crLf(); // CR NUL LF
QByteArray lfCr(); // LF CR NUL

// The first bytes of a connection: two telnet offers and who it is. The line that asks for Enter
// follows in pressEnter(). `mac` has six bytes.
QByteArray banner(const QByteArray &mac);
QByteArray pressEnter();

// All settings, as printed after Enter.
QByteArray listing(const ModuleSettings &settings);

QByteArray mainMenu();

} // namespace setuptexts
