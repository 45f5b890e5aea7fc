#include "client.h"
#include "labinstrument.h"
#include "labprocess.h"
#include "labroom.h"
#include "session.h"
#include "updateroom.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <array>
#include <functional>
#include <utility>

Q_DECLARE_METATYPE(Activity)
Q_DECLARE_METATYPE(Refusal)
Q_DECLARE_METATYPE(QJsonObject)

namespace {

constexpr int patienceMs = 30000;

// A session with virtual instruments, and no window.
struct Room
{
    explicit Room(const QList<QJsonObject> &instruments, const LookPacing &pacing = {})
        : session(
              client, options(), [this] { return QList<interfaces_t>{cable}; }, nullptr, pacing)
    {
        labroom::play(lab, instruments);
        count = instruments.size();
        image = updateroom::firmwareFile(file(), 60000);
    }

    static Options options()
    {
        Options options;
        options.scanTime = 300;
        return options;
    }

    QString file() const { return folder.filePath("image.updt"_s); }

    void scan() { QCOMPARE(session.scan(), Refusal::None); }
    // A busy machine may not hear everyone within one scan.
    void findAll()
    {
        for (int attempt = 0; attempt < 5 && session.devices().size() < count; ++attempt) {
            scan();
        }
        QCOMPARE(session.devices().size(), count);
    }

    static int numberOf(const Device_t &device) { return device[Mac].right(2).toInt(nullptr, 16); }

    // What instrument `number` is told.
    Refusal move(int number, const QString &to)
    {
        const QList<Device_t> &all = session.devices();
        const auto device = std::find_if(all.begin(), all.end(),
                                         [number](const Device_t &one) { return numberOf(one) == number; });
        const quint32 ip = QHostAddress(to).toIPv4Address();
        return session.sendSettings(
            {device == all.end() ? Device_t() : *device, ip, 0xFFFFFF00, 0xC0A80001, false});
    }
    Refusal moveMany(const QList<int> &numbers, const Session::BeforeRow &beforeRow = {})
    {
        QList<QStringList> rows;
        for (const int number : numbers) {
            rows.append({QString(), QString(), macOf(number), addressOf(number + 100), "255.255.255.0"_s,
                         addressOf(1)});
        }
        return session.sendSettings(rows, beforeRow);
    }

    UpdateStep step(const QList<int> &numbers) const
    {
        UpdateStep step{file(), session.devices().size(), {}, {}};
        for (const Device_t &device : session.devices()) {
            step.selected.append(numbers.contains(numberOf(device)));
        }
        return step;
    }

    // Updates them in turn, in the order of the records.
    Refusal update(const QList<int> &numbers)
    {
        return session.update(step(numbers), [this] {
            UpdateStep next = step({});
            for (const UpdateOutcome &record : session.updates().report().records) {
                const int index = session.devices().indexOf(record.device);
                next.selected[index] = record.state == UpdateOutcome::State::NotTried;
            }
            return next.selected.contains(true) ? std::optional(next) : std::nullopt;
        });
    }

    ChangeVerdict::State change(int at = 0) const { return session.report().changes.at(at).state; }
    bool waitUntil(Activity activity) const
    {
        return QTest::qWaitFor([this, activity] { return session.activity() == activity; }, patienceMs);
    }
    void tell(const char *command, int number, const char *event)
    {
        lab.command({{"command"_s, QLatin1String(command)}, {"mac"_s, macOf(number)}});
        QVERIFY(lab.waitForEvent(QLatin1String(event)));
    }
    // How often an instrument has heard this line.
    int told(const char *line) const
    {
        const QVector<QJsonObject> all = lab.events("lineReceived"_s);
        return static_cast<int>(std::count_if(all.begin(), all.end(), [line](const QJsonObject &event) {
            return labroom::field(event, "line") == QLatin1String(line);
        }));
    }
    // It is away when this returns.
    void restart(int number)
    {
        lab.command({{"command"_s, "reboot"_s}, {"mac"_s, macOf(number)}});
        tell("state", number, "state");
    }
    int queries() const
    {
        const QVector<QJsonObject> all = lab.events("query"_s);
        return static_cast<int>(std::count_if(all.begin(), all.end(), [](const QJsonObject &query) {
            return labroom::field(query, "to").endsWith(":30719"_s);
        }));
    }
    // By new settings or an update.
    bool wasReached(int number) const
    {
        const QVector<QJsonObject> all = lab.events("set"_s) + lab.events("connected"_s);
        return std::any_of(all.begin(), all.end(), [number](const QJsonObject &event) {
            return labroom::field(event, "mac") == macOf(number);
        });
    }

    QTemporaryDir folder;
    QByteArray image;
    int count = 0;
    interfaces_t cable{"wst0"_s, labroom::onCable0(), "255.255.255.0"_s, true};
    LabProcess lab;
    Client client;
    Session session;
};

// A scan takes 300 ms.
LookPacing quick()
{
    using std::chrono::milliseconds;
    return {milliseconds(100), milliseconds(400), milliseconds(20)};
}

} // namespace

// Orders, refusals and proofs without a window, and the instruments' side of each.
class TestSession : public QObject
{
    Q_OBJECT

private slots:
    void refusesWhatMayNotStart_data();
    void refusesWhatMayNotStart();
    void refusesWhatCannotBeSent();
    void lateAddressIsLookedForQuietly();
    void lostInstrumentIsSaidInTheEnd();
    void motorDriversAreGivenLonger();
    void toolsWaitForTheirReboot();
    void nothingHappensWhileHeld();
    void nobodyLookedIsNotLost();
    void scanTakesOverFromALook();
    void slowRestartIsLookedFor();
    void recordsTellWhatBecameOfEach();
    void stopsWhereNothingIsLost_data();
    void stopsWhereNothingIsLost();
    void stopsBetweenTwoInstruments();
};

void TestSession::refusesWhatMayNotStart_data()
{
    QTest::addColumn<Activity>("activity");
    QTest::addColumn<QVector<Refusal>>("expected"); // scan, settings, many settings, update, close
    const auto row = [](const char *name, Activity activity, Refusal three, Refusal update, Refusal close) {
        QTest::newRow(name) << activity << QVector<Refusal>{three, three, three, update, close};
    };
    using R = Refusal;
    row("idle", Activity::Idle, R::None, R::None, R::None);
    row("scanning", Activity::Scanning, R::Scanning, R::Scanning, R::None);
    row("sending", Activity::Sending, R::Sending, R::Sending, R::None);
    row("updating", Activity::Updating, R::Updating, R::Updating, R::Updating);
    row("awaiting addresses", Activity::AwaitingAddresses, R::None, R::AwaitingAddresses, R::None);
    row("awaiting a restart", Activity::AwaitingRestart, R::None, R::None, R::None);
    row("closing", Activity::Closing, R::Closing, R::Closing, R::Closing);
}

// Each activity is brought about, and each order that it refuses is given: nothing of it reaches an
// instrument.
void TestSession::refusesWhatMayNotStart()
{
    QFETCH(Activity, activity);
    QFETCH(QVector<Refusal>, expected);
    const int restartMs = activity == Activity::AwaitingRestart ? 4000 : 0;
    Room room({supply(11, {{"bytesPerSecond"_s, 40000}}, {{"restartMs"_s, restartMs}}), supply(12)});
    room.findAll();
    bool asked = false;
    const auto ask = [&] {
        if (std::exchange(asked, true)) {
            return true;
        }
        [&] { QCOMPARE(room.session.activity(), activity); }();
        const std::array<std::pair<Order, std::function<Refusal()>>, 5> orders{
            {{Order::Scan, [&] { return room.session.scan(); }},
             {Order::SendSettings, [&] { return room.move(12, addressOf(50)); }},
             {Order::SendSettings, [&] { return room.moveMany({12}); }},
             {Order::Update, [&] { return room.update({12}); }},
             {Order::Close, [&] { return room.session.close(); }}}};
        QVector<Refusal> seen;
        for (const auto &[order, give] : orders) {
            const Refusal told = refusalOf(order, activity);
            seen.append(told == Refusal::None ? told : give());
        }
        [&] { QCOMPARE(seen, expected); }();
        return true;
    };
    const int queries = room.queries();
    if (activity == Activity::Scanning) {
        connect(&room.client, &Client::signalUpdateProgressBar, this,
                [&](int value) { value == 1 && ask(); });
        room.scan();
        QCOMPARE(room.queries(), queries + 1);
    } else if (activity == Activity::Sending) {
        QCOMPARE(room.moveMany({11}, [&](int) { return ask(); }), Refusal::None);
    } else if (activity == Activity::AwaitingAddresses) {
        QCOMPARE(room.move(11, addressOf(50)), Refusal::None);
        ask();
    } else if (activity == Activity::Closing) {
        QCOMPARE(room.update({11}), Refusal::None);
        QTimer::singleShot(0, this, ask);
        room.session.stopUpdate();
    } else if (activity != Activity::Idle) {
        QCOMPARE(room.update({11}), Refusal::None);
        if (activity == Activity::AwaitingRestart) {
            QVERIFY(room.waitUntil(Activity::Idle));
            room.scan();
        }
    }
    ask();
    QVERIFY(!room.wasReached(12));
}

// What no instrument can be given, and what cannot leave.
void TestSession::refusesWhatCannotBeSent()
{
    Room room({supply(11)}, quick());
    room.findAll();
    QCOMPARE(room.move(11, "0.0.0.0"_s), Refusal::UnusableSettings);
    room.scan();
    QVERIFY(room.session.report().settingsRefused);
    QVERIFY(room.session.report().changes.isEmpty());
    room.cable.selected = false;
    QCOMPARE(room.moveMany({11}), Refusal::NoInterface);
    QCOMPARE(room.session.activity(), Activity::Idle);
    room.scan();
    QVERIFY(!room.session.report().settingsRefused); // has been said
    QVERIFY(room.lab.events("set"_s).isEmpty());
}

// It needs longer than the scan right behind the order takes. Nobody else's record is touched meanwhile.
void TestSession::lateAddressIsLookedForQuietly()
{
    Room room({supply(11, {}, {{"applyMs"_s, 2000}}), supply(12, {}, {{"restartMs"_s, 1800}})});
    room.findAll();
    const QSignalSpy scans(&room.session, &Session::signalScanBegun);
    room.restart(12);
    QCOMPARE(room.move(11, addressOf(50)), Refusal::None);
    room.scan();
    QVERIFY(room.session.report().lookingAgain);
    QVERIFY(room.change() != ChangeVerdict::State::Proven);
    QVERIFY(room.lab.waitForEvent("rebooted"_s)); // and back before the other one has its address
    QTRY_COMPARE_WITH_TIMEOUT(room.change(), ChangeVerdict::State::Proven, patienceMs);
    QVERIFY(!room.session.report().lookingAgain);
    QCOMPARE(scans.size(), 1); // the ordered one
    QCOMPARE(room.session.devices().size(), 1);
    QCOMPARE(room.session.devices().first()[Ip], addressOf(50));
    QCOMPARE(room.session.activity(), Activity::Idle);
}

void TestSession::lostInstrumentIsSaidInTheEnd()
{
    Room room({supply(11), supply(13)}, quick());
    room.findAll();
    const int queries = room.queries();
    QCOMPARE(room.moveMany({11, 12}), Refusal::None);       // nobody is number 12
    QCOMPARE(room.move(13, addressOf(113)), Refusal::None); // what the first order expects is kept
    QVERIFY(room.waitUntil(Activity::Idle));
    QVERIFY(!room.session.report().lookingAgain);
    QCOMPARE(room.session.report().changes.size(), 3);
    QCOMPARE(room.change(0), ChangeVerdict::State::Proven);
    QCOMPARE(room.change(1), ChangeVerdict::State::Silent);
    QCOMPARE(room.session.report().changes.at(1).mac, macOf(12));
    QCOMPARE(room.change(2), ChangeVerdict::State::Proven);
    const int looks = room.queries() - queries - 1;
    QVERIFY(looks >= 2 && looks <= 4); // a busy machine leaves some out
}

// Its module is away when the scan behind the order asks, and still away when others would be given up.
void TestSession::motorDriversAreGivenLonger()
{
    Room room({labInstrument("module", "", 11, {{"restartMs"_s, 5500}})}, quick());
    room.findAll();
    QCOMPARE(room.moveMany({11}), Refusal::None);
    QVERIFY(room.waitUntil(Activity::Idle));
    QCOMPARE(room.change(), ChangeVerdict::State::Proven);
}

void TestSession::toolsWaitForTheirReboot()
{
    Room room({labInstrument("tools", "6100", 11)}, quick());
    room.findAll();
    QCOMPARE(room.move(11, addressOf(50)), Refusal::None);
    room.scan();
    QCOMPARE(room.change(), ChangeVerdict::State::WaitsForReboot);
    QCOMPARE(room.session.activity(), Activity::Idle);     // nobody looks: it would take for ever
    QCOMPARE(room.move(11, addressOf(51)), Refusal::None); // thought better of it
    room.tell("reboot", 11, "rebooted");
    room.scan();
    QCOMPARE(room.session.report().changes.size(), 1);
    QCOMPARE(room.change(), ChangeVerdict::State::Proven);
    QCOMPARE(room.session.devices().first()[Ip], addressOf(51));
    room.scan();
    QVERIFY(room.session.report().changes.isEmpty()); // has been said
}

// As long as a message box is open.
void TestSession::nothingHappensWhileHeld()
{
    Room room({supply(11)}, quick());
    room.findAll();
    const QSignalSpy scans(&room.session, &Session::signalScanBegun);
    QCOMPARE(room.moveMany({11}), Refusal::None);
    {
        const Session::Hold hold(room.session);
        QVERIFY(!QTest::qWaitFor([&scans] { return !scans.isEmpty(); }, 1000));
        QCOMPARE(room.session.activity(), Activity::AwaitingAddresses);
    }
    QVERIFY(room.waitUntil(Activity::Idle));
    QCOMPARE(scans.size(), 1);
    QCOMPARE(room.change(), ChangeVerdict::State::Proven);
}

void TestSession::nobodyLookedIsNotLost()
{
    Room room({supply(11, {}, {{"applyMs"_s, 3000}})}, quick());
    room.findAll();
    QCOMPARE(room.move(11, addressOf(50)), Refusal::None);
    room.scan();
    const int queries = room.queries();
    room.session.setLeave([] { return false; });
    QVERIFY(room.waitUntil(Activity::Idle));
    QCOMPARE(room.change(), ChangeVerdict::State::NotLookedFor);
    QCOMPARE(room.queries(), queries);
    QVERIFY(room.lab.waitForEvent("addressChanged"_s));
    room.scan();
    QCOMPARE(room.change(), ChangeVerdict::State::Proven);
}

// The user does not wait for what he has not ordered.
void TestSession::scanTakesOverFromALook()
{
    Room room({supply(11)}, quick());
    room.findAll();
    QCOMPARE(room.moveMany({12}), Refusal::None); // nobody's, so it is looked for
    QTRY_VERIFY_WITH_TIMEOUT(room.session.report().lookingAgain, patienceMs);
    const QSignalSpy scans(&room.session, &Session::signalScanEnded);
    bool ordered = false;
    connect(&room.client, &Client::signalUpdateProgressBar, this, [&](int value) {
        if (value == 1 && !ordered) {
            ordered = true;
            QCOMPARE(room.session.activity(), Activity::AwaitingAddresses);
            QCOMPARE(room.session.scan(), Refusal::None);
            QVERIFY(scans.isEmpty());
        }
    });
    QTRY_COMPARE_WITH_TIMEOUT(scans.size(), 1, patienceMs);
    QCOMPARE(room.session.devices().size(), 1);
    QVERIFY(!room.session.report().stopped);
}

// Until another update is ordered, which tells of itself.
void TestSession::slowRestartIsLookedFor()
{
    Room room({supply(11, {}, {{"restartMs"_s, 5000}}),
               supply(12, {{"nakAt"_s, "MST"_s}}, {{"restartMs"_s, 5500}})});
    room.findAll();
    int restarts = 0;
    const auto updateEleven = [&room, &restarts](int others) {
        QCOMPARE(room.update({11}), Refusal::None);
        QVERIFY(room.waitUntil(Activity::Idle));
        ++restarts;
        QTRY_COMPARE_WITH_TIMEOUT(room.told("MREBOOT"), restarts, patienceMs);
        room.scan();
        QCOMPARE(room.session.devices().size(), others);
        QCOMPARE(room.session.activity(), Activity::AwaitingRestart);
    };
    room.restart(12);
    updateEleven(0); // which is back behind number 12, and that is not what is looked for
    const QSignalSpy added(&room.session, &Session::signalDeviceAdded);
    QTRY_COMPARE_WITH_TIMEOUT(added.size(), 1, patienceMs);
    QCOMPARE(room.session.report().versions.first().state, VersionVerdict::State::Changed);
    QCOMPARE(room.session.activity(), Activity::Idle);
    QCOMPARE(room.session.devices().size(), 1);

    room.findAll();
    updateEleven(1);
    Activity after = Activity::Updating;
    connect(&room.session, &Session::signalUpdateEnded, this, [&] { after = room.session.activity(); });
    QCOMPARE(room.update({12}), Refusal::None);
    QTRY_COMPARE_WITH_TIMEOUT(after, Activity::Idle, patienceMs);
}

void TestSession::recordsTellWhatBecameOfEach()
{
    using State = UpdateOutcome::State;
    Room room(
        {supply(14, {{"keepsFirmware"_s, true}}), supply(11), supply(12, {{"nakAt"_s, "MST"_s}}), supply(13)},
        quick());
    room.findAll();
    const QSignalSpy ends(&room.session.updates(), &UpdateQueue::signalEnded);
    QCOMPARE(room.update({14, 11, 12, 13}), Refusal::None);
    QVERIFY(room.waitUntil(Activity::Idle));
    QCOMPARE(ends.size(), 1);
    QCOMPARE(room.session.updates().report().end, UpdateReport::End::Failed);
    room.scan();
    QVERIFY(room.waitUntil(Activity::Idle));
    QMap<int, UpdateOutcome> records;
    for (const UpdateOutcome &record : room.session.updates().report().records) {
        records.insert(Room::numberOf(record.device), record);
    }
    QCOMPARE(records.size(), 4);
    QCOMPARE(records.value(11).state, State::Updated);
    QCOMPARE(records.value(12).state, State::Failed);
    QCOMPARE(records.value(12).why, "ERROR: Status not available!"_s);
    QCOMPARE(records.value(13).state, State::NotTried);
    QCOMPARE(records.value(14).state, State::Unchanged);
    QCOMPARE(updateroom::imageIn(room.lab, macOf(11)), room.image);
    QCOMPARE(room.update({13}), Refusal::None); // the order can be given again at once
    QVERIFY(room.waitUntil(Activity::Idle));
    QCOMPARE(room.session.updates().report().end, UpdateReport::End::Completed);
}

void TestSession::stopsWhereNothingIsLost_data()
{
    QTest::addColumn<QJsonObject>("first");
    QTest::addColumn<bool>("written");
    QTest::addColumn<int>("timeout"); // ms; 0: the program is closed
    const QJsonObject silent = supply(11, {{"silentAt"_s, "MST"_s}});
    const QJsonObject slow = supply(11, {{"bytesPerSecond"_s, 40000}});
    QTest::newRow("closed before the first byte") << silent << false << 0;
    QTest::newRow("closed in the image") << slow << true << 0;
    QTest::newRow("out of time before the first byte") << silent << false << 600;
    QTest::newRow("out of time in the image") << slow << true << 1000;
}

void TestSession::stopsWhereNothingIsLost()
{
    using State = UpdateOutcome::State;
    QFETCH(QJsonObject, first);
    QFETCH(bool, written);
    QFETCH(int, timeout);
    Room room({first, supply(12)});
    Options options = Room::options();
    options.updateTimeout = timeout > 0 ? timeout : options.updateTimeout;
    room.session.setOptions(options);
    room.findAll();
    const QByteArray before = updateroom::imageIn(room.lab, macOf(11));
    QCOMPARE(room.update(timeout > 0 ? QList<int>{11} : QList<int>{11, 12}), Refusal::None);
    QVERIFY(QTest::qWaitFor([&] { return room.session.updates().canBeStopped() != written; }, patienceMs));
    QVERIFY(room.lab.waitForEvent("connected"_s));
    if (timeout == 0) {
        QCOMPARE(room.session.close(), Refusal::Updating);
        room.session.stopUpdate();
        QCOMPARE(room.session.activity(), Activity::Idle);
        QCOMPARE(room.session.updates().report().records.at(1).state, State::NotTried);
    }
    QVERIFY(room.waitUntil(Activity::Idle));
    const UpdateReport &report = room.session.updates().report();
    QCOMPARE(report.end, timeout == 0 ? UpdateReport::End::Stopped
                         : written    ? UpdateReport::End::Completed
                                      : UpdateReport::End::Failed);
    QCOMPARE(report.records.at(0).state, written ? State::Updated : State::Stopped);
    QCOMPARE(report.records.at(0).why, written ? QString() : "ERROR: Update timed out!"_s);
    QCOMPARE(updateroom::imageIn(room.lab, macOf(11)), written ? room.image : before);
    QCOMPARE(room.session.close(), Refusal::None);
}

// While the front end is asked for the next one it may ask the user, who may want to leave.
void TestSession::stopsBetweenTwoInstruments()
{
    Room room({supply(11), supply(12)});
    room.findAll();
    const UpdateStep second = room.step({12});
    const auto stop = [&]() -> std::optional<UpdateStep> {
        room.session.stopUpdate();
        return second;
    };
    QCOMPARE(room.session.update(room.step({11}), stop), Refusal::None);
    QVERIFY(room.waitUntil(Activity::Idle));
    QCOMPARE(room.session.updates().report().end, UpdateReport::End::Stopped);
    QVERIFY(!room.wasReached(12));
    QCOMPARE(updateroom::imageIn(room.lab, macOf(11)), room.image);
}

// Of the core alone: no widget is linked.
QTEST_GUILESS_MAIN(TestSession)
#include "tst_session.moc"
