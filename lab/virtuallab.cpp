#include "virtuallab.h"

#include "commandreader.h"
#include "eventlog.h"
#include "moduleequipment.h"
#include "updatableinstrument.h"
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

VirtualLab::VirtualLab(EventLog &log, bool verbose, QObject *parent)
    : QObject(parent),
      m_log(log),
      m_discovery(discoveryPort),
      m_modules(modulePort),
      m_bench{log, m_addresses, m_discovery, m_modules, verbose}
{
    for (UdpFace *face : {&m_discovery, &m_modules}) {
        connect(face, &UdpFace::received, this,
                [this, face](const Datagram &datagram) { dispatch(*face, datagram); });
        connect(face, &UdpFace::sendFailed, this, [this](const Datagram &datagram, const QString &reason) {
            QJsonObject fields = eventFields(datagram);
            fields.insert(QStringLiteral("reason"), reason);
            m_log.report(QStringLiteral("sendFailed"), {}, fields);
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
                         .arg(instrument->macName(), addressText(spec.identity.ip), spec.cable.name);
            return false;
        }
    }
    return true;
}

Instrument *VirtualLab::makeInstrument(const InstrumentSpec &spec)
{
    if (const auto *module = std::get_if<ModuleSpec>(&spec.texts)) {
        auto *xport = new XportModule(spec, m_bench, this);
        equipModule(*xport, *module, m_log);
        return xport;
    }
    if (spec.update.enabled) {
        return new UpdatableInstrument(spec, m_bench, this);
    }
    return new QuorvexInstrument(spec, m_bench, this);
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
        QJsonObject fields = eventFields(datagram);
        fields.insert(QStringLiteral("interface"), cable->name);
        fields.insert(QStringLiteral("reason"), reason);
        m_log.report(QStringLiteral("ignored"), {}, fields);
    }
}

void VirtualLab::reportQuery(const Datagram &datagram, const Cable &cable,
                             const QVector<Instrument *> &hearers)
{
    QJsonObject fields = eventFields(datagram);
    fields.insert(QStringLiteral("interface"), cable.name);
    fields.insert(QStringLiteral("heardBy"), hearers.size());
    const bool single = hearers.size() == 1 && !cable.isBroadcast(datagram.to);
    m_log.report(QStringLiteral("query"), single ? hearers.first()->macName() : QString(), fields);
}

Instrument *VirtualLab::find(const QJsonObject &command) const
{
    const auto mac = macFromText(command.value(QStringLiteral("mac")).toString());
    const auto instrument =
        std::find_if(m_instruments.cbegin(), m_instruments.cend(),
                     [&mac](const Instrument *candidate) { return mac && candidate->mac() == *mac; });
    return instrument == m_instruments.cend() ? nullptr : *instrument;
}

void VirtualLab::registerCommands(CommandReader &commands)
{
    const auto add = [this, &commands](const QString &name, const std::function<QString(Instrument &)> &act) {
        commands.add(name, [this, act](const QJsonObject &command) {
            Instrument *instrument = find(command);
            return instrument == nullptr ? QStringLiteral("no instrument with this MAC") : act(*instrument);
        });
    };
    add(QStringLiteral("reboot"), [](Instrument &instrument) {
        return instrument.reboot() ? QString() : QStringLiteral("not plugged in");
    });
    add(QStringLiteral("remove"), [](Instrument &instrument) {
        instrument.remove();
        return QString();
    });
    add(QStringLiteral("restore"), [](Instrument &instrument) {
        instrument.restore();
        return QString();
    });
    for (const QString &name : {QStringLiteral("dumpFlash"), QStringLiteral("dumpImage")}) {
        commands.add(name, [this](const QJsonObject &command) {
            Instrument *instrument = find(command);
            return instrument == nullptr ? QStringLiteral("no instrument with this MAC")
                                         : instrument->carryOut(command);
        });
    }
    add(QStringLiteral("state"), [this](Instrument &instrument) {
        m_log.report(QStringLiteral("state"), instrument.macName(), instrument.state());
        return QString();
    });
}
