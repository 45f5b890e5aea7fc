#include "instrument.h"

namespace {

constexpr int shownBytes = 128; // of a datagram, in an event

QString place(quint32 address, quint16 port)
{
    return QStringLiteral("%1:%2").arg(addressText(address)).arg(port);
}

} // namespace

Fields eventFields(const Datagram &datagram)
{
    return {{"from", place(datagram.from, datagram.fromPort)},
            {"to", place(datagram.to, datagram.toPort)},
            {"size", datagram.bytes.size()},
            {"bytes", hexDigits(datagram.bytes.left(shownBytes))}};
}

Instrument::Instrument(const InstrumentSpec &spec, const Workbench &bench, UdpFace &face, QObject *parent)
    : QObject(parent),
      m_identity(spec.identity),
      m_cable(spec.cable),
      m_log(macText(spec.identity.mac)),
      m_faults(spec.faults),
      m_addresses(bench.addresses),
      m_verbose(bench.verbose),
      m_face(face),
      m_random(spec.seed)
{
    m_restart.setSingleShot(true);
    m_restart.setInterval(spec.restartMs);
    connect(&m_restart, &QTimer::timeout, this, &Instrument::finishRestart);
}

Instrument::~Instrument() = default;

bool Instrument::start()
{
    if (!m_addresses.add(m_identity.ip, m_cable)) {
        return false;
    }
    m_up = true;
    cameUp();
    return true;
}

bool Instrument::hears(const Datagram &datagram) const
{
    return m_up && datagram.interfaceIndex == m_cable.index &&
           (datagram.to == m_identity.ip || m_cable.isBroadcast(datagram.to));
}

void Instrument::comeUp()
{
    const quint32 before = m_identity.ip;
    if (m_next) {
        m_identity = *m_next;
        m_next.reset();
    }
    if (!m_addresses.add(m_identity.ip, m_cable)) {
        m_log.report("addressFailed", {{"ip", addressText(m_identity.ip)}});
    }
    giveUpAddress(before);
    m_up = true;
    cameUp();
    if (m_identity.ip != before) {
        m_log.report("addressChanged", {{"from", addressText(before)}, {"to", addressText(m_identity.ip)}});
    }
}

void Instrument::goDown(bool keepsAddress)
{
    if (!m_up) {
        return;
    }
    goesDown();
    m_up = false;
    m_keepsAddress = true;
    if (!keepsAddress) {
        giveUpAddress(m_identity.ip);
    }
}

void Instrument::giveUpAddress(quint32 address)
{
    if (m_keepsAddress) {
        m_addresses.remove(address, m_cable);
        m_keepsAddress = false;
    }
}

void Instrument::apply(const NetworkIdentity &next)
{
    m_next = next;
    if (m_up) {
        goDown();
        comeUp();
    }
}

void Instrument::reboot(bool keepsAddress)
{
    goDown(keepsAddress);
    m_restart.start();
}

void Instrument::finishRestart()
{
    comeUp();
    m_log.report("rebooted", {{"ip", addressText(m_identity.ip)}});
}

QString Instrument::carryOut(const QJsonObject &command)
{
    const QString name = command.value(QLatin1String("command")).toString();
    if (name == QLatin1String("reboot")) {
        reboot();
    } else if (name == QLatin1String("state")) {
        m_log.report("state", state());
    } else {
        return QStringLiteral("no such command, or not for this instrument");
    }
    return {};
}

QJsonObject Instrument::state() const
{
    return Fields{{"up", m_up},
                  {"interface", m_cable.name},
                  {"ip", addressText(m_identity.ip)},
                  {"netmask", addressText(m_identity.netmask)},
                  {"gateway", addressText(m_identity.gateway)},
                  {"dhcp", m_identity.dhcp},
                  {"afterRestart", m_next ? addressText(m_next->ip) : QString()}};
}

void Instrument::answer(const Datagram &query, const QByteArray &reply)
{
    if (isDropped(m_faults, ++m_queries)) {
        Fields fields = eventFields(query);
        fields.insert(QStringLiteral("reason"), QStringLiteral("drop"));
        m_log.report("ignored", fields);
        return;
    }
    const QVector<QByteArray> datagrams = spoil(reply, m_faults, m_random);
    if (m_faults.delayMs == 0) {
        sendNow(query, datagrams);
    } else {
        QTimer::singleShot(m_faults.delayMs, this, [this, query, datagrams] { sendNow(query, datagrams); });
    }
}

void Instrument::sendNow(const Datagram &query, const QVector<QByteArray> &datagrams)
{
    if (!m_up) {
        return; // restarted between question and answer
    }
    for (const QByteArray &bytes : datagrams) {
        const Datagram datagram{bytes,      m_identity.ip,  m_face.port(),
                                query.from, query.fromPort, m_cable.index};
        m_face.send(datagram);
        if (m_verbose) {
            m_log.report("reply", eventFields(datagram));
        }
    }
}

QString Instrument::wayOf(const Datagram &datagram) const
{
    return m_cable.isBroadcast(datagram.to) ? QStringLiteral("broadcast") : QStringLiteral("unicast");
}
