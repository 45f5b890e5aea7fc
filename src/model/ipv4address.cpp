#include "ipv4address.h"

#include <QStringList>

namespace {

std::optional<quint32> parseNumber(const QString &text)
{
    if (text.isEmpty() || text.size() > 3 || (text.size() > 1 && text.startsWith(QLatin1Char('0')))) {
        return {};
    }
    quint32 number = 0;
    for (const QChar character : text) {
        if (character < QLatin1Char('0') || character > QLatin1Char('9')) {
            return {};
        }
        number = number * 10 + static_cast<quint32>(character.unicode() - '0');
    }
    return number <= 255 ? std::optional<quint32>(number) : std::nullopt;
}

} // namespace

std::optional<quint32> parseIpv4Address(const QString &text)
{
    const QStringList numbers = text.trimmed().split(QLatin1Char('.'));
    if (numbers.size() != 4) {
        return {};
    }
    quint32 address = 0;
    for (const QString &text8 : numbers) {
        const std::optional<quint32> number = parseNumber(text8);
        if (!number) {
            return {};
        }
        address = (address << 8) | *number;
    }
    return address;
}

bool isUsableIpv4Address(const QString &text)
{
    const std::optional<quint32> address = parseIpv4Address(text);
    return address && *address != 0 && *address != 0xFFFFFFFFu;
}
