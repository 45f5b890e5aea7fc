#include "xportmodule.h"

#include <QtEndian>

namespace {

constexpr int querySize = 4;

QByteArray identification(const NetworkIdentity &identity)
{
    const QByteArray imageStart = QByteArray::fromHex("00205006" // then the type, "X5"
                                                      "58354b0fff13000062a7e896");
    const QByteArray deviceInformation = QByteArray::fromHex("ff00") + identity.mac.right(2);
    return imageStart + deviceInformation + identity.mac;
}

QByteArray version()
{
    return QByteArray::fromHex("09041eefff000000ffffffff") + QByteArrayLiteral("6.5.0.7\0") +
           QByteArray::fromHex("ffffffffffffffff06");
}

QByteArray setupRecord(const NetworkIdentity &identity)
{
    constexpr int recordSize = 120;
    QByteArray record(recordSize, '\0');
    qToBigEndian(identity.ip, record.data());
    qToBigEndian(identity.gateway, record.data() + 0x0C);
    record[0x06] = static_cast<char>(qPopulationCount(~identity.netmask)); // bits of the host part
    record[0x10] = '\x4C';                                                 // RS-232, 8N1
    qToLittleEndian<quint16>(10001, record.data() + 0x14);
    record[0x1C] = '\xC0'; // accepts any connection when there is none
    return record;
}

// The answers on UDP 30718. A query has exactly four bytes, 00, 00 or 01, 00 and the function; an answer
// starts with 00 00 00 and the function plus one:
//
//   F6 -> F7   30 bytes: 16 of the firmware image (bytes 8-9 its type, "X5"), 4 of device
//              information, and the MAC address in bytes 24-29
//   F4 -> F5   33 bytes: the version as text from byte 16
//   F8 -> F9  124 bytes: setup record 0, which starts with the module's IPv4 address
//
// Anything else stays without an answer, empty, as the real module keeps silent.
QByteArray answerTo(const QByteArray &query, const NetworkIdentity &identity)
{
    if (query.size() != querySize || query[0] != 0 || (query[1] != 0 && query[1] != 1) || query[2] != 0) {
        return {};
    }
    switch (static_cast<quint8>(query[3])) {
    case 0xF6:
        return QByteArray::fromHex("000000f7") + identification(identity);
    case 0xF4:
        return QByteArray::fromHex("000000f5") + version();
    case 0xF8:
        return QByteArray::fromHex("000000f9") + setupRecord(identity);
    default:
        return {};
    }
}

// "IP-SETUP", 20 bytes: the head, 00 00, the last two bytes of the MAC (14-15) and the new address (16-19).
// It names no more of the module than those two bytes.
QByteArray ipSetupHead()
{
    return QByteArray::fromHex("000000fc") + "IP-SETUP";
}

constexpr int ipSetupSize = 20;

} // namespace

XportModule::XportModule(const InstrumentSpec &spec, const Workbench &bench, QObject *parent)
    : Instrument(spec, bench, bench.modules, parent)
{
    if (spec.kind == InstrumentSpec::MotorDriver) {
        m_service = std::make_unique<MotorDriver>(spec.motor, mac(), log());
    } else {
        m_service = std::make_unique<Tunnel>(spec.tunnel, log());
    }
    connect(m_service.get(), &ModuleService::restartWanted, this, [this] { reboot(true); });
}

QString XportModule::receive(const Datagram &datagram)
{
    const QByteArray reply = answerTo(datagram.bytes, identity());
    if (!reply.isEmpty()) {
        answer(datagram, reply);
        return {};
    }
    if (!datagram.bytes.startsWith(ipSetupHead())) {
        return QStringLiteral("unknown");
    }
    if (datagram.bytes.size() != ipSetupSize || datagram.bytes.mid(12, 2) != QByteArray(2, '\0')) {
        return QStringLiteral("length");
    }
    if (datagram.bytes.mid(14, 2) != mac().right(2)) {
        return QStringLiteral("other MAC");
    }
    NetworkIdentity next = identity();
    next.ip = qFromBigEndian<quint32>(datagram.bytes.constData() + 16);
    if (!isHostAddress(next.ip)) {
        return QStringLiteral("address");
    }
    log().report("ipSetup", {{"bytes", hexDigits(datagram.bytes)},
                             {"via", wayOf(datagram)},
                             {"interface", cable().name},
                             {"ip", addressText(next.ip)}});
    keepForRestart(next);
    reboot(next.ip == identity().ip);
    return {};
}

QJsonObject XportModule::state() const
{
    QJsonObject state = Instrument::state();
    const QJsonObject motor = m_service->state();
    if (!motor.isEmpty()) {
        state.insert(QStringLiteral("motor"), motor);
    }
    return state;
}

QString XportModule::carryOut(const QJsonObject &command)
{
    const QString refusal = Instrument::carryOut(command);
    return refusal.isEmpty() ? refusal : m_service->carryOut(command);
}

void XportModule::cameUp()
{
    if (!m_service->start(identity())) {
        log().report("listenFailed", {{"ip", addressText(identity().ip)}});
    }
}
