#include "networkidentity.h"

#include <QHostAddress>
#include <QRegularExpression>
#include <QtEndian>

QString macText(const QByteArray &mac)
{
    return QString::fromLatin1(mac.toHex(':').toUpper());
}

std::optional<QByteArray> macFromText(const QString &text)
{
    static const QRegularExpression form(
        QRegularExpression::anchoredPattern(QStringLiteral("[0-9A-Fa-f]{2}(:[0-9A-Fa-f]{2}){5}")));
    if (!form.match(text).hasMatch()) {
        return std::nullopt;
    }
    return QByteArray::fromHex(text.toLatin1());
}

QByteArray macPlus(const QByteArray &mac, quint64 steps)
{
    QByteArray wide = QByteArray(2, '\0') + mac;
    const quint64 number = qFromBigEndian<quint64>(wide.constData()) + steps;
    qToBigEndian(number, wide.data());
    return wide.mid(2);
}

QString addressText(quint32 address)
{
    return QHostAddress(address).toString();
}

std::optional<quint32> addressFromText(const QString &text)
{
    static const QRegularExpression form(
        QRegularExpression::anchoredPattern(QStringLiteral("\\d{1,3}(\\.\\d{1,3}){3}")));
    bool valid = false;
    const quint32 address = QHostAddress(text).toIPv4Address(&valid);
    if (!valid || !form.match(text).hasMatch()) {
        return std::nullopt;
    }
    return address;
}

bool isHostAddress(quint32 address)
{
    constexpr quint32 loopback = 127;
    constexpr quint32 firstMulticast = 224;
    const quint32 first = address >> 24;
    return first != 0 && first != loopback && first < firstMulticast;
}

QByteArray bigEndian(quint32 number)
{
    QByteArray bytes(4, '\0');
    qToBigEndian(number, bytes.data());
    return bytes;
}
