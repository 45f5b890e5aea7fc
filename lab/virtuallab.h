#pragma once

#include "cable.h"
#include "hostaddresses.h"
#include "instrument.h"
#include "udpface.h"

#include <QObject>
#include <QVector>

class CommandReader;
class EventLog;

// The room: the lab host's sockets and addresses, and the instruments. It brings each datagram to all
// instruments that hear it.
//
// Events: "query" for each query that reaches the lab host, with its interface and how many heard it;
// "ignored" with the reason for a datagram that nobody took; "sendFailed".
class VirtualLab : public QObject
{
    Q_OBJECT

public:
    VirtualLab(EventLog &log, bool verbose, QObject *parent = nullptr);

    // Takes the host's ports and cables. False, and `error` says why, when they are not to be had.
    bool open(const QVector<Cable> &cables, QString *error);

    // Plugs instruments in. False, and `error` names the instrument, when one cannot have its address.
    bool populate(const QVector<InstrumentSpec> &specs, QString *error);

    // "reboot", "remove", "restore", "state", "dumpFlash" and "dumpImage", each with a "mac".
    void registerCommands(CommandReader &commands);

private:
    Instrument *makeInstrument(const InstrumentSpec &spec);
    void dispatch(UdpFace &face, const Datagram &datagram);
    void reportQuery(const Datagram &datagram, const Cable &cable, const QVector<Instrument *> &hearers);
    const Cable *cableOf(const Datagram &datagram) const;
    Instrument *find(const QJsonObject &command) const;

    EventLog &m_log;
    QVector<Cable> m_cables;
    HostAddresses m_addresses;
    UdpFace m_discovery;
    UdpFace m_modules;
    Workbench m_bench;
    QVector<Instrument *> m_instruments; // children
};
