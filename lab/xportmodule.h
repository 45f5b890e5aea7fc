#pragma once

#include "instrument.h"
#include "moduleservice.h"

#include <memory>
#include <vector>

// A Lantronix XPort serial server. It answers queries on UDP 30718, takes a new address from an
// "IP-SETUP" datagram that ends in the last two bytes of its MAC address, without an answer and with
// a restart that cuts all its connections, and carries TCP services (moduleservice.h).
//
// Event "ipSetup" with all bytes, via, the interface and the new address.
class XportModule : public Instrument
{
    Q_OBJECT

public:
    XportModule(const InstrumentSpec &spec, const Workbench &bench, QObject *parent);
    ~XportModule() override;

    // Before start().
    void addService(std::unique_ptr<ModuleService> service);

    QString receive(const Datagram &datagram) override;

    // Restarts, and comes back with these settings.
    void restartAs(const NetworkIdentity &next);

    using Instrument::identity;
    QJsonObject state() const override;
    QString carryOut(const QJsonObject &command) override;

protected:
    void cameUp() override;
    void goesDown() override;

private:
    ModuleTexts m_texts;
    std::vector<std::unique_ptr<ModuleService>> m_services;
};
