#include "labelrole.h"

#include <QLabel>
#include <QStyle>
#include <QVariant>

void setRole(QLabel *label, const char *role)
{
    label->setProperty("role", QString::fromLatin1(role));
    // A style sheet looks at properties only when it is put on.
    label->style()->unpolish(label);
    label->style()->polish(label);
}
