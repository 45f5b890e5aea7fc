#include "modulereply.h"

#include <QtEndian>

namespace {

constexpr int querySize = 4;

QByteArray identification(const NetworkIdentity &identity)
{
    const QByteArray imageStart = QByteArray::fromHex("00205006" // then the type, "X5"
                                                      "58354b0fff13000062a7e896");
    const QByteArray deviceInformation = QByteArray::fromHex("ff00") + identity.mac.right(2);
    return imageStart + deviceInformation + identity.mac;
}

QByteArray version()
{
    return QByteArray::fromHex("09041eefff000000ffffffff") + QByteArrayLiteral("6.5.0.7\0") +
           QByteArray::fromHex("ffffffffffffffff06");
}

QByteArray setupRecord(const NetworkIdentity &identity)
{
    constexpr int recordSize = 120;
    QByteArray record(recordSize, '\0');
    qToBigEndian(identity.ip, record.data());
    qToBigEndian(identity.gateway, record.data() + 0x0C);
    record[0x06] = static_cast<char>(qPopulationCount(~identity.netmask)); // bits of the host part
    record[0x10] = '\x4C';                                                 // RS-232, 8N1
    qToLittleEndian<quint16>(10001, record.data() + 0x14);
    record[0x1C] = '\xC0'; // accepts any connection when there is none
    return record;
}

} // namespace

QByteArray encodeModuleAnswer(const QByteArray &query, const NetworkIdentity &identity)
{
    if (query.size() != querySize || query[0] != 0 || (query[1] != 0 && query[1] != 1) || query[2] != 0) {
        return {};
    }
    switch (static_cast<quint8>(query[3])) {
    case 0xF6:
        return QByteArray::fromHex("000000f7") + identification(identity);
    case 0xF4:
        return QByteArray::fromHex("000000f5") + version();
    case 0xF8:
        return QByteArray::fromHex("000000f9") + setupRecord(identity);
    default:
        return {};
    }
}
