#include "xportmodule.h"

#include "modulereply.h"
#include "setdatagram.h"

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
    const QByteArray reply = encodeModuleAnswer(datagram.bytes, identity());
    if (!reply.isEmpty()) {
        answer(datagram, reply);
        return {};
    }
    if (!isIpSetup(datagram.bytes)) {
        return QStringLiteral("unknown");
    }
    const auto setup = readIpSetup(datagram.bytes);
    if (!setup) {
        return QStringLiteral("length");
    }
    if (setup->macEnd != mac().right(setup->macEnd.size())) {
        return QStringLiteral("other MAC");
    }
    if (!isHostAddress(setup->ip)) {
        return QStringLiteral("address");
    }
    log().report("ipSetup", {{"bytes", hexDigits(datagram.bytes)},
                             {"via", wayOf(datagram)},
                             {"interface", cable().name},
                             {"ip", addressText(setup->ip)}});
    NetworkIdentity next = identity();
    next.ip = setup->ip;
    keepForRestart(next);
    reboot(next.ip == identity().ip);
    return {};
}

QJsonObject XportModule::state() const
{
    QJsonObject state = Instrument::state();
    const QJsonObject part = m_service->state();
    for (auto field = part.constBegin(); field != part.constEnd(); ++field) {
        state.insert(field.key(), *field);
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
