#include "scenario.h"

#include "jsonreader.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QSet>

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
