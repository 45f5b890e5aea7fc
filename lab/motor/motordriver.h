#pragma once

#include "dsppair.h"
#include "gpioport.h"
#include "moduleservice.h"
#include "pacedbytes.h"
#include "setupport.h"

#include <QByteArray>
#include <QJsonObject>

#include <optional>

class JsonReader;

// A scenario's "motor" object; docs/virtual-lab.md lists its keys.
struct MotorDriverSpec
{
    DspSpec dsps;
    SetupPortSpec setup;

    Pace replies;          // of both text ports, when they deliver in pieces
    bool pacedLine = true; // the serial line takes the time that its speed asks for
    int gpioWrongAnswerAt = 0;
    int cutAfterBytes = 0; // from a client of the tunnel, which then finds its connection broken; 0: never
    int cutConnection = 0; // only for this connection to the tunnel, from 1 on; 0: for each
    std::optional<QByteArray> oldBytes; // what the DSPs said to nobody is kept for the next client; this for
                                        // the first one
};

MotorDriverSpec readMotorDriverSpec(JsonReader &reader);

// A motor driver: what its module offers, the setup menu, the pins and the tunnel, and the DSPs behind
// them. The settings choose the tunnel's port and the speed of the serial line; when the menu was left
// with new ones, the module restarts.
//
// Command "dumpFlash" with dsp ("communication" or "control") and path: writes the words of the flash
// from 3E8000 on, the high byte of each first. Event "flashDumped" with dsp, path and words.
class MotorDriver : public ModuleService
{
    Q_OBJECT

public:
    // `mac`, six bytes, is the module's.
    MotorDriver(const MotorDriverSpec &spec, const QByteArray &mac, const EventLog &log);

    bool start(const NetworkIdentity &identity) override;

    // Connections break, the pins are what they were at first. The DSPs live on.
    void stop() override;

    QJsonObject state() const override;
    QString carryOut(const QJsonObject &command) override;

private:
    void greetClient();
    void passToClient(const QByteArray &bytes);

    MotorDriverSpec m_spec;
    QByteArray m_mac;
    EventLog m_log;
    ModuleSettings m_settings;
    int m_baudrate = 0; // since the last restart; the settings may already say another
    DspPair m_dsps;
    SetupPort m_setup;
    GpioPort m_gpio;
    ClientPort m_tunnel;
    PacedBytes m_lineIn; // to the DSPs
    PacedBytes m_lineOut;
    QByteArray m_unheard; // what the DSPs said while nobody was there
};
