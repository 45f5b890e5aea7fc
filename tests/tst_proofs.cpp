#include "lookschedule.h"
#include "versionproof.h"

#include <QTest>

#include <tuple>

// When instruments are looked for again, and what their answers prove: by the clock and by records alone.
class TestProofs : public QObject
{
    Q_OBJECT

private slots:
    void looksBecomeRarer();
    void versionsAreHeldAgainstAnswers();
};

// And end. Those whose time is over when one has taken long are left out, save the last.
void TestProofs::looksBecomeRarer()
{
    using namespace std::chrono_literals;
    LookSchedule looks;
    for (const auto &[patience, expected] :
         {std::pair(8s, QVector<qint64>{1, 2, 4, 8}), std::pair(20s, QVector<qint64>{1, 2, 4, 8, 14, 20})}) {
        looks.begin(patience, 1h);
        QVector<qint64> seen;
        for (; looks.isOpen(); looks.pass(false)) {
            seen.append((looks.untilNext() + 30min) / 1h);
        }
        QCOMPARE(seen, expected);
        QVERIFY(!looks.hasLooked());
        looks.begin(patience, 0s);
        looks.pass(true);
        QVERIFY(looks.isOpen());
        looks.pass(false);
        QVERIFY(!looks.isOpen() && looks.hasLooked());
    }
}

// Who is looked for again, and who stays noted until the next scan.
void TestProofs::versionsAreHeldAgainstAnswers()
{
    using State = VersionVerdict::State;
    const QVector<std::tuple<const char *, const char *, State, bool, bool>> cases{
        {"1.0", "1.1", State::Changed, false, false},  {"Unknown", "1.1", State::Told, false, false},
        {"1.0", "1.0", State::Unchanged, true, false}, {"1.0", "Unknown", State::Untold, true, true},
        {"Unknown", "", State::Untold, false, false},  {"1.0", nullptr, State::Silent, true, true}};
    for (const auto &[before, now, state, looked, kept] : cases) {
        Device_t device;
        device[Mac] = QStringLiteral("00:1A:2B:00:00:0B");
        device[Fw] = QLatin1String(before);
        VersionProof proof;
        proof.noteBefore(device);
        device[Fw] = QLatin1String(now);
        proof.check(now ? QList<Device_t>{device} : QList<Device_t>());
        QCOMPARE(proof.verdicts().first().state, state);
        QCOMPARE(proof.isOpen(), looked);
        proof.giveUp();
        QCOMPARE(proof.verdicts().first().state == State::NotLookedFor, kept);
        proof.forgetAnswered();
        QCOMPARE(proof.verdicts().size(), kept ? 1 : 0);
    }
}

QTEST_GUILESS_MAIN(TestProofs)
#include "tst_proofs.moc"
