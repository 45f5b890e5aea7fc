#pragma once

#include <QByteArray>

// True when QSettings would deserialise a value of this INI text: one that begins, once its quotes and
// escapes are undone, with "@Variant(" or "@DateTime(". Elsewhere in a value these are just letters, of
// a folder's name for example. When in doubt the answer is true: in a comment, or behind a quoted comma.
bool holdsSerialisedValue(const QByteArray &ini);
