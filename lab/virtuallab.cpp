#include "virtuallab.h"

#include "quorvexinstrument.h"
#include "xportmodule.h"

#include <algorithm>

namespace {

constexpr quint16 discoveryPort = 30719;
constexpr quint16 modulePort = 30718;
constexpr int moduleQuerySize = 4;

bool isQuery(const Datagram &datagram)
{
    return datagram.toPort == discoveryPort ? datagram.bytes == "Quorvex Dev?"
                                            : datagram.bytes.size() == moduleQuerySize;
}

} // namespace

VirtualLab::VirtualLab(bool verbose)
    : m_discovery(discoveryPort), m_modules(modulePort), m_bench{m_addresses, m_discovery, m_modules, verbose}
{
    for (UdpFace *face : {&m_discovery, &m_modules}) {
        connect(face, &UdpFace::received, this,
                [this, face](const Datagram &datagram) { dispatch(*face, datagram); });
        connect(face, &UdpFace::sendFailed, this, [this](const Datagram &datagram, const QString &reason) {
            Fields fields = eventFields(datagram);
            fields.insert(QStringLiteral("reason"), reason);
            m_log.report("sendFailed", fields);
        });
    }
}

bool VirtualLab::open(const QVector<Cable> &cables, QString *error)
{
    m_cables = cables;
    // The ports first: while another lab holds them, its addresses are no leftovers.
    return m_discovery.open(error) && m_modules.open(error) && m_addresses.open(cables, error);
}

bool VirtualLab::populate(const QVector<InstrumentSpec> &specs, QString *error)
{
    for (const InstrumentSpec &spec : specs) {
        Instrument *instrument = makeInstrument(spec);
        m_instruments.append(instrument);
        if (!instrument->start()) {
            *error = QStringLiteral("%1: the address %2 is not to be had on %3")
                         .arg(macText(instrument->mac()), addressText(spec.identity.ip), spec.cable.name);
            return false;
        }
    }
    return true;
}

Instrument *VirtualLab::makeInstrument(const InstrumentSpec &spec)
{
    if (spec.kind == InstrumentSpec::Quorvex) {
        return new QuorvexInstrument(spec, m_bench, this);
    }
    return new XportModule(spec, m_bench, this);
}

const Cable *VirtualLab::cableOf(const Datagram &datagram) const
{
    const auto cable = std::find_if(m_cables.cbegin(), m_cables.cend(), [&datagram](const Cable &candidate) {
        return candidate.index == datagram.interfaceIndex;
    });
    return cable == m_cables.cend() ? nullptr : &*cable;
}

void VirtualLab::dispatch(UdpFace &face, const Datagram &datagram)
{
    const Cable *cable = cableOf(datagram);
    if (cable == nullptr) {
        return; // the host talking to itself
    }
    QVector<Instrument *> hearers;
    std::copy_if(m_instruments.cbegin(), m_instruments.cend(), std::back_inserter(hearers),
                 [&face, &datagram](const Instrument *instrument) {
                     return &instrument->face() == &face && instrument->hears(datagram);
                 });
    if (isQuery(datagram)) {
        reportQuery(datagram, *cable, hearers);
    }
    bool taken = false;
    QString reason = QStringLiteral("nobody there");
    for (Instrument *instrument : qAsConst(hearers)) {
        const QString refusal = instrument->receive(datagram);
        taken = taken || refusal.isEmpty();
        reason = refusal;
    }
    if (!taken) {
        Fields fields = eventFields(datagram);
        fields.insert(QStringLiteral("interface"), cable->name);
        fields.insert(QStringLiteral("reason"), reason);
        m_log.report("ignored", fields);
    }
}

void VirtualLab::reportQuery(const Datagram &datagram, const Cable &cable,
                             const QVector<Instrument *> &hearers)
{
    Fields fields = eventFields(datagram);
    fields.insert(QStringLiteral("interface"), cable.name);
    fields.insert(QStringLiteral("heardBy"), hearers.size());
    const bool single = hearers.size() == 1 && !cable.isBroadcast(datagram.to);
    (single ? hearers.first()->log() : m_log).report("query", fields);
}

QString VirtualLab::carryOut(const QJsonObject &command) const
{
    const auto mac = macFromText(command.value(QLatin1String("mac")).toString());
    const auto instrument =
        std::find_if(m_instruments.cbegin(), m_instruments.cend(),
                     [&mac](const Instrument *candidate) { return mac && candidate->mac() == *mac; });
    return instrument == m_instruments.cend() ? QStringLiteral("no instrument with this MAC")
                                              : (*instrument)->carryOut(command);
}
