#pragma once

#include "labprocess.h"
#include "windowfixture.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QLabel>
#include <QTest>

// An instrument of a lab's kind at 192.168.0.<number> that takes a new address at once, with keys added
// or replaced. A module has no code.
inline QJsonObject labInstrument(const char *kind, const char *code, int number, const QJsonObject &more = {})
{
    QJsonObject object{{QStringLiteral("kind"), QLatin1String(kind)},
                       {QStringLiteral("mac"),
                        QStringLiteral("00:1A:2B:00:00:%1").arg(number, 2, 16, QLatin1Char('0')).toUpper()},
                       {QStringLiteral("ip"), QStringLiteral("192.168.0.%1").arg(number)},
                       {QStringLiteral("applyMs"), 0}};
    if (*code) {
        object.insert(QStringLiteral("code"), QLatin1String(code));
    }
    for (auto entry = more.begin(); entry != more.end(); ++entry) {
        object.insert(entry.key(), entry.value());
    }
    return object;
}

inline QJsonArray showcase()
{
    return LabProcess::scenario(QStringLiteral("showcase.json"))
        .value(QLatin1String("instruments"))
        .toArray();
}

// The window with virtual instruments on the other end.
class LabWindow : public WindowFixture
{
public:
    // Starts the lab with these instruments.
    void play(const QJsonArray &instruments)
    {
        QVERIFY2(lab.start({{QStringLiteral("instruments"), instruments}}), qPrintable(lab.errorText()));
    }

    // Starts the lab, opens the window and finds all of these with one scan.
    void scanOf(const QJsonArray &instruments)
    {
        play(instruments);
        open();
        QVERIFY(scan());
    }

    // What the footer says.
    QString said() const { return find<QLabel>("labelFooter")->text(); }

    LabProcess lab;
};
