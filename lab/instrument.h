#pragma once

#include "eventlog.h"
#include "hostaddresses.h"
#include "instrumentspec.h"
#include "udpface.h"

#include <QJsonObject>
#include <QObject>
#include <QRandomGenerator>
#include <QTimer>

#include <optional>

// What every instrument finds around it. The lab owns all of it and outlives the instruments.
struct Workbench
{
    HostAddresses &addresses;
    UdpFace &discovery; // UDP 30719
    UdpFace &modules;   // UDP 30718
    bool verbose;       // each reply is an event
};

// One virtual instrument: an address on one cable, a life (here, or away for a restart) and a way to
// answer. It hears what is broadcast on its cable, whatever its own address, and what is sent to its
// own address. What it says and obeys is its kind's.
//
// Events: "reply" (when verbose), "ignored" with a reason, "addressChanged" with from and to, "rebooted",
// "state"; "addressFailed" when the host cannot have the address.
class Instrument : public QObject
{
    Q_OBJECT

public:
    Instrument(const InstrumentSpec &spec, const Workbench &bench, UdpFace &face, QObject *parent);
    ~Instrument() override;

    const QByteArray &mac() const { return m_identity.mac; }
    const Cable &cable() const { return m_cable; }
    const UdpFace &face() const { return m_face; }

    // Plugs it in for the first time. False when its address is not to be had.
    bool start();

    bool hears(const Datagram &datagram) const;

    // Acts on a datagram that it hears. Empty when the instrument took it as meant for itself, else
    // why it did not ("unknown", "length", "other MAC", "address"): the lab says so once if nobody took it.
    virtual QString receive(const Datagram &datagram) = 0;

    // "reboot" and "state", and what only some instruments know. Why this one cannot carry it out; nothing
    // when it did.
    virtual QString carryOut(const QJsonObject &command);

    const EventLog &log() const { return m_log; }

protected:
    const NetworkIdentity &identity() const { return m_identity; }
    bool isUp() const { return m_up; }
    virtual QJsonObject state() const;

    // Away for restartMs, then back with what waited for a restart. One that keeps its address meanwhile
    // refuses connections, the others are not there at all.
    void reboot(bool keepsAddress = false);

    // Called when the instrument is on the network at its present address, and before it leaves it.
    virtual void cameUp() {}
    virtual void goesDown() {}

    // Settings that the next restart takes over.
    void keepForRestart(const NetworkIdentity &next) { m_next = next; }

    void setCode(const QString &code) { m_identity.code = code; }

    // Takes over new settings now, or with the restart that is under way.
    void apply(const NetworkIdentity &next);

    // Sends `reply` to whoever sent `query`, spoiled by this instrument's faults.
    void answer(const Datagram &query, const QByteArray &reply);

    // "broadcast" or "unicast"
    QString wayOf(const Datagram &datagram) const;

private:
    void comeUp();
    void goDown(bool keepsAddress = false);
    void giveUpAddress(quint32 address);
    void finishRestart();
    void sendNow(const Datagram &query, const QVector<QByteArray> &datagrams);

    NetworkIdentity m_identity;
    std::optional<NetworkIdentity> m_next;
    Cable m_cable;
    EventLog m_log;
    Faults m_faults;
    HostAddresses &m_addresses;
    const bool m_verbose;
    UdpFace &m_face;
    QTimer m_restart;
    QRandomGenerator m_random;
    int m_queries = 0;
    bool m_up = false;
    bool m_keepsAddress = false; // while it restarts
};

// Fields that describe a datagram in an event: from, to, size and the first bytes in hexadecimal.
Fields eventFields(const Datagram &datagram);
