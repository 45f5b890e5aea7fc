#include "faults.h"

namespace {

constexpr int prefixSize = 12;
constexpr char fillByte = '\xEE';

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
