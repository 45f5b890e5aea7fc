#include "moduleequipment.h"

#include "lineresponder.h"
#include "tunnel.h"
#include "xportmodule.h"

void equipModule(XportModule &module, const TunnelSpec &spec, EventLog &log)
{
    auto partner = std::make_unique<LineResponder>(spec, log, module.macName());
    module.addService(std::make_unique<Tunnel>(std::move(partner), spec.manner, log, module.macName()));
}
