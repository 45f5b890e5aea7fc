#include "hextext.h"

QByteArray hexRecord(quint16 offset, const QByteArray &data, quint8 type)
{
    QByteArray bytes;
    bytes.append(static_cast<char>(data.size()));
    bytes.append(static_cast<char>(offset >> 8));
    bytes.append(static_cast<char>(offset & 0xff));
    bytes.append(static_cast<char>(type));
    bytes.append(data);
    quint8 sum = 0;
    for (const char byte : qAsConst(bytes)) {
        sum = static_cast<quint8>(sum + static_cast<quint8>(byte));
    }
    bytes.append(static_cast<char>(-sum));
    return ':' + bytes.toHex().toUpper();
}

QByteArray hexText(const QVector<QPair<quint32, QByteArray>> &blocks)
{
    constexpr int bytesPerLine = 32;
    QByteArray text;
    for (const auto &[address, data] : blocks) {
        quint32 upper = 0;
        for (int at = 0; at < data.size(); at += bytesPerLine) {
            const quint32 word = address + static_cast<quint32>(at / 2);
            if (at == 0 || word >> 16 != upper) {
                upper = word >> 16;
                const char bytes[]{static_cast<char>(upper >> 8), static_cast<char>(upper & 0xff)};
                text += hexRecord(0, QByteArray(bytes, 2), 4) + '\n';
            }
            text += hexRecord(static_cast<quint16>(word & 0xffff), data.mid(at, bytesPerLine)) + '\n';
        }
    }
    return text + hexRecord(0, QByteArray(), 1) + '\n';
}
