#include "instrumentspec.h"

#include "jsonreader.h"

#include <algorithm>
#include <initializer_list>

namespace {

constexpr int fixedTextSize = 4;

// A text of exactly four Latin-1 characters.
void readFixed(JsonReader &reader, const char *key, QString &value)
{
    reader.text(key, value);
    if (value.toLatin1().size() != fixedTextSize) {
        reader.fail(key, QStringLiteral("a text of four characters"));
    }
}

bool isHex(const QByteArray &digits, int size)
{
    return digits.size() == size && QByteArray::fromHex(digits).toHex() == digits.toLower();
}

void checkCode(JsonReader &reader, const char *key, const QString &code)
{
    if (!isHex(code.toLatin1(), 4)) {
        reader.fail(key, QStringLiteral("four hexadecimal digits"));
    }
}

void readPowerSupply(JsonReader &reader, InstrumentSpec &spec)
{
    InstrumentTexts &texts = spec.texts;
    texts = {InstrumentTexts::TextBlock, QStringLiteral("1.0.00"), "0000001", QStringLiteral("MODULE"),
             QStringLiteral("REV A"),    QStringLiteral("RACK"),   6,         {}};
    reader.text("firmware", texts.firmware);
    reader.text("serial", texts.serial);
    reader.text("module", texts.module);
    reader.text("note", texts.note);
    reader.text("site", texts.site);
    reader.number("parts", texts.parts, 4, 6);
    if (textBlock(spec.identity, texts).size() >= replytexts::textBlockSize) {
        reader.fail("note", QStringLiteral("shorter: all texts together have at most %1 bytes")
                                .arg(replytexts::textBlockSize - 1));
    }
}

void readBeamline(JsonReader &reader, InstrumentTexts &texts)
{
    texts.form = InstrumentTexts::Beamline;
    texts.firmware = QStringLiteral("1203");
    texts.module = QStringLiteral("QB4A");
    int serial = 1812345;
    readFixed(reader, "firmware", texts.firmware);
    readFixed(reader, "module", texts.module);
    reader.count("serial", serial);
    texts.serial = bigEndian(static_cast<quint32>(serial));
}

void readTransducer(JsonReader &reader, InstrumentTexts &texts)
{
    texts.form = InstrumentTexts::Transducer;
    texts.firmware = QStringLiteral("1203");
    texts.module = QStringLiteral("MODULE");
    QByteArray serial = "12345678";
    readFixed(reader, "firmware", texts.firmware);
    reader.text("module", texts.module);
    reader.text("serial", serial);
    if (!isHex(serial, 8)) {
        reader.fail("serial", QStringLiteral("eight hexadecimal digits"));
    }
    texts.serial = QByteArray::fromHex(serial);
}

void readJson(JsonReader &reader, InstrumentTexts &texts)
{
    texts.form = InstrumentTexts::Json;
    reader.object("texts", texts.keys);
    texts.module = texts.keys.value(QLatin1String("ID")).toString();
    texts.firmware = texts.keys.value(QLatin1String("FW")).toString();
}

// What only instruments of its kind have.
void readKind(JsonReader &reader, const QString &kind, InstrumentSpec &spec)
{
    if (kind == QLatin1String("powerSupply")) {
        readPowerSupply(reader, spec);
    } else if (kind == QLatin1String("beamline")) {
        readBeamline(reader, spec.texts);
    } else if (kind == QLatin1String("transducer") || kind == QLatin1String("tools")) {
        readTransducer(reader, spec.texts);
    } else if (kind == QLatin1String("json")) {
        readJson(reader, spec.texts);
    } else if (spec.kind == InstrumentSpec::Module) {
        JsonReader part = reader.part("tunnel");
        spec.tunnel = readTunnelSpec(part);
    } else if (spec.kind == InstrumentSpec::MotorDriver) {
        JsonReader part = reader.part("motor");
        spec.motor = readMotorDriverSpec(part);
    } else {
        reader.fail("kind",
                    QStringLiteral("powerSupply, beamline, transducer, tools, json, module or motorDriver"));
    }
    if (spec.kind == InstrumentSpec::Quorvex) {
        spec.update = readUpdateSpec(reader);
        if (!spec.update.newCode.isEmpty()) {
            checkCode(reader, "newCode", spec.update.newCode);
        }
    }
}

void readIdentity(JsonReader &reader, bool hasCode, NetworkIdentity &identity)
{
    QString mac;
    reader.requiredText("mac", mac);
    const auto bytes = macFromText(mac);
    identity.mac = bytes.value_or(QByteArray(6, '\0'));
    if (!bytes) {
        reader.fail("mac", QStringLiteral("six pairs of hexadecimal digits joined by \":\""));
    }
    if (hasCode) {
        reader.requiredText("code", identity.code);
        checkCode(reader, "code", identity.code);
    }
    reader.address("ip", identity.ip);
    if (!isHostAddress(identity.ip)) {
        reader.fail("ip", QStringLiteral("an address that a host can have"));
    }
    identity.netmask = 0xFFFFFF00;
    identity.gateway = (identity.ip & identity.netmask) | 1;
    reader.address("netmask", identity.netmask);
    reader.address("gateway", identity.gateway);
    reader.flag("dhcp", identity.dhcp);
}

Cable readCable(JsonReader &reader, quint32 ip, const QVector<Cable> &cables)
{
    QString name;
    reader.text("interface", name);
    const auto cable = std::find_if(cables.cbegin(), cables.cend(), [&name, ip](const Cable &candidate) {
        return name.isEmpty() ? candidate.isLocal(ip) : candidate.name == name;
    });
    if (cable == cables.cend()) {
        reader.fail("interface",
                    name.isEmpty() ? QStringLiteral("given, because no cable has a network with this \"ip\"")
                                   : QStringLiteral("one of the lab's interfaces"));
        return {};
    }
    return *cable;
}

} // namespace

InstrumentSpec readInstrumentSpec(JsonReader &reader, const QVector<Cable> &cables)
{
    InstrumentSpec spec;
    QString kind;
    reader.requiredText("kind", kind);
    if (kind == QLatin1String("module")) {
        spec.kind = InstrumentSpec::Module;
    } else if (kind == QLatin1String("motorDriver")) {
        spec.kind = InstrumentSpec::MotorDriver;
    }
    readIdentity(reader, spec.kind == InstrumentSpec::Quorvex, spec.identity);
    spec.cable = readCable(reader, spec.identity.ip, cables);
    readKind(reader, kind, spec);
    JsonReader faults = reader.part("faults");
    spec.faults = readFaults(faults, kind == QLatin1String("json"));
    spec.restartMs = spec.kind == InstrumentSpec::Quorvex ? 1000 : 2000;
    reader.milliseconds("applyMs", spec.applyMs);
    reader.milliseconds("restartMs", spec.restartMs);
    for (const char *key : {"count", "expect", "expectExtra"}) {
        reader.ignore(key); // of the scenario; and what a user should see: for tests, not for the instrument
    }
    reader.finish();
    return spec;
}
