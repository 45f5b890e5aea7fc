#include "motorupdate.h"

#include <QTest>

// One update at the pace of the real hardware, a few minutes long: the virtual motor driver takes as long as
// a real one for erasing, writing and its serial line, loses what comes meanwhile, and not one wait is
// shortened.
class TestRovanPace : public QObject
{
    Q_OBJECT

private slots:
    void realPace();
};

void TestRovanPace::realPace()
{
    MotorUpdate driver;
    driver.startRealLab();
    const QString path = driver.file("Rovan_Motor_Control_DSP.hex", MotorUpdate::program());
    const UpdateRecord record = driver.run(path, Pacing());
    QCOMPARE(record.log.filter(QStringLiteral("ERROR:")), QStringList());
    QCOMPARE(record.end, QStringList{QStringLiteral("completed")});
    QVERIFY(driver.dump(QStringLiteral("control")) == MotorUpdate::flashWith(MotorUpdate::program()));
    QCOMPARE(driver.ask("MVER"), QByteArray("#MVER:ROVAN-MOTOR:x:1.07\r\n"));
}

QTEST_GUILESS_MAIN(TestRovanPace)
#include "tst_rovanpace.moc"
