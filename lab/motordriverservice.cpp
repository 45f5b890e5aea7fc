#include "motordriverservice.h"

#include "eventlog.h"
#include "xportmodule.h"

#include <QFile>
#include <QtAlgorithms>

MotorDriverService::MotorDriverService(const MotorDriverSpec &spec, XportModule &module, EventLog &log)
    : m_module(module), m_log(log), m_driver(spec)
{
    connect(&m_driver, &MotorDriver::happened, this, &MotorDriverService::report);
    connect(&m_driver, &MotorDriver::restarts, this, &MotorDriverService::restart);
}

bool MotorDriverService::start(quint32 address)
{
    ModuleSettings settings = m_driver.settings();
    settings.ip = address;
    settings.hasGateway = m_module.identity().gateway != 0 ? 1 : 0;
    settings.gateway = m_module.identity().gateway;
    settings.hostBits = 32 - qPopulationCount(m_module.identity().netmask);
    m_driver.setSettings(settings);
    return m_driver.open(QHostAddress(address), m_module.mac());
}

void MotorDriverService::restart()
{
    const ModuleSettings &settings = m_driver.settings();
    NetworkIdentity next = m_module.identity();
    next.netmask = settings.netmask();
    next.gateway = settings.hasGateway != 0 ? settings.gateway : 0;
    if (isHostAddress(settings.ip)) {
        next.ip = settings.ip;
    }
    m_module.restartAs(next);
}

QJsonObject MotorDriverService::state() const
{
    return {{QStringLiteral("motor"), m_driver.state()}};
}

QString MotorDriverService::carryOut(const QJsonObject &command)
{
    if (command.value(QStringLiteral("command")) != QStringLiteral("dumpFlash")) {
        return ModuleService::carryOut(command);
    }
    const QString name = command.value(QStringLiteral("dsp")).toString();
    const QString path = command.value(QStringLiteral("path")).toString();
    const DspPair &dsps = m_driver.dsps();
    for (const Dsp *dsp : {&dsps.communication(), &dsps.control()}) {
        if (dsp->name() != name) {
            continue;
        }
        const QByteArray bytes = dsp->flash().dump();
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.flush()) {
            return path + QStringLiteral(": ") + file.errorString();
        }
        report(QStringLiteral("flashDumped"), {{QStringLiteral("dsp"), name},
                                               {QStringLiteral("path"), path},
                                               {QStringLiteral("words"), bytes.size() / 2}});
        return {};
    }
    return QStringLiteral("\"dsp\" must be \"communication\" or \"control\"");
}

void MotorDriverService::report(const QString &event, const QJsonObject &fields)
{
    m_log.report(event, m_module.macName(), fields);
}
