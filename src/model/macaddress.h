#pragma once

#include <QByteArray>
#include <QString>

// The six bytes of a MAC text, in its order: the hexadecimal pairs at positions 0, 3, ... 15, whatever
// stands between and behind them. Empty when any of them is not a pair of hexadecimal digits.
QByteArray macBytes(const QString &mac);

// The one way to write a MAC address, upper case with colons, by which two texts that reach the same
// instrument can be compared. A text that names none stays as it is.
QString plainMac(const QString &mac);
