#pragma once

#include "faults.h"
#include "hostaddresses.h"
#include "motor/motordriver.h"
#include "networkidentity.h"
#include "replyencoder.h"
#include "tunnel.h"
#include "updatedialogue.h"

#include <QVector>

class JsonReader;

// One instrument as a scenario describes it, checked and complete.
struct InstrumentSpec
{
    enum Kind {
        Quorvex,    // with a network interface of its own, as its texts and `update` say
        Module,     // a serial server, `tunnel`
        MotorDriver // a serial server, `motor`
    };

    Kind kind = Quorvex;
    NetworkIdentity identity;
    Cable cable;
    Faults faults;
    InstrumentTexts texts;
    UpdateSpec update;
    TunnelSpec tunnel;
    MotorDriverSpec motor;
    int applyMs = 300;    // from a set datagram to life at the new address
    int restartMs = 1000; // how long a restart takes
    quint32 seed = 1;     // of its random bytes
};

// Reads one object of a scenario. `cables` are those that instruments can sit on; an instrument sits
// on the one whose network holds its address, unless the object names another.
InstrumentSpec readInstrumentSpec(JsonReader &reader, const QVector<Cable> &cables);
