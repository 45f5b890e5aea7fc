#pragma once

#include "cable.h"
#include "faults.h"
#include "jsonreply.h"
#include "modulereply.h"
#include "motordriver.h"
#include "networkidentity.h"
#include "replyencoder.h"
#include "tunnelspec.h"
#include "updatespec.h"

#include <QJsonObject>
#include <QString>
#include <QVector>

#include <optional>
#include <variant>

class JsonReader;

// A serial-server module: what it tells of itself and what its tunnel leads to.
struct ModuleSpec
{
    ModuleTexts texts;
    TunnelSpec tunnel;
    std::optional<MotorDriverSpec> motor; // instead of what the tunnel leads to
};

using InstrumentTexts = std::variant<PowerSupplyTexts, BeamlineTexts, TransducerTexts, JsonTexts, ModuleSpec>;

// One instrument as a scenario describes it, checked and complete.
struct InstrumentSpec
{
    NetworkIdentity identity;
    Cable cable;
    InstrumentTexts texts;
    Faults faults;
    UpdateSpec update;
    int applyMs = 300;    // from a set datagram to life at the new address
    int restartMs = 1000; // how long a restart takes
    quint32 seed = 1;     // of its random bytes
};

// Reads one object of a scenario. `cables` are those that instruments can sit on; an instrument sits
// on the one whose network holds its address, unless the object names another.
InstrumentSpec readInstrumentSpec(JsonReader &reader, const QVector<Cable> &cables);
