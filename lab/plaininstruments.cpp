#include "plaininstruments.h"

#include "eventlog.h"

namespace {

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
    const QString text = QString::number(number);
    InstrumentTexts &texts = spec.texts;
    switch (number % 4) {
    case 0:
        spec.identity.code = QStringLiteral("1100");
        texts.firmware = QStringLiteral("2.1.04");
        texts.serial = "24" + QByteArray::number(number).rightJustified(5, '0');
        texts.module = QStringLiteral("QPS-") + text;
        texts.note = QStringLiteral("REV C");
        texts.site = QStringLiteral("HALL 2");
        break;
    case 1:
        spec.identity.code = QStringLiteral("2100");
        texts.form = InstrumentTexts::Beamline;
        texts.firmware = QStringLiteral("1203");
        texts.serial = bigEndian(1800000 + static_cast<quint32>(number));
        texts.module = QStringLiteral("QB4A");
        break;
    case 2:
        spec.identity.code = QStringLiteral("3100");
        texts.form = InstrumentTexts::Transducer;
        texts.firmware = QStringLiteral("2011");
        texts.serial = QByteArray::fromHex("2114") + spec.identity.mac.right(2);
        texts.module = QStringLiteral("QCT-") + text;
        break;
    default:
        spec.identity.code = QStringLiteral("1900");
        texts.form = InstrumentTexts::Json;
        texts.keys =
            Fields{{"ID", QStringLiteral("QPX-") + text}, {"SN", text}, {"FW", QLatin1String("3.0.12")}};
    }
}

} // namespace

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
        spec.update.enabled = false;
    }
    return specs;
}
