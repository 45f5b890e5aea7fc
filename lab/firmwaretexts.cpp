#include "firmwaretexts.h"

#include <QRegularExpression>

namespace {

constexpr int fixedSize = 4; // of a firmware text in a binary reply without text block

QString idKey()
{
    return QStringLiteral("ID");
}

QString firmwareKey()
{
    return QStringLiteral("FW");
}

struct Name
{
    QString operator()(const BeamlineTexts &texts) const { return QString::fromLatin1(texts.module); }
    QString operator()(const JsonTexts &texts) const { return texts.keys.value(idKey()).toString(); }
    QString operator()(const ModuleSpec & /*unused*/) const { return {}; }
    template <typename Texts>
    QString operator()(const Texts &texts) const
    {
        return texts.module;
    }
};

struct Firmware
{
    QString operator()(const PowerSupplyTexts &texts) const { return texts.firmware; }
    QString operator()(const JsonTexts &texts) const { return texts.keys.value(firmwareKey()).toString(); }
    QString operator()(const ModuleSpec & /*unused*/) const { return {}; }
    template <typename Texts>
    QString operator()(const Texts &texts) const
    {
        return QString::fromLatin1(texts.firmware);
    }
};

struct GiveFirmware
{
    const QString &firmware;

    void operator()(PowerSupplyTexts &texts) const { texts.firmware = firmware; }
    void operator()(JsonTexts &texts) const { texts.keys.insert(firmwareKey(), firmware); }
    void operator()(ModuleSpec & /*unused*/) const {}
    template <typename Texts>
    void operator()(Texts &texts) const
    {
        texts.firmware = firmware.toLatin1();
    }
};

} // namespace

QString moduleName(const InstrumentTexts &texts)
{
    return std::visit(Name{}, texts);
}

QString firmwareOf(const InstrumentTexts &texts)
{
    return std::visit(Firmware{}, texts);
}

QString firmwareVersion(const InstrumentTexts &texts)
{
    QString firmware = firmwareOf(texts);
    if (std::holds_alternative<BeamlineTexts>(texts) || std::holds_alternative<TransducerTexts>(texts)) {
        return QStringLiteral("%1.%2.%3").arg(firmware.left(1), firmware.mid(1, 1), firmware.mid(2));
    }
    return firmware;
}

InstrumentTexts withFirmware(InstrumentTexts texts, const QString &firmware)
{
    std::visit(GiveFirmware{firmware}, texts);
    return texts;
}

QString nextFirmware(const QString &firmware)
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

bool fitsFirmware(const NetworkIdentity &identity, const InstrumentTexts &texts, const QString &firmware)
{
    const InstrumentTexts updated = withFirmware(texts, firmware);
    if (const auto *powerSupply = std::get_if<PowerSupplyTexts>(&updated)) {
        return textBlock(identity, *powerSupply).size() < textBlockSize;
    }
    return std::holds_alternative<JsonTexts>(updated) || firmware.toLatin1().size() == fixedSize;
}
