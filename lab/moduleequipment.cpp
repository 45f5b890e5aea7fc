#include "moduleequipment.h"

#include "instrumentspec.h"
#include "lineresponder.h"
#include "motordriverservice.h"
#include "tunnel.h"
#include "xportmodule.h"

void equipModule(XportModule &module, const ModuleSpec &spec, EventLog &log)
{
    if (spec.motor) {
        module.addService(std::make_unique<MotorDriverService>(*spec.motor, module, log));
        return;
    }
    auto partner = std::make_unique<LineResponder>(spec.tunnel, log, module.macName());
    module.addService(
        std::make_unique<Tunnel>(std::move(partner), spec.tunnel.manner, log, module.macName()));
}
