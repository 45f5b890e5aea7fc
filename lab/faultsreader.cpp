#include "faultsreader.h"

#include "jsonreader.h"

namespace {

constexpr int largestDatagram = 65507;
constexpr int longestDelayMs = 600000;
constexpr int many = 1000000;

// Only instruments that answer in JSON can break their JSON.
bool jsonFlag(JsonReader &reader, const QString &key, const QString &kind)
{
    const bool on = reader.flag(key, false);
    if (on && kind != QLatin1String("json")) {
        reader.fail(key, QStringLiteral("left to instruments of kind json"));
    }
    return on;
}

} // namespace

Faults readFaults(JsonReader &reader, const QString &kind)
{
    Faults faults;
    faults.dropFirst = reader.number(QStringLiteral("dropFirst"), 0, 0, many);
    faults.dropEvery = reader.number(QStringLiteral("dropEvery"), 0, 0, many);
    faults.delayMs = reader.number(QStringLiteral("delayMs"), 0, 0, longestDelayMs);
    faults.copies = reader.number(QStringLiteral("duplicate"), 1, 1, 1000);
    faults.invalidJson = jsonFlag(reader, QStringLiteral("invalidJson"), kind);
    faults.jsonArray = jsonFlag(reader, QStringLiteral("jsonArray"), kind);
    faults.wrongPrefix = reader.text(QStringLiteral("wrongPrefix"), {}).toLatin1();
    faults.embeddedNul = reader.number(QStringLiteral("embeddedNul"), -1, 0, largestDatagram);
    faults.oversize = reader.number(QStringLiteral("oversize"), 0, 2049, largestDatagram);
    faults.truncate = reader.number(QStringLiteral("truncate"), -1, 0, largestDatagram);

    const QString garbage = QStringLiteral("garbage");
    JsonReader part(reader.object(garbage), reader.where() + QStringLiteral(", garbage"));
    if (reader.has(garbage)) {
        faults.garbageBytes = part.number(QStringLiteral("bytes"), 100, 1, largestDatagram);
        faults.garbageCount = part.number(QStringLiteral("count"), 1, 1, many);
        faults.garbageOnly = part.flag(QStringLiteral("instead"), false);
    }
    part.finish();
    reader.adopt(part);
    reader.finish();
    return faults;
}
