#pragma once

#include <QJsonObject>
#include <QString>

// Instruments of a lab that are told apart by the last number of their address.

inline QString addressOf(int number)
{
    return QStringLiteral("192.168.0.%1").arg(number);
}

inline QString macOf(int number)
{
    return QStringLiteral("00:1A:2B:00:00:%1").arg(number, 2, 16, QLatin1Char('0')).toUpper();
}

// One of a lab's kind that takes a new address at once and restarts at once, with keys added or replaced. A
// module has no code.
inline QJsonObject labInstrument(const char *kind, const char *code, int number, const QJsonObject &more = {})
{
    QJsonObject object{{QStringLiteral("kind"), QLatin1String(kind)},
                       {QStringLiteral("mac"), macOf(number)},
                       {QStringLiteral("ip"), addressOf(number)},
                       {QStringLiteral("applyMs"), 0},
                       {QStringLiteral("restartMs"), 0}};
    if (*code) {
        object.insert(QStringLiteral("code"), QLatin1String(code));
    }
    for (auto entry = more.begin(); entry != more.end(); ++entry) {
        object.insert(entry.key(), entry.value());
    }
    return object;
}

// A power supply; `update` says how it takes firmware. A long pause ends its images, so that a sender who is
// held up does not.
inline QJsonObject supply(int number, QJsonObject update = {}, QJsonObject more = {})
{
    if (!update.contains(QStringLiteral("imageSilenceMs"))) {
        update.insert(QStringLiteral("imageSilenceMs"), 1000);
    }
    more.insert(QStringLiteral("update"), update);
    return labInstrument("powerSupply", "1100", number, more);
}
