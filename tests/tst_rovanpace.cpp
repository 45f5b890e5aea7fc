#include "motorupdate.h"

#include <QTest>

// One update at the pace of the real hardware, a few minutes long: the virtual motor driver takes as
// long as a real one for erasing, writing and its serial line, and not one wait is shortened.
class TestRovanPace : public QObject
{
    Q_OBJECT

private slots:
    void realPace();
};

namespace {

constexpr int setupPort = 9999;
constexpr double menuKeyS = 0.1;
constexpr double menuSilenceS = 1;
constexpr double menuStoreS = 1;
constexpr double channelRestartS = 10;
constexpr double tunnelSettleS = 1;
constexpr double bootSilenceS = 5;
constexpr double deviceEraseS = 8;
constexpr double eraseSilenceS = 20;
constexpr double pageS = 1;

int countIn(const QVector<QJsonObject> &events, const char *key, const QByteArray &hexDigits)
{
    int count = 0;
    for (const QJsonObject &event : events) {
        count += event.value(QLatin1String(key)).toString().toLatin1().count(hexDigits);
    }
    return count;
}

} // namespace

void TestRovanPace::realPace()
{
    MotorUpdate driver;
    driver.startRealLab();
    const QString path = driver.file("Rovan_Motor_Control_DSP.hex", MotorUpdate::program());
    const UpdateRecord record = driver.run(path, Pacing());
    QCOMPARE(record.log.filter(QStringLiteral("ERROR:")), QStringList());
    QCOMPARE(record.completed, 1);
    QVERIFY(driver.dump(QStringLiteral("control")) == MotorUpdate::flashWith(MotorUpdate::program()));
    QCOMPARE(driver.ask("MVER"), QByteArray("#MVER:ROVAN-MOTOR:x:1.07\r\n"));

    // What the dialogue cannot be quicker than. In each of the two menu sessions every typed line is
    // followed by one silence, save for the last, after which the module hangs up, and one comes before
    // the first.
    int sessions = 0;
    for (const QJsonObject &event : driver.lab.events(QStringLiteral("connected"))) {
        sessions += event.value(QLatin1String("port")).toInt() == setupPort ? 1 : 0;
    }
    const int lines = countIn(driver.lab.events(QStringLiteral("setupReceived")), "bytes", "0d0a");
    const int pages = driver.lab.events(QStringLiteral("pageWritten")).size();
    QCOMPARE(sessions, 2);
    const double imposed = lines * (menuKeyS + menuSilenceS) + sessions * (menuStoreS + channelRestartS) +
                           2 * tunnelSettleS + bootSilenceS + deviceEraseS + eraseSilenceS + pages * pageS;
    const double taken = static_cast<double>(record.milliseconds) / 1000;
    qInfo("The update took %.1f s, the waits that it must keep are %.1f s: %+.1f %%", taken, imposed,
          100 * (taken / imposed - 1));
    QVERIFY(taken >= imposed);
}

QTEST_GUILESS_MAIN(TestRovanPace)
#include "tst_rovanpace.moc"
