#include "tabularfont.h"

#include <QFontDatabase>

QFont tabularFont()
{
    QFont font;
    font.setFamily(QFontDatabase::systemFont(QFontDatabase::FixedFont).family());
    return font;
}
