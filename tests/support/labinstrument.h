#pragma once

#include <QJsonObject>
#include <QString>

#include <cstddef>

// A text in a test: "Scan"_s.
inline QString operator""_s(const char *text, std::size_t size)
{
    return QString::fromLatin1(text, static_cast<int>(size));
}

// Instruments of a lab that are told apart by the last number of their address.

inline QString addressOf(int number)
{
    return "192.168.0.%1"_s.arg(number);
}

inline QString macOf(int number)
{
    return "00:1A:2B:00:00:%1"_s.arg(number, 2, 16, QLatin1Char('0')).toUpper();
}

// One of a lab's kind that takes a new address at once and restarts at once, with keys added or replaced. A
// module has no code.
inline QJsonObject labInstrument(const char *kind, const char *code, int number, const QJsonObject &more = {})
{
    QJsonObject object{{"kind"_s, QLatin1String(kind)},
                       {"mac"_s, macOf(number)},
                       {"ip"_s, addressOf(number)},
                       {"applyMs"_s, 0},
                       {"restartMs"_s, 0}};
    if (*code) {
        object.insert("code"_s, QLatin1String(code));
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
    if (!update.contains("imageSilenceMs"_s)) {
        update.insert("imageSilenceMs"_s, 1000);
    }
    more.insert("update"_s, update);
    return labInstrument("powerSupply", "1100", number, more);
}
