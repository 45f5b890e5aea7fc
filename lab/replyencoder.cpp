#include "replyencoder.h"

#include "devicecatalogue.h"

#include <QByteArrayList>
#include <QJsonDocument>
#include <QRegularExpression>

namespace {

constexpr int binaryReplySize = 248;
constexpr int fixedTextSize = 4;
constexpr char unusedByte = '\xA5';

void put(QByteArray &reply, int offset, const QByteArray &bytes)
{
    reply.replace(offset, bytes.size(), bytes);
}

void putFixed(QByteArray &reply, int offset, const QString &text)
{
    put(reply, offset, text.toLatin1().leftJustified(fixedTextSize, ' ', true));
}

QByteArray encodeJson(const NetworkIdentity &identity, const InstrumentTexts &texts)
{
    // The instrument tells its own group and description; here they are the catalogue's unless the
    // scenario gives others.
    QJsonObject object{
        {QStringLiteral("CODE"), identity.code},
        {QStringLiteral("FAMILY"), devicecatalogue::group(identity.code)},
        {QStringLiteral("DEVICE"), devicecatalogue::desc(identity.code)},
        {QStringLiteral("MAC"), macText(identity.mac)},
        {QStringLiteral("IP"), addressText(identity.ip)},
        {QStringLiteral("NETMASK"), addressText(identity.netmask)},
        {QStringLiteral("GATEWAY"), addressText(identity.gateway)},
        {QStringLiteral("DHCP"), identity.dhcp ? QStringLiteral("1") : QStringLiteral("0")},
    };
    for (auto key = texts.keys.constBegin(); key != texts.keys.constEnd(); ++key) {
        if (key->isNull()) {
            object.remove(key.key());
        } else {
            object.insert(key.key(), *key);
        }
    }
    if (!texts.firmware.isEmpty()) {
        object.insert(QStringLiteral("FW"), texts.firmware); // the present one, after an update too
    }
    return QByteArrayLiteral("Quorvex MS2:") + QJsonDocument(object).toJson(QJsonDocument::Compact);
}

} // namespace

QString InstrumentTexts::firmwareVersion() const
{
    return form == Beamline || form == Transducer
               ? QStringLiteral("%1.%2.%3").arg(firmware.left(1), firmware.mid(1, 1), firmware.mid(2))
               : firmware;
}

QString InstrumentTexts::nextFirmware() const
{
    static const QRegularExpression lastNumber(QStringLiteral("[0-9]{1,9}$"));
    const QString digits = lastNumber.match(firmware).captured();
    if (digits.isEmpty()) {
        return firmware.chopped(qMin(1, firmware.size())) + QLatin1Char('1');
    }
    const QString next =
        QString::number(digits.toLongLong() + 1).rightJustified(digits.size(), QLatin1Char('0'));
    return firmware.chopped(digits.size()) + next.right(digits.size());
}

QByteArray textBlock(const NetworkIdentity &identity, const InstrumentTexts &texts)
{
    const QByteArrayList lines{texts.firmware.toUtf8(),   texts.serial,
                               texts.module.toUtf8(),     texts.note.toUtf8(),
                               identity.dhcp ? "1" : "0", texts.site.toUtf8()};
    return lines.mid(0, texts.parts).join("\r\n") + "\r\n";
}

QByteArray encodeReply(const NetworkIdentity &identity, const InstrumentTexts &texts)
{
    if (texts.form == InstrumentTexts::Json) {
        return encodeJson(identity, texts);
    }
    QByteArray reply(binaryReplySize, '\0');
    put(reply, 0, QByteArrayLiteral("Quorvex Dev:"));
    put(reply, 12, QByteArray::fromHex(identity.code.toLatin1()));
    put(reply, 14, identity.mac);
    put(reply, 20, bigEndian(identity.ip));
    put(reply, 24, bigEndian(identity.netmask));
    put(reply, 28, bigEndian(identity.gateway));
    put(reply, 32, QByteArray(12, unusedByte));
    if (texts.form == InstrumentTexts::TextBlock) {
        put(reply, 44, textBlock(identity, texts).left(replytexts::textBlockSize - 1));
        return reply;
    }
    putFixed(reply, 44, texts.firmware);
    put(reply, 48, texts.serial);
    if (texts.form == InstrumentTexts::Beamline) {
        putFixed(reply, 36, texts.module);
        put(reply, 52, QByteArray(16, unusedByte));
    } else {
        put(reply, 52, texts.module.toUtf8().left(replytexts::textSize - 1));
    }
    return reply;
}
