#include "inivalues.h"

#include <QRegularExpression>

namespace {

// The text with escapes undone. QSettings keeps 16 bits of a number however many digits it has, of which
// the last digits are enough to know a letter by; other escapes are left out, which it does with most.
QString unescaped(const QString &ini)
{
    static const QRegularExpression escape(QStringLiteral(R"(\\(?:x([0-9A-Fa-f]+)|([0-7]+)|.?))"),
                                           QRegularExpression::DotMatchesEverythingOption);
    QString plain;
    int done = 0;
    for (auto escapes = escape.globalMatch(ini); escapes.hasNext();) {
        const QRegularExpressionMatch match = escapes.next();
        plain += ini.midRef(done, match.capturedStart() - done);
        done = match.capturedEnd();
        if (match.capturedLength(1) > 0) {
            plain += QChar(match.captured(1).right(2).toUShort(nullptr, 16));
        } else if (match.capturedLength(2) > 0) {
            plain += QChar(match.captured(2).right(3).toUShort(nullptr, 8));
        }
    }
    return plain + ini.midRef(done);
}

} // namespace

bool holdsSerialisedValue(const QByteArray &ini)
{
    // Quotes and blanks are no part of a value, nor are byte order marks, which decoding drops.
    static const QRegularExpression ignored(QStringLiteral("[\"\\s]|\\xEF\\xBB\\xBF"));
    static const QRegularExpression serialised(QStringLiteral(R"([=,]@(Variant|DateTime)\()"));
    return unescaped(QString::fromLatin1(ini.constData(), ini.size())).remove(ignored).contains(serialised);
}
