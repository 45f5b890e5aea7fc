#pragma once

#include "hostaddresses.h"
#include "instrument.h"
#include "udpface.h"

#include <QObject>
#include <QVector>

// The room: the lab host's sockets and addresses, and the instruments. It brings each datagram to all
// instruments that hear it.
//
// Events: "query" for each query that reaches the lab host, with its interface and how many heard it;
// "ignored" with the reason for a datagram that nobody took; "sendFailed".
class VirtualLab : public QObject
{
    Q_OBJECT

public:
    // `verbose` makes each reply an event.
    explicit VirtualLab(bool verbose);

    // Takes the host's ports and cables. False, and `error` says why, when they are not to be had.
    bool open(const QVector<Cable> &cables, QString *error);

    // Plugs instruments in. False, and `error` names the instrument, when one cannot have its address.
    bool populate(const QVector<InstrumentSpec> &specs, QString *error);

    // Carries out the command of an instrument, the one with its "mac". Why it could not; nothing when
    // it did.
    QString carryOut(const QJsonObject &command) const;

private:
    Instrument *makeInstrument(const InstrumentSpec &spec);
    void dispatch(UdpFace &face, const Datagram &datagram);
    void reportQuery(const Datagram &datagram, const Cable &cable, const QVector<Instrument *> &hearers);
    const Cable *cableOf(const Datagram &datagram) const;

    EventLog m_log;
    QVector<Cable> m_cables;
    HostAddresses m_addresses;
    UdpFace m_discovery;
    UdpFace m_modules;
    Workbench m_bench;
    QVector<Instrument *> m_instruments; // children
};
