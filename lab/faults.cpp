#include "faults.h"

#include "jsonreader.h"

namespace {

constexpr int prefixSize = 12;
constexpr char fillByte = '\xEE';
constexpr int largestDatagram = 65507;
constexpr int many = 1000000;

QByteArray randomBytes(int size, QRandomGenerator &random)
{
    QByteArray bytes(size, '\0');
    for (char &byte : bytes) {
        byte = static_cast<char>(random.bounded(256));
    }
    return bytes;
}

QByteArray spoilContent(QByteArray reply, const Faults &faults)
{
    if (faults.jsonArray) {
        reply = reply.left(prefixSize) + '[' + reply.mid(prefixSize) + ']';
    }
    if (faults.invalidJson) {
        reply.chop(1);
    }
    if (!faults.wrongPrefix.isEmpty()) {
        reply.replace(0, faults.wrongPrefix.size(), faults.wrongPrefix);
    }
    if (faults.embeddedNul >= 0 && faults.embeddedNul < reply.size()) {
        reply[faults.embeddedNul] = '\0';
    }
    return reply;
}

QByteArray spoilSize(QByteArray reply, const Faults &faults)
{
    if (faults.oversize > 0) {
        reply = reply.leftJustified(faults.oversize, fillByte);
    }
    if (faults.truncate >= 0) {
        reply.truncate(faults.truncate);
    }
    return reply;
}

} // namespace

Faults readFaults(JsonReader &reader, bool isJson)
{
    Faults faults;
    reader.number("dropFirst", faults.dropFirst, 0, many);
    reader.number("dropEvery", faults.dropEvery, 0, many);
    reader.milliseconds("delayMs", faults.delayMs);
    reader.number("duplicate", faults.copies, 1, 1000);
    if (isJson) {
        reader.flag("invalidJson", faults.invalidJson);
        reader.flag("jsonArray", faults.jsonArray);
    }
    reader.text("wrongPrefix", faults.wrongPrefix);
    reader.number("embeddedNul", faults.embeddedNul, 0, largestDatagram);
    reader.number("oversize", faults.oversize, 2049, largestDatagram);
    reader.number("truncate", faults.truncate, 0, largestDatagram);

    JsonReader garbage = reader.part("garbage");
    faults.garbageBytes = reader.has("garbage") ? 100 : 0;
    garbage.number("bytes", faults.garbageBytes, 1, largestDatagram);
    garbage.number("count", faults.garbageCount, 1, many);
    garbage.flag("instead", faults.garbageOnly);
    garbage.finish();
    reader.finish();
    return faults;
}

bool isDropped(const Faults &faults, int count)
{
    return count <= faults.dropFirst || (faults.dropEvery > 0 && count % faults.dropEvery == 0);
}

QVector<QByteArray> spoil(const QByteArray &reply, const Faults &faults, QRandomGenerator &random)
{
    QVector<QByteArray> datagrams;
    if (faults.garbageBytes > 0) {
        for (int i = 0; i < faults.garbageCount; ++i) {
            datagrams.append(randomBytes(faults.garbageBytes, random));
        }
    }
    if (!faults.garbageOnly) {
        datagrams.insert(datagrams.size(), faults.copies, spoilSize(spoilContent(reply, faults), faults));
    }
    return datagrams;
}
