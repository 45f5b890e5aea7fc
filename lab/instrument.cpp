#include "instrument.h"

#include "eventlog.h"
#include "hostaddresses.h"
#include "udpface.h"

namespace {

constexpr int shownBytes = 128; // of a datagram, in an event

QString place(quint32 address, quint16 port)
{
    return QStringLiteral("%1:%2").arg(addressText(address)).arg(port);
}

} // namespace

QJsonObject eventFields(const Datagram &datagram)
{
    return {{QStringLiteral("from"), place(datagram.from, datagram.fromPort)},
            {QStringLiteral("to"), place(datagram.to, datagram.toPort)},
            {QStringLiteral("size"), datagram.bytes.size()},
            {QStringLiteral("bytes"), QString::fromLatin1(datagram.bytes.left(shownBytes).toHex())}};
}

Instrument::Instrument(const InstrumentSpec &spec, const Workbench &bench, UdpFace &face, QObject *parent)
    : QObject(parent),
      m_identity(spec.identity),
      m_cable(spec.cable),
      m_faults(spec.faults),
      m_bench(bench),
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
    if (!m_bench.addresses.add(m_identity.ip, m_cable)) {
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
    if (!m_bench.addresses.add(m_identity.ip, m_cable)) {
        report(QStringLiteral("addressFailed"), {{QStringLiteral("ip"), addressText(m_identity.ip)}});
    }
    giveUpAddress(before);
    m_up = true;
    cameUp();
    if (m_identity.ip != before) {
        report(QStringLiteral("addressChanged"), {{QStringLiteral("from"), addressText(before)},
                                                  {QStringLiteral("to"), addressText(m_identity.ip)}});
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
        m_bench.addresses.remove(address, m_cable);
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

bool Instrument::reboot(bool keepsAddress)
{
    if (!m_up && !m_restart.isActive()) {
        return false;
    }
    goDown(keepsAddress);
    m_restart.start();
    return true;
}

void Instrument::finishRestart()
{
    comeUp();
    report(QStringLiteral("rebooted"), {{QStringLiteral("ip"), addressText(m_identity.ip)}});
}

void Instrument::remove()
{
    m_restart.stop();
    goDown();
    giveUpAddress(m_identity.ip);
    report(QStringLiteral("removed"));
}

void Instrument::restore()
{
    m_restart.stop();
    if (!m_up) {
        comeUp();
    }
    report(QStringLiteral("restored"), {{QStringLiteral("ip"), addressText(m_identity.ip)}});
}

QJsonObject Instrument::state() const
{
    return {{QStringLiteral("up"), m_up},
            {QStringLiteral("interface"), m_cable.name},
            {QStringLiteral("ip"), addressText(m_identity.ip)},
            {QStringLiteral("netmask"), addressText(m_identity.netmask)},
            {QStringLiteral("gateway"), addressText(m_identity.gateway)},
            {QStringLiteral("dhcp"), m_identity.dhcp},
            {QStringLiteral("afterRestart"), m_next ? addressText(m_next->ip) : QString()}};
}

void Instrument::answer(const Datagram &query, const QByteArray &reply)
{
    if (isDropped(m_faults, ++m_queries)) {
        QJsonObject fields = eventFields(query);
        fields.insert(QStringLiteral("reason"), QStringLiteral("drop"));
        report(QStringLiteral("ignored"), fields);
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
        return; // unplugged between question and answer
    }
    for (const QByteArray &bytes : datagrams) {
        const Datagram datagram{bytes,      m_identity.ip,  m_face.port(),
                                query.from, query.fromPort, m_cable.index};
        m_face.send(datagram);
        if (m_bench.verbose) {
            report(QStringLiteral("reply"), eventFields(datagram));
        }
    }
}

void Instrument::report(const QString &event, const QJsonObject &fields) const
{
    m_bench.log.report(event, macName(), fields);
}

QString Instrument::wayOf(const Datagram &datagram) const
{
    return m_cable.isBroadcast(datagram.to) ? QStringLiteral("broadcast") : QStringLiteral("unicast");
}
