#pragma once

#include "dsppair.h"
#include "gpiopins.h"
#include "gpioport.h"
#include "moduleport.h"
#include "modulesettings.h"
#include "pacedbytes.h"
#include "setupport.h"

#include <QByteArray>
#include <QHostAddress>
#include <QJsonObject>
#include <QObject>

#include <optional>

struct MotorDriverSpec
{
    DspPairSpec dsps;
    SetupPortSpec setup;
    ModuleSettings settings = motorDriverSettings();

    Pace replies;          // of both text ports, when they deliver in pieces
    bool pacedLine = true; // the serial line takes the time that its speed asks for
    int gpioWrongAnswerAt = 0;
    int cutAfterBytes = 0; // from a client of the tunnel, which then finds its connection broken; 0: never
    int cutConnection = 0; // only for this connection to the tunnel, from 1 on; 0: for each
    std::optional<QByteArray> oldBytes; // what the DSPs said to nobody is kept for the next client; this for
                                        // the first one

    quint16 setupPort = SetupPort::defaultPort;
    quint16 gpioPort = GpioPort::defaultPort;
};

// A motor driver: the module with its setup menu, its pins and its tunnel, and the DSPs behind them.
// The settings choose the tunnel's port and the speed of the serial line. Owned by whatever gives it
// an address, opens it and, when asked to, closes it for the time of a restart and opens it again.
//
// Events: "connectionCut" with port and bytes, and those of its ports and of DspPair.
class MotorDriver : public QObject
{
    Q_OBJECT

public:
    explicit MotorDriver(const MotorDriverSpec &spec, QObject *parent = nullptr);

    // Puts the module on the network. `mac` has six bytes. False when a port is not to be had.
    bool open(const QHostAddress &address, const QByteArray &mac);

    // Takes it off: connections break, the pins are what they were at first. The DSPs live on.
    void close();

    // As the settings have them now.
    const ModuleSettings &settings() const { return m_spec.settings; }
    void setSettings(const ModuleSettings &settings) { m_spec.settings = settings; }

    const DspPair &dsps() const { return m_dsps; }
    QJsonObject state() const;

signals:
    void restarts(); // the module wants to: close() and open() it
    void happened(const QString &event, const QJsonObject &fields);

private:
    void connectSetup();
    void connectTunnel();
    void connectLine();
    void greetClient();
    void takeFromClient(const QByteArray &bytes);
    void passToClient(const QByteArray &bytes);
    void passToDsps(const QByteArray &bytes);
    void takeFromDsps(const QByteArray &bytes);
    bool isCutDue() const;

    MotorDriverSpec m_spec;
    int m_baudrate = 0; // since the last restart; the settings may already say another
    DspPair m_dsps;
    GpioPins m_pins;
    SetupPort m_setup;
    GpioPort m_gpio;
    ModulePort m_tunnel;
    PacedBytes m_output; // to the tunnel's client
    PacedBytes m_lineIn; // to the DSPs
    PacedBytes m_lineOut;
    QByteArray m_unheard; // what the DSPs said while nobody was there
    int m_connection = 0; // to the tunnel, counted from 1
    int m_fromClient = 0; // bytes of this connection
};
