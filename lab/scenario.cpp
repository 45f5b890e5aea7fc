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

Scenario failed(const QString &error)
{
    return {{}, error};
}

} // namespace

Scenario readScenario(const QByteArray &json, const QVector<Cable> &cables)
{
    QJsonParseError problem{};
    const QJsonDocument document = QJsonDocument::fromJson(json, &problem);
    if (!document.isObject()) {
        return failed(problem.error == QJsonParseError::NoError
                          ? QStringLiteral("the file must hold one JSON object")
                          : QStringLiteral("%1 at byte %2").arg(problem.errorString()).arg(problem.offset));
    }
    JsonReader reader(document.object(), QStringLiteral("scenario"));
    reader.text(QStringLiteral("title"), {});
    const int seed = reader.number(QStringLiteral("seed"), 1, 0, 0x7FFFFFFF);
    const QJsonValue list = document.object().value(QStringLiteral("instruments"));
    reader.ignore(QStringLiteral("instruments"));
    if (!list.isArray()) {
        reader.fail(QStringLiteral("instruments"), QStringLiteral("an array"));
    }
    reader.finish();

    Scenario scenario{{}, reader.error()};
    int position = 0;
    for (const QJsonValue &value : list.toArray()) {
        const QJsonObject object = value.toObject();
        JsonReader instrument(object, nameOf(object, ++position));
        const int count = instrument.number(QStringLiteral("count"), 1, 1, mostOfOne);
        InstrumentSpec spec = readInstrumentSpec(instrument, cables);
        spec.seed = static_cast<quint32>(seed + position);
        if (scenario.error.isEmpty()) {
            scenario.error = instrument.error();
        }
        scenario.instruments += multiply(spec, count);
    }
    if (scenario.error.isEmpty()) {
        scenario.error = firstDoubleMac(scenario.instruments);
    }
    return scenario;
}
