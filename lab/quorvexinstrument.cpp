#include "quorvexinstrument.h"

#include "devicecatalogue.h"
#include "setdatagram.h"

namespace {

// Picks the encoder of the instrument's kind.
struct Encode
{
    const NetworkIdentity &identity;

    template <typename Texts>
    QByteArray operator()(const Texts &texts) const
    {
        return encodeReply(identity, texts);
    }

    QByteArray operator()(const ModuleSpec & /*unused*/) const { return {}; } // silent on this port
};

} // namespace

QuorvexInstrument::QuorvexInstrument(const InstrumentSpec &spec, const Workbench &bench, QObject *parent)
    : Instrument(spec, bench, bench.discovery, parent), m_texts(spec.texts)
{
    m_apply.setSingleShot(true);
    m_apply.setInterval(spec.applyMs);
    connect(&m_apply, &QTimer::timeout, this, [this] { apply(m_wanted); });
}

QByteArray QuorvexInstrument::reply() const
{
    return std::visit(Encode{identity()}, m_texts);
}

QString QuorvexInstrument::receive(const Datagram &datagram)
{
    if (datagram.bytes == "Quorvex Dev?") {
        answer(datagram, reply());
        return {};
    }
    if (!isSetDatagram(datagram.bytes)) {
        return QStringLiteral("unknown");
    }
    const auto set = readSetDatagram(datagram.bytes);
    if (!set) {
        return QStringLiteral("length");
    }
    if (set->mac != mac()) {
        return QStringLiteral("other MAC");
    }
    if (!isHostAddress(set->ip)) {
        return QStringLiteral("address");
    }
    takeSettings(datagram, *set);
    return {};
}

void QuorvexInstrument::takeSettings(const Datagram &datagram, const SetDatagram &set)
{
    report(QStringLiteral("set"), {{QStringLiteral("bytes"), QString::fromLatin1(datagram.bytes.toHex())},
                                   {QStringLiteral("via"), wayOf(datagram)},
                                   {QStringLiteral("interface"), cable().name},
                                   {QStringLiteral("port"), set.port},
                                   {QStringLiteral("ip"), addressText(set.ip)}});
    m_wanted = identity();
    m_wanted.ip = set.ip;
    m_wanted.netmask = set.netmask;
    m_wanted.gateway = set.gateway;
    m_wanted.dhcp = set.dhcp == 1;
    if (devicecatalogue::is6100(identity().code)) {
        keepForRestart(m_wanted);
    } else {
        m_apply.start();
    }
}
