#pragma once

#include <QPixmap>
#include <QString>

// A built-in text: the whole file, up to its first NUL byte, as Latin-1. Empty when it cannot be
// opened; nothing is reported, since a missing style sheet or help text must not stop anyone.
QString textResource(const QString &path);

// The maker's logo, as dense as the screen, `height` pixels high or as it was drawn. Null when it cannot be
// loaded.
QPixmap logo(int height = 0);
