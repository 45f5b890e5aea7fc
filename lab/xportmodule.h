#pragma once

#include "instrument.h"
#include "moduleservice.h"

#include <memory>

// A Lantronix XPort serial server. It answers queries on UDP 30718, takes a new address from an
// "IP-SETUP" datagram that ends in the last two bytes of its MAC address, without an answer and with
// a restart that cuts all its connections, and offers what is behind it over TCP (moduleservice.h).
//
// Event "ipSetup" with all bytes, via, the interface and the new address.
class XportModule : public Instrument
{
    Q_OBJECT

public:
    XportModule(const InstrumentSpec &spec, const Workbench &bench, QObject *parent);

    QString receive(const Datagram &datagram) override;
    QString carryOut(const QJsonObject &command) override;

protected:
    QJsonObject state() const override;
    void cameUp() override;
    void goesDown() override { m_service->stop(); }

private:
    std::unique_ptr<ModuleService> m_service;
};
