#pragma once

#include "changenetworkconfiguration.h"
#include "changeproof.h"
#include "device.h"
#include "interfaces.h"
#include "lookschedule.h"
#include "networksettings.h"
#include "options.h"
#include "orders.h"
#include "updatequeue.h"
#include "versionproof.h"

#include <QHash>
#include <QList>
#include <QObject>
#include <QString>
#include <QTimer>

#include <functional>

class Client;

// What the last scan found, and what it and the looks behind it tell of instruments that were changed.
struct ScanReport
{
    int instruments = 0;
    int interfacesQueried = 0;
    bool stopped = false;
    bool settingsRefused = false; // the order before the scan: nothing was sent
    bool lookingAgain = false;    // for instruments that are not as they should be
    QString problem;              // what kept the scan from asking or hearing everyone
    QVector<ChangeVerdict> changes;
    QVector<VersionVerdict> versions;
};

// The heart of the program, with no widget in it: it keeps the records of the last scan, takes the orders
// (scan, new settings, update, close), refuses what may not start now, and finds out what became of each.
// Owned by a front end, which gives it the client, and told by signals. A scan, and the sending of settings,
// block their caller with an event loop running; orders that come from within are refused or take their turn.
class Session : public QObject
{
    Q_OBJECT

public:
    // The local interfaces as they are now.
    using Interfaces = std::function<QList<interfaces_t>()>;
    using MayLook = std::function<bool()>;
    using BeforeRow = changeNetworkConfiguration::BeforeRow;

    // While one lives nothing that was not ordered is done: no look, and no scan behind new settings. A front
    // end holds the session for the life of each message box.
    class Hold
    {
    public:
        explicit Hold(Session &session);
        ~Hold();
        Q_DISABLE_COPY(Hold)

    private:
        Session &m_session;
    };

    Session(Client &client, const Options &options, Interfaces interfaces, QObject *parent = nullptr,
            const LookPacing &pacing = {});
    ~Session() override;

    void setOptions(const Options &options); // in force from the next order on

    // The front end's leave to look again now. Without one there is always leave.
    void setLeave(MayLook mayLook) { m_mayLook = std::move(mayLook); }

    Activity activity() const;
    const QList<Device_t> &devices() const { return m_devices; } // a place in it is a device index
    const Device_t *device(int index) const;                     // null where there is none
    const ScanReport &report() const { return m_report; }
    UpdateQueue &updates() { return m_updates; }

    // Replaces the records by those of a scan. When it returns None the scan is over, unless it has to wait
    // until a look that runs below its caller has been stopped.
    [[nodiscard]] Refusal scan();
    void stopScan();

    // One instrument, straight to it and by broadcast.
    [[nodiscard]] Refusal sendSettings(const NetworkSettings &settings);
    // Many, by broadcast, as changeNetworkConfiguration::applyList does; a scan follows by itself.
    [[nodiscard]] Refusal sendSettings(const QList<QStringList> &rows, const BeforeRow &beforeRow = {});

    // Returns when the first worker was started.
    [[nodiscard]] Refusal update(const UpdateStep &first, const UpdateQueue::Next &next);

    // Updating: closing now would stop the update; whoever wants that calls stopUpdate().
    [[nodiscard]] Refusal close();
    // Stops the update where that loses nothing, with an event loop running, and returns when it has ended.
    void stopUpdate();

signals:
    void signalActivityChanged();
    void signalScanBegun();              // the records are gone
    void signalScanEnded();              // the new ones are there
    void signalDeviceChanged(int index); // by a look
    void signalDeviceAdded();            // by a look, behind the others
    void signalReportChanged();
    void signalUpdateEnded(); // not by stopUpdate(), whose caller knows

private:
    enum class Work { Idle, Scanning, Sending, Updating };

    Refusal refusal(Order order) const { return refusalOf(order, activity()); }
    void setWork(Work work);
    bool isAwaitingAddresses() const { return m_scanDue || m_addressLooks.isOpen(); }
    bool hasLeave() const;

    QHash<QString, QString> codesByMac() const; // in its plain spelling
    std::chrono::milliseconds patience() const;

    void finishScan();
    void schedule();
    void onDue();
    void lookAgain();
    void takeRecords(const QList<Device_t> &answers);
    void passLooks(bool looked);
    void closeLooks();
    void reportProofs();
    void onUpdateEnded();

    Client &m_client;
    Options m_options;
    Interfaces m_interfaces;
    LookPacing m_pacing;
    MayLook m_mayLook;
    int m_holds = 0;

    // The facts; what may start follows from them.
    Work m_work = Work::Idle;
    bool m_closing = false;
    bool m_scanDue = false;          // behind settings that were sent, or ordered while a look ran
    bool m_restartsExpected = false; // the next scan is the one behind an update
    LookSchedule m_addressLooks;     // for the changes
    LookSchedule m_restartLooks;     // for the versions

    QTimer m_timer; // until the next scan or look that is due
    Refusal m_lastSettings = Refusal::None;
    QList<Device_t> m_devices;
    ChangeProof m_changes;
    VersionProof m_versions;
    ScanReport m_report;
    UpdateQueue m_updates;
};
