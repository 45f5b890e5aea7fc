#include "replydecoder.h"

#include "devicecatalogue.h"
#include "devicetables.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QtEndian>

#include <algorithm>
#include <array>

namespace {

// One binary reply, offsets from the first byte, numbers most significant byte first:
//    0  12  "Quorvex Dev:"
//   12   2  product code
//   14   6  MAC address
//   20   4  IPv4 address
//   24   4  netmask
//   28   4  gateway
//   36   4  module ID, four characters (Beamline)
//   44   4  text A, or the four firmware characters
//   48   4  text B, or the serial number
//   52 196  text C
constexpr int prefixSize = 12;
constexpr int codeAt = 12;
constexpr int macAt = 14;
constexpr int addressAt = 20;
constexpr int netmaskAt = 24;
constexpr int gatewayAt = 28;
constexpr int moduleIdAt = 36;
constexpr int textAAt = 44;
constexpr int textBAt = 48;
constexpr int textCAt = 52;
constexpr int textCSize = 196;

constexpr int macSize = 6;
constexpr int serialServerMacAt = 24; // in a serial server's reply

constexpr auto binaryPrefix = QLatin1String("Quorvex Dev:", prefixSize);
constexpr auto jsonPrefix = QLatin1String("Quorvex MS2:", prefixSize);

// A datagram in a buffer of fixed size: cut when it is longer, zeros behind it when it is shorter.
class Reply
{
public:
    explicit Reply(const QByteArray &datagram)
    {
        std::copy_n(datagram.constData(), std::min(datagram.size(), replydecoder::maxReplySize),
                    m_bytes.begin());
    }

    bool beginsWith(QLatin1String prefix) const
    {
        return QLatin1String(m_bytes.data(), prefixSize) == prefix;
    }
    const char *at(int offset) const { return m_bytes.data() + offset; }
    quint32 number(int offset) const { return qFromBigEndian<quint32>(at(offset)); }

    // Characters as they stand, NUL included.
    QString characters(int offset, int size) const { return QString::fromLatin1(at(offset), size); }

    // UTF-8 up to the first NUL.
    QString text(int offset, int size) const
    {
        return QString::fromUtf8(at(offset), static_cast<int>(qstrnlen(at(offset), static_cast<uint>(size))));
    }

private:
    std::array<char, replydecoder::maxReplySize> m_bytes{};
};

enum class InstrumentFamily { PowerSupplySystems, Beamline, CurrentTransducers, QuorvexTools, None };

InstrumentFamily familyOf(const QString &code)
{
    const QString name = devicecatalogue::family(code);
    for (const InstrumentFamily family :
         {InstrumentFamily::PowerSupplySystems, InstrumentFamily::Beamline,
          InstrumentFamily::CurrentTransducers, InstrumentFamily::QuorvexTools}) {
        if (name == devicetables::familyName(static_cast<int>(family))) {
            return family;
        }
    }
    return InstrumentFamily::None;
}

QString unknown()
{
    return QStringLiteral("Unknown");
}

QString hexPairs(const char *bytes, int count)
{
    return QString::fromLatin1(QByteArray::fromRawData(bytes, count).toHex());
}

QString macText(const char *bytes)
{
    return QString::fromLatin1(QByteArray::fromRawData(bytes, macSize).toHex(':').toUpper());
}

QString addressText(quint32 address)
{
    return QHostAddress(address).toString();
}

// A beamline sub-model that the catalogue does not list counts as its base model.
QString productCode(const Reply &reply)
{
    QString code = hexPairs(reply.at(codeAt), 2);
    if (code.startsWith(QLatin1Char('2')) && !devicecatalogue::contains(code)) {
        code.replace(2, 2, QStringLiteral("00"));
    }
    return code;
}

// The texts A, B and C of a power supply are one text of lines: firmware, serial number, module ID,
// something of no interest here, and DHCP. The DHCP line counts only when yet another follows it.
class TextBlock
{
public:
    explicit TextBlock(const Reply &reply)
        : m_parts((reply.text(textAAt, 4) + reply.text(textBAt, 4) + reply.text(textCAt, textCSize))
                      .split(QStringLiteral("\r\n"), Qt::SkipEmptyParts))
    {}

    QString firmware() const { return part(0, 3); }
    QString serial() const { return part(1, 3); }
    QString moduleId() const { return part(2, 3); }
    QString dhcp() const { return part(4, 5); }

private:
    QString part(int index, int moreThan) const
    {
        return m_parts.size() > moreThan ? m_parts.at(index) : unknown();
    }

    QStringList m_parts;
};

// 1812345 is written 18Y12W345: year, week, number.
QString beamlineSerial(quint32 number)
{
    QString text = QString::number(number);
    if (text.size() > 5) {
        text.insert(2, QLatin1Char('Y'));
        text.insert(5, QLatin1Char('W'));
    }
    return text;
}

// The four bytes aa bb cc dd are written aaYbbWccdd.
QString yearWeekSerial(const QString &hex)
{
    return hex.left(2) + QLatin1Char('Y') + hex.mid(2, 2) + QLatin1Char('W') + hex.mid(4);
}

// Transducers carry two spellings. One starts with the year, whose two decimal digits are taken
// from the hexadecimal text; the older one is an article number, 12 34 56 78 written 12A34X567.
QString transducerSerial(const QString &hex)
{
    const int year = hex.left(2).toInt(); // 0 when there is a letter in it
    if (year > 15 && year < 71) {
        return yearWeekSerial(hex);
    }
    QString article = hex;
    if (article.at(2).toUpper() != QLatin1Char('A')) {
        article.insert(2, QLatin1Char('A'));
        article.remove(8, 1);
    }
    article.insert(5, QLatin1Char('X'));
    return article.toUpper();
}

// The characters 1 2 0 3 are written 1.2.03.
QString firmwareText(const QString &characters)
{
    return characters.left(1) + QLatin1Char('.') + characters.mid(1, 1) + QLatin1Char('.') +
           characters.mid(2);
}

void setPowerSupplyTexts(Device_t &device, const Reply &reply)
{
    const TextBlock texts(reply);
    device[Id] = texts.moduleId();
    device[Sn] = texts.serial();
    device[Fw] = texts.firmware();
    device[Dhcp] = texts.dhcp();
}

// Each family spells its module ID, serial number and firmware version in its own way.
void setFamilyTexts(Device_t &device, const Reply &reply, InstrumentFamily family)
{
    if (family == InstrumentFamily::PowerSupplySystems) {
        setPowerSupplyTexts(device, reply);
        return;
    }
    device[Fw] = firmwareText(reply.characters(textAAt, 4));
    switch (family) {
    case InstrumentFamily::Beamline:
        device[Id] = reply.characters(moduleIdAt, 4);
        device[Sn] = beamlineSerial(reply.number(textBAt));
        break;
    case InstrumentFamily::CurrentTransducers:
        device[Id] = reply.text(textCAt, textCSize);
        device[Sn] = transducerSerial(hexPairs(reply.at(textBAt), 4));
        break;
    case InstrumentFamily::QuorvexTools:
        device[Id] = reply.text(textCAt, textCSize);
        device[Sn] = yearWeekSerial(hexPairs(reply.at(textBAt), 4));
        break;
    default:
        device[Id] = unknown();
        device[Sn] = unknown();
    }
}

Device_t decodeBinary(const Reply &reply)
{
    Device_t device;
    const QString code = productCode(reply);
    device[Code] = code;
    if (devicecatalogue::is1600(code)) {
        // A power supply that answers like a beamline instrument, except that it tells of DHCP.
        setFamilyTexts(device, reply, familyOf(QStringLiteral("2100")));
        device[Dhcp] = TextBlock(reply).dhcp();
    } else {
        setFamilyTexts(device, reply, familyOf(code));
    }
    device[Family] = devicecatalogue::group(code);
    device[Device] = devicecatalogue::desc(code);
    device[Mac] = macText(reply.at(macAt));
    device[Ip] = addressText(reply.number(addressAt));
    device[Netmask] = addressText(reply.number(netmaskAt));
    device[Gateway] = addressText(reply.number(gatewayAt));
    return device;
}

std::optional<DeviceField> fieldOf(const QString &key)
{
    for (int field = 0; field < deviceFieldCount; ++field) {
        if (key == devicetables::fieldKey(field)) {
            return static_cast<DeviceField>(field);
        }
    }
    return std::nullopt;
}

// A JSON replier describes itself: nothing is looked up and nothing is filled in for it. A value
// that is not a string counts as empty.
std::optional<Device_t> decodeJson(const Reply &reply)
{
    QString text = reply.text(0, replydecoder::maxReplySize);
    text.remove(jsonPrefix); // wherever it stands, not only in front
    const QJsonDocument document = QJsonDocument::fromJson(text.toUtf8());
    if (!document.isObject()) {
        return std::nullopt;
    }
    Device_t device;
    const QJsonObject object = document.object();
    for (auto entry = object.constBegin(); entry != object.constEnd(); ++entry) {
        if (const auto field = fieldOf(entry.key())) {
            device[*field] = entry.value().toString();
        } else {
            device.extra.append({{entry.key(), entry.value().toString()}});
        }
    }
    return device;
}

} // namespace

std::optional<Device_t> decodeDiscoveryReply(const QByteArray &datagram)
{
    const Reply reply(datagram);
    if (reply.beginsWith(binaryPrefix)) {
        return decodeBinary(reply);
    }
    if (reply.beginsWith(jsonPrefix)) {
        return decodeJson(reply);
    }
    return std::nullopt;
}

std::optional<Device_t> decodeSerialServerReply(const QByteArray &datagram, const QHostAddress &sender)
{
    if (datagram.size() < serialServerMacAt + macSize) {
        return std::nullopt;
    }
    Device_t device;
    device[Code] = QStringLiteral("4100");
    device[Mac] = macText(datagram.constData() + serialServerMacAt);
    bool isIpv4 = false; // also true for an IPv4 address in IPv6 dress (::ffff:a.b.c.d)
    const quint32 address = sender.toIPv4Address(&isIpv4);
    device[Ip] = isIpv4 ? addressText(address) : sender.toString();
    return device;
}
