#pragma once

#include <QCoreApplication>
#include <QTranslator>

// While it lives, a language in which every text begins with a tilde.
class TildeLanguage : public QTranslator
{
public:
    TildeLanguage() { QCoreApplication::installTranslator(this); }
    bool isEmpty() const override { return false; }
    QString translate(const char *, const char *source, const char *, int) const override
    {
        return QLatin1Char('~') + QString::fromUtf8(source);
    }
};
