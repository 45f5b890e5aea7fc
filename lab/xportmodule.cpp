#include "xportmodule.h"

#include "setdatagram.h"

XportModule::XportModule(const InstrumentSpec &spec, const Workbench &bench, QObject *parent)
    : Instrument(spec, bench, bench.modules, parent), m_texts(std::get<ModuleSpec>(spec.texts).texts)
{}

XportModule::~XportModule() = default;

void XportModule::addService(std::unique_ptr<ModuleService> service)
{
    m_services.push_back(std::move(service));
}

QString XportModule::receive(const Datagram &datagram)
{
    const QByteArray reply = encodeModuleAnswer(datagram.bytes, identity(), m_texts);
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
    report(QStringLiteral("ipSetup"), {{QStringLiteral("bytes"), QString::fromLatin1(datagram.bytes.toHex())},
                                       {QStringLiteral("via"), wayOf(datagram)},
                                       {QStringLiteral("interface"), cable().name},
                                       {QStringLiteral("ip"), addressText(setup->ip)}});
    NetworkIdentity next = identity();
    next.ip = setup->ip;
    restartAs(next);
    return {};
}

void XportModule::restartAs(const NetworkIdentity &next)
{
    const bool keepsAddress = next.ip == identity().ip;
    keepForRestart(next);
    reboot(keepsAddress);
}

QJsonObject XportModule::state() const
{
    QJsonObject state = Instrument::state();
    for (const auto &service : m_services) {
        const QJsonObject part = service->state();
        for (auto field = part.constBegin(); field != part.constEnd(); ++field) {
            state.insert(field.key(), *field);
        }
    }
    return state;
}

QString XportModule::carryOut(const QJsonObject &command)
{
    QString refusal = Instrument::carryOut(command);
    for (const auto &service : m_services) {
        refusal = refusal.isEmpty() ? refusal : service->carryOut(command);
    }
    return refusal;
}

void XportModule::cameUp()
{
    for (const auto &service : m_services) {
        if (!service->start(identity().ip)) {
            report(QStringLiteral("listenFailed"), {{QStringLiteral("ip"), addressText(identity().ip)}});
        }
    }
}

void XportModule::goesDown()
{
    for (const auto &service : m_services) {
        service->stop();
    }
}
