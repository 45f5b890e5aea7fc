#include "scenario.h"

#include "eventlog.h"
#include "jsonreader.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <array>

namespace {

constexpr int mostOfOne = 20000;

QVector<InstrumentSpec> multiply(const InstrumentSpec &spec, int count)
{
    QVector<InstrumentSpec> specs(count, spec);
    for (int i = 0; i < count; ++i) {
        NetworkIdentity &identity = specs[i].identity;
        identity.mac = macPlus(identity.mac, static_cast<quint64>(i));
        identity.ip += static_cast<quint32>(i);
        specs[i].seed += static_cast<quint32>(i);
    }
    return specs;
}

QString nameOf(const QJsonObject &object, int position)
{
    return QStringLiteral("instrument %1 (%2)")
        .arg(position)
        .arg(object.value(QStringLiteral("mac")).toString(QStringLiteral("no MAC")));
}

QString firstDoubleMac(const QVector<InstrumentSpec> &instruments)
{
    QSet<QByteArray> seen;
    for (const InstrumentSpec &spec : instruments) {
        if (seen.contains(spec.identity.mac)) {
            return QStringLiteral("\"mac\": %1 belongs to two instruments").arg(macText(spec.identity.mac));
        }
        seen.insert(spec.identity.mac);
    }
    return {};
}

// Adds what one object of the file describes; scenario.error is the first error.
void addInstruments(Scenario &scenario, const QJsonObject &object, int position, int seed,
                    const QVector<Cable> &cables)
{
    JsonReader reader(object, nameOf(object, position), scenario.error);
    int count = 1;
    reader.number("count", count, 1, mostOfOne);
    InstrumentSpec spec = readInstrumentSpec(reader, cables);
    spec.seed = static_cast<quint32>(seed + position);
    const QVector<InstrumentSpec> specs = multiply(spec, count);
    for (const InstrumentSpec &one : specs) {
        if (!one.cable.hasRoomAt(one.identity.ip)) {
            reader.fail("ip", QStringLiteral("free: %1 is the lab host's or a network's own")
                                  .arg(addressText(one.identity.ip)));
        }
    }
    scenario.instruments += specs;
}

constexpr int roomInNetwork = 200;              // instruments with an address of their cable's network
constexpr quint32 overflowNetwork = 0x0A400000; // 10.64.0.0, one /16 a cable
constexpr quint32 workstationHost = 100;

// The k-th host number that is neither the workstation's nor above what is left for the lab host.
quint32 hostNumber(int k)
{
    const auto host = static_cast<quint32>(k) + 1;
    return host < workstationHost ? host : host + 1;
}

quint32 plainAddress(int k, int cable, const QVector<Cable> &cables)
{
    constexpr int hostsInBlock = 250;
    if (k < roomInNetwork) {
        return (cables[cable].address & cables[cable].netmask) + hostNumber(k);
    }
    const int i = k - roomInNetwork;
    return overflowNetwork + (static_cast<quint32>(cable) << 16) +
           (static_cast<quint32>(i / hostsInBlock) << 8) + static_cast<quint32>(i % hostsInBlock) + 1;
}

// Families in turn. Tools are not among them: they take a new address only after a restart.
void giveFamily(InstrumentSpec &spec, int number)
{
    struct Family
    {
        const char *code;
        InstrumentTexts::Form form;
        const char *firmware;
    };
    static constexpr std::array<Family, 4> families{{{"1100", InstrumentTexts::TextBlock, "2.1.04"},
                                                     {"2100", InstrumentTexts::Beamline, "1203"},
                                                     {"3100", InstrumentTexts::Transducer, "2011"},
                                                     {"1900", InstrumentTexts::Json, "3.0.12"}}};
    const Family &family = families.at(static_cast<std::size_t>(number) % families.size());
    const QString text = QString::number(number);
    spec.identity.code = QLatin1String(family.code);
    spec.texts.form = family.form;
    spec.texts.firmware = QLatin1String(family.firmware);
    spec.texts.module = QStringLiteral("QX-") + text;
    spec.texts.serial = family.form == InstrumentTexts::TextBlock ? text.toLatin1()
                                                                  : bigEndian(0x21140000U + quint32(number));
    spec.texts.keys = Fields{{"ID", spec.texts.module}, {"SN", text}};
    spec.update.enabled = false;
}

} // namespace

Scenario readScenario(const QByteArray &json, const QVector<Cable> &cables)
{
    QJsonParseError problem{};
    const QJsonDocument document = QJsonDocument::fromJson(json, &problem);
    Scenario scenario;
    if (!document.isObject()) {
        scenario.error =
            QStringLiteral("no JSON object: %1 at byte %2").arg(problem.errorString()).arg(problem.offset);
        return scenario;
    }
    JsonReader reader(document.object(), QStringLiteral("scenario"), scenario.error);
    int seed = 1;
    QJsonArray list;
    reader.ignore("title");
    reader.number("seed", seed, 0, 0x3FFFFFFF);
    reader.array("instruments", list);
    reader.finish();
    for (int i = 0; i < list.size(); ++i) {
        addInstruments(scenario, list.at(i).toObject(), i + 1, seed, cables);
    }
    if (scenario.error.isEmpty()) {
        scenario.error = firstDoubleMac(scenario.instruments);
    }
    return scenario;
}

QVector<InstrumentSpec> plainInstruments(int count, const QVector<Cable> &cables, const QSet<quint32> &taken)
{
    static const QByteArray firstMac = QByteArray::fromHex("001a2b800000");
    QVector<InstrumentSpec> specs(count);
    QVector<int> next(cables.size(), 0);
    for (int i = 0; i < count; ++i) {
        InstrumentSpec &spec = specs[i];
        const int cable = i % cables.size();
        spec.cable = cables[cable];
        spec.identity.mac = macPlus(firstMac, static_cast<quint64>(i));
        do {
            spec.identity.ip = plainAddress(next[cable]++, cable, cables);
        } while (taken.contains(spec.identity.ip));
        spec.identity.netmask = 0xFFFFFF00;
        spec.identity.gateway = (spec.identity.ip & spec.identity.netmask) | 1;
        // Families change with every round over the cables, so that each cable has all of them.
        giveFamily(spec, i / cables.size());
    }
    return specs;
}
