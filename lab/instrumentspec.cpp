#include "instrumentspec.h"

#include "faultsreader.h"
#include "firmwaretexts.h"
#include "jsonreader.h"
#include "motordriverreader.h"

#include <algorithm>
#include <array>

namespace {

constexpr int longestWaitMs = 600000;

QString letters(const char *text)
{
    return QString::fromLatin1(text);
}

// Exactly `size` Latin-1 characters.
QByteArray fixedText(JsonReader &reader, const char *key, const char *otherwise, int size)
{
    QByteArray text = reader.text(letters(key), letters(otherwise)).toLatin1();
    if (text.size() != size) {
        reader.fail(letters(key), QStringLiteral("a text of %1 characters").arg(size));
    }
    return text;
}

PowerSupplyTexts readPowerSupply(JsonReader &reader, const NetworkIdentity &identity)
{
    PowerSupplyTexts texts;
    texts.firmware = reader.text(letters("firmware"), letters("1.0.00"));
    texts.serial = reader.text(letters("serial"), letters("0000001"));
    texts.module = reader.text(letters("module"), letters("MODULE"));
    texts.note = reader.text(letters("note"), letters("REV A"));
    texts.site = reader.text(letters("site"), letters("RACK"));
    texts.parts = reader.number(letters("parts"), 6, 4, 6);
    if (textBlock(identity, texts).size() >= textBlockSize) {
        reader.fail(
            letters("note"),
            QStringLiteral("shorter: all texts together have at most %1 bytes").arg(textBlockSize - 1));
    }
    return texts;
}

BeamlineTexts readBeamline(JsonReader &reader)
{
    const int serial = reader.number(letters("serial"), 1812345, 0, 0x7FFFFFFF);
    return {fixedText(reader, "firmware", "1203", 4), fixedText(reader, "module", "QB4A", 4),
            static_cast<quint32>(serial)};
}

TransducerTexts readTransducer(JsonReader &reader)
{
    TransducerTexts texts{fixedText(reader, "firmware", "1203", 4), {}, {}};
    const QByteArray digits = reader.text(letters("serial"), letters("12345678")).toLatin1();
    texts.serial = QByteArray::fromHex(digits);
    if (texts.serial.toHex() != digits.toLower() || texts.serial.size() != 4) {
        reader.fail(letters("serial"), QStringLiteral("eight hexadecimal digits"));
    }
    texts.module = reader.text(letters("module"), letters("MODULE"));
    if (texts.module.toUtf8().size() >= textSize) {
        reader.fail(letters("module"), QStringLiteral("at most %1 bytes long").arg(textSize - 1));
    }
    return texts;
}

ModuleTexts readModuleTexts(JsonReader &reader)
{
    ModuleTexts texts;
    texts.type = fixedText(reader, "type", "X5", 2);
    texts.firmware = reader.text(letters("firmware"), letters("6.5.0.7")).toLatin1();
    if (texts.firmware.size() > 7) {
        reader.fail(letters("firmware"), QStringLiteral("a text of up to 7 characters"));
    }
    return texts;
}

ModuleSpec readModule(JsonReader &reader)
{
    ModuleSpec spec;
    spec.texts = readModuleTexts(reader);
    JsonReader tunnel(reader.object(letters("tunnel")), reader.where() + QStringLiteral(", tunnel"));
    spec.tunnel = readTunnelSpec(tunnel);
    reader.adopt(tunnel);
    return spec;
}

ModuleSpec readMotorDriver(JsonReader &reader)
{
    ModuleSpec spec;
    spec.texts = readModuleTexts(reader);
    JsonReader motor(reader.object(letters("motor")), reader.where() + QStringLiteral(", motor"));
    spec.motor = readMotorDriverSpec(motor);
    reader.adopt(motor);
    return spec;
}

bool isModuleKind(const QString &kind)
{
    return kind == QLatin1String("module") || kind == QLatin1String("motorDriver");
}

void readTexts(JsonReader &reader, const QString &kind, InstrumentSpec &spec)
{
    if (kind == QLatin1String("powerSupply")) {
        spec.texts = readPowerSupply(reader, spec.identity);
    } else if (kind == QLatin1String("beamline")) {
        spec.texts = readBeamline(reader);
    } else if (kind == QLatin1String("transducer") || kind == QLatin1String("tools")) {
        spec.texts = readTransducer(reader);
    } else if (kind == QLatin1String("json")) {
        spec.texts = JsonTexts{reader.object(letters("texts"))};
    } else if (kind == QLatin1String("module")) {
        spec.texts = readModule(reader);
    } else if (kind == QLatin1String("motorDriver")) {
        spec.texts = readMotorDriver(reader);
    } else {
        reader.fail(letters("kind"),
                    QStringLiteral("powerSupply, beamline, transducer, tools, json, module or motorDriver"));
    }
}

constexpr const char *codeForm = "four hexadecimal digits";

bool isCode(const QString &code)
{
    const QByteArray digits = code.toLatin1();
    return digits.size() == 4 && QByteArray::fromHex(digits).toHex() == digits.toLower();
}

QString readCode(JsonReader &reader)
{
    QString code = reader.requiredText(letters("code"));
    if (!isCode(code)) {
        reader.fail(letters("code"), letters(codeForm));
    }
    return code;
}

quint32 readHostAddress(JsonReader &reader)
{
    const QString key = letters("ip");
    const QString text = reader.requiredText(key);
    const quint32 ip = text.isEmpty() ? 0 : reader.address(key, 0);
    if (!isHostAddress(ip)) {
        reader.fail(key, QStringLiteral("an address that a host can have"));
    }
    return ip;
}

NetworkIdentity readIdentity(JsonReader &reader, bool hasCode)
{
    constexpr quint32 usualNetmask = 0xFFFFFF00;
    NetworkIdentity identity;
    const auto mac = macFromText(reader.requiredText(letters("mac")));
    if (!mac) {
        reader.fail(letters("mac"), QStringLiteral("six pairs of hexadecimal digits joined by \":\""));
    }
    identity.mac = mac.value_or(QByteArray(6, '\0'));
    if (hasCode) {
        identity.code = readCode(reader);
    }
    identity.ip = readHostAddress(reader);
    identity.netmask = reader.address(letters("netmask"), usualNetmask);
    identity.gateway = reader.address(letters("gateway"), (identity.ip & usualNetmask) | 1);
    identity.dhcp = reader.flag(letters("dhcp"), false);
    return identity;
}

Cable readCable(JsonReader &reader, quint32 ip, const QVector<Cable> &cables)
{
    const QString key = letters("interface");
    const QString name = reader.text(key, {});
    const auto cable = std::find_if(cables.cbegin(), cables.cend(), [&name, ip](const Cable &candidate) {
        return name.isEmpty() ? candidate.isLocal(ip) : candidate.name == name;
    });
    if (cable == cables.cend()) {
        reader.fail(key, name.isEmpty()
                             ? QStringLiteral("given, because no cable has a network with this \"ip\"")
                             : QStringLiteral("one of the lab's interfaces"));
        return {};
    }
    return *cable;
}

void readUpdate(JsonReader &reader, InstrumentSpec &spec)
{
    spec.update = readUpdateSpec(reader);
    const QString &next = spec.update.newFirmware;
    if (!next.isEmpty() && !fitsFirmware(spec.identity, spec.texts, next)) {
        reader.fail(letters("newFirmware"),
                    QStringLiteral("a version that its discovery reply has room for"));
    }
    if (!spec.update.newCode.isEmpty() && !isCode(spec.update.newCode)) {
        reader.fail(letters("newCode"), letters(codeForm));
    }
}

} // namespace

InstrumentSpec readInstrumentSpec(JsonReader &reader, const QVector<Cable> &cables)
{
    InstrumentSpec spec;
    const QString kind = reader.requiredText(letters("kind"));
    const bool isModule = isModuleKind(kind);
    spec.identity = readIdentity(reader, !isModule);
    spec.cable = readCable(reader, spec.identity.ip, cables);
    readTexts(reader, kind, spec);
    JsonReader faults(reader.object(letters("faults")), reader.where() + QStringLiteral(", faults"));
    spec.faults = readFaults(faults, kind);
    reader.adopt(faults);
    if (!isModule) {
        readUpdate(reader, spec);
    }
    spec.applyMs = reader.number(letters("applyMs"), spec.applyMs, 0, longestWaitMs);
    spec.restartMs = reader.number(letters("restartMs"), isModule ? 2000 : spec.restartMs, 0, longestWaitMs);
    reader.ignore(letters("expect")); // what a user should see: for tests, not for the instrument
    reader.ignore(letters("expectExtra"));
    reader.ignore(letters("count"));
    reader.finish();
    return spec;
}
