#include "macaddress.h"

namespace {

constexpr int macByteCount = 6;
constexpr int macPairDistance = 3;

// The digit's value; -1 for anything else. QString::toInt would also take "+A" and " A" for a pair.
int hexadecimalDigit(QChar character)
{
    const ushort code = character.unicode();
    if (code >= '0' && code <= '9') {
        return code - '0';
    }
    if (code >= 'A' && code <= 'F') {
        return code - 'A' + 10;
    }
    if (code >= 'a' && code <= 'f') {
        return code - 'a' + 10;
    }
    return -1;
}

} // namespace

QByteArray macBytes(const QString &mac)
{
    QByteArray bytes;
    for (int i = 0; i < macByteCount; ++i) {
        const int position = i * macPairDistance;
        if (position + 2 > mac.size()) {
            return {};
        }
        const int high = hexadecimalDigit(mac.at(position));
        const int low = hexadecimalDigit(mac.at(position + 1));
        if (high < 0 || low < 0) {
            return {};
        }
        bytes.append(static_cast<char>(high * 16 + low));
    }
    return bytes;
}

QString plainMac(const QString &mac)
{
    const QByteArray bytes = macBytes(mac);
    return bytes.isEmpty() ? mac : QString::fromLatin1(bytes.toHex(':')).toUpper();
}
