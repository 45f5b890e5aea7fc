#pragma once

#include "cable.h"
#include "datagram.h"
#include "instrumentspec.h"
#include "workbench.h"

#include <QJsonObject>
#include <QObject>
#include <QRandomGenerator>
#include <QTimer>

#include <optional>

class UdpFace;

// One virtual instrument: an address on one cable, a life (plugged in, restarting, gone) and a way to
// answer. It hears what is broadcast on its cable, whatever its own address, and what is sent to its
// own address. What it says and obeys is its kind's.
//
// Events: "ignored" with a reason, "reply" when the lab is verbose, "addressChanged" with from and to,
// "rebooted", "removed", "restored"; "addressFailed" when the host cannot have the address.
class Instrument : public QObject
{
    Q_OBJECT

public:
    Instrument(const InstrumentSpec &spec, const Workbench &bench, UdpFace &face, QObject *parent);
    ~Instrument() override;

    const QByteArray &mac() const { return m_identity.mac; }
    QString macName() const { return macText(m_identity.mac); }
    const Cable &cable() const { return m_cable; }
    const UdpFace &face() const { return m_face; }

    // Plugs it in for the first time. False when its address is not to be had.
    bool start();

    bool hears(const Datagram &datagram) const;

    // Acts on a datagram that it hears. Empty when the instrument took it as meant for itself, else
    // why it did not ("unknown", "length", "other MAC", "address"): the lab says so once if nobody took it.
    virtual QString receive(const Datagram &datagram) = 0;

    // Away for restartMs, then back with what waited for a restart. False when it is not plugged in.
    // One that keeps its address meanwhile refuses connections, the others are not there at all.
    bool reboot(bool keepsAddress = false);

    void remove();  // pulls the plug
    void restore(); // and puts it back

    virtual QJsonObject state() const;

    // A command that only some instruments know. Why this one does not; nothing when it carried it out.
    virtual QString carryOut(const QJsonObject &) { return QStringLiteral("not for this instrument"); }

protected:
    const NetworkIdentity &identity() const { return m_identity; }
    const Workbench &bench() const { return m_bench; }
    bool isUp() const { return m_up; }

    // Called when the instrument is on the network at its present address, and before it leaves it.
    virtual void cameUp() {}
    virtual void goesDown() {}

    // Settings that the next restart, or restore, takes over.
    void keepForRestart(const NetworkIdentity &next) { m_next = next; }

    void setCode(const QString &code) { m_identity.code = code; }

    // Takes over new settings now, or when it is plugged in again.
    void apply(const NetworkIdentity &next);

    // Sends `reply` to whoever sent `query`, spoiled by this instrument's faults.
    void answer(const Datagram &query, const QByteArray &reply);

    void report(const QString &event, const QJsonObject &fields = {}) const;

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
    Faults m_faults;
    Workbench m_bench;
    UdpFace &m_face;
    QTimer m_restart;
    QRandomGenerator m_random;
    int m_queries = 0;
    bool m_up = false;
    bool m_keepsAddress = false; // while it restarts
};

// Fields that describe a datagram in an event: from, to, size and the first bytes in hexadecimal.
QJsonObject eventFields(const Datagram &datagram);
