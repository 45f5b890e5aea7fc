#pragma once

#include <QFont>

// For numbers and addresses that stand under each other: the desktop's fixed-width family. Everything
// else of the font, its size for one, is left open and comes from the widget that draws it.
QFont tabularFont();
