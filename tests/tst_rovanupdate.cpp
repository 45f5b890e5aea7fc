#include "motorupdate.h"

#include <QJsonDocument>
#include <QTest>

#include <algorithm>
#include <memory>

// The whole update of a motor driver, from the worker's start to the DSP that runs again, against the
// one that the virtual lab plays: what its flash holds, what the user reads, and how each fault ends.
class TestRovanUpdate : public QObject
{
    Q_OBJECT

private slots:
    void init() { driver = std::make_unique<MotorUpdate>(); }
    void cleanup() { driver.reset(); }

    void eachDspIsProgrammed_data();
    void eachDspIsProgrammed();
    void unusualModulesAreProgrammedToo_data();
    void unusualModulesAreProgrammedToo();
    void whatWasJudgedIsProgrammed();
    void refusedFileTouchesNothing_data();
    void refusedFileTouchesNothing();
    void faultBeforeTheEraseLeavesTheFlash_data();
    void faultBeforeTheEraseLeavesTheFlash();
    void faultAfterTheEraseIsNoSuccess_data();
    void faultAfterTheEraseIsNoSuccess();
    void baudrateThatIsNotTakenIsTold();
    void refusedWayBackIsNoSuccess();
    void interruptionBeforeTheEraseIsHonoured_data();
    void interruptionBeforeTheEraseIsHonoured();
    void interruptionAfterTheEraseIsNot_data();
    void interruptionAfterTheEraseIsNot();
    void longFileKeepsTheBarMoving();

private:
    void startLab(const QByteArray &json = "{}");
    // A run with the Control DSP's file.
    UpdateRecord run(const Pacing &pacing = labPacing(), const QString &interruptAt = {});
    void verifyProgrammed(const UpdateRecord &record);
    static void verifyFailed(const UpdateRecord &record, const QStringList &errors);
    static void verifyBar(const UpdateRecord &record);

    std::unique_ptr<MotorUpdate> driver;
};

using Blocks = QVector<QPair<quint32, QByteArray>>;

namespace {

const char controlFile[] = "Rovan_Motor_Control_DSP_v2.hex";
const char communicationFile[] = "Rovan_Motor_Communication_DSP.hex";
const QString control = QStringLiteral("control");
const QString communication = QStringLiteral("communication");
const QString timedOut = QStringLiteral("ERROR: Update timed out!");

QStringList errorsIn(const QStringList &log)
{
    return log.filter(QStringLiteral("ERROR:"));
}

} // namespace

void TestRovanUpdate::startLab(const QByteArray &json)
{
    driver->startLab(QJsonDocument::fromJson(json).object());
}

UpdateRecord TestRovanUpdate::run(const Pacing &pacing, const QString &interruptAt)
{
    return driver->run(driver->file(controlFile, MotorUpdate::program()), pacing, interruptAt);
}

void TestRovanUpdate::verifyProgrammed(const UpdateRecord &record)
{
    QCOMPARE(errorsIn(record.log), QStringList());
    QCOMPARE(record.completed, 1);
    QVERIFY(driver->dump(control) == MotorUpdate::flashWith(MotorUpdate::program()));
}

void TestRovanUpdate::verifyFailed(const UpdateRecord &record, const QStringList &errors)
{
    QCOMPARE(errorsIn(record.log), errors);
    QCOMPARE(record.failed, 1);
    QCOMPARE(record.completed, 0);
    QCOMPARE(record.last, QStringLiteral("failed"));
    QVERIFY(!record.progress.contains(100));
    verifyBar(record);
}

// It only moves forward, and shows 100 when all is done.
void TestRovanUpdate::verifyBar(const UpdateRecord &record)
{
    QVERIFY(std::is_sorted(record.bar.cbegin(), record.bar.cend()));
    QCOMPARE(record.bar.count(100), record.completed);
}

void TestRovanUpdate::eachDspIsProgrammed_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("dsp");
    QTest::addColumn<QString>("other");
    QTest::newRow("Communication DSP") << QString::fromLatin1(communicationFile) << communication << control;
    QTest::newRow("Control DSP") << QString::fromLatin1(controlFile) << control << communication;
    QTest::newRow("both names") << QStringLiteral("Rovan_Motor_Control_DSP_Rovan_Motor_Communication_DSP")
                                << communication << control;
}

void TestRovanUpdate::eachDspIsProgrammed()
{
    QFETCH(QString, name);
    QFETCH(QString, dsp);
    QFETCH(QString, other);
    startLab(R"({"faults":{"channelPrompts":0}})");
    const QByteArray before = driver->dump(other);
    const QString path = driver->file(name.toLatin1().constData(), MotorUpdate::program());
    const UpdateRecord record = driver->run(path, labPacing());

    const QString described = dsp == control ? QStringLiteral("Control") : QStringLiteral("Communication");
    const QStringList expected{
        QStringLiteral(" ===  U P D A T E   T H E   D E V I C E  ==="),
        QStringLiteral("Device IP: 192.168.0.60"),
        QStringLiteral("Firmware : ") + path,
        QStringLiteral("Update Rovan-Motor Firmware:"),
        QStringLiteral("The '%1 DSP' will be programmed...").arg(described),
        QStringLiteral("Set Baudrate to 38400..."),
        QStringLiteral("Done!"),
        QStringLiteral("Set GPIO..."),
        QStringLiteral("Done!"),
        QStringLiteral("Load Bootloader..."),
        QStringLiteral("Done!"),
        QStringLiteral("Program..."),
        QStringLiteral("Send Erase Packet..."),
        QStringLiteral("Erase Timeout 20s"),
        QStringLiteral("Memory erased!"),
        QStringLiteral("Write memory..."),
        QStringLiteral("Writing completed!"),
        QStringLiteral("Done!"),
        QStringLiteral("Set Baudrate to 921600..."),
        QStringLiteral("Done!"),
        QStringLiteral("Lantronix Ready!"),
        QStringLiteral("Reset DSP..."),
        QStringLiteral("Process completed! wait for restart..."),
    };
    QVERIFY2(record.log == expected, qPrintable(record.log.join(QLatin1Char(10))));
    QCOMPARE(record.lastStoppable, QStringLiteral("Program..."));
    QCOMPARE(record.completed, 1);
    QCOMPARE(record.failed, 0);
    QCOMPARE(record.last, QStringLiteral("completed"));
    QCOMPARE(record.removed, QVector<int>{0});

    QCOMPARE(record.progress.first(), 0);
    QCOMPARE(record.progress.last(), 100);
    QCOMPARE(record.progress.count(70), 1);
    QCOMPARE(record.progress.count(1), record.progress.size() - 3);
    verifyBar(record);

    QVERIFY(driver->dump(dsp) == MotorUpdate::flashWith(MotorUpdate::program()));
    QVERIFY(driver->dump(other) == before);
    const QJsonObject state = driver->state();
    QCOMPARE(state.value(QStringLiteral("baudrate")).toInt(), 921600);
    QCOMPARE(state.value(QStringLiteral("pins")).toString(), QStringLiteral("normal"));
    QCOMPARE(driver->ask("MVER"), QByteArray("#MVER:ROVAN-MOTOR:x:1.07\r\n"));
}

void TestRovanUpdate::unusualModulesAreProgrammedToo_data()
{
    QTest::addColumn<QByteArray>("motor");
    QTest::newRow("more prompts, banner in two pieces")
        << QByteArray(R"({"faults":{"channelPrompts":26,"bannerPauseMs":400}})");
    QTest::newRow("fewer prompts, answers in pieces, old bytes")
        << QByteArray(R"({"faults":{"channelPrompts":3,"pieceBytes":7,"pieceMs":1,"oldBytes":"#OLD\r\n"}})");
}

void TestRovanUpdate::unusualModulesAreProgrammedToo()
{
    QFETCH(QByteArray, motor);
    startLab(motor);
    verifyProgrammed(run());
}

// Someone builds anew while the module restarts, or the memory stick is pulled out.
void TestRovanUpdate::whatWasJudgedIsProgrammed()
{
    startLab();
    const QString path = driver->file(controlFile, MotorUpdate::program());
    verifyProgrammed(driver->run(path, labPacing(), QStringLiteral("Set GPIO"), [this] {
        driver->file(controlFile, {{0x3e8000, "other"}});
    }));
}

void TestRovanUpdate::refusedFileTouchesNothing_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<Blocks>("blocks");
    QTest::addColumn<QString>("error");
    const Blocks fitting = MotorUpdate::program();
    const QByteArray page(512, 'x');
    const QString wrong = QStringLiteral("ERROR: wrong Firmware!");
    QTest::newRow("another name") << QStringLiteral("Firmware.hex") << fitting << wrong;
    QTest::newRow("lower case") << QStringLiteral("rovan_motor_control_dsp.hex") << fitting << wrong;
    const auto row = [](const char *name, const Blocks &blocks, const char *error) {
        QTest::newRow(name) << QString::fromLatin1(controlFile) << blocks << QString::fromLatin1(error);
    };
    const char outside[] = "ERROR: address are outside the programmable address range";
    row("no data record", {}, "ERROR: Parsing Failed!");
    row("word before the range", {{0x3e7fff, page}}, outside);
    row("word behind the range", {{0x3f8f01, page}}, outside);
    row("one block of several", fitting + Blocks{{0x3f9000, page}}, outside);
    row("block beyond the last page", {{0x3f8e00, page + page + page}}, outside);
}

void TestRovanUpdate::refusedFileTouchesNothing()
{
    QFETCH(QString, name);
    QFETCH(Blocks, blocks);
    QFETCH(QString, error);
    startLab();
    const UpdateRecord record = driver->run(driver->file(name.toLatin1().constData(), blocks), labPacing());
    verifyFailed(record, {error});
    driver->state(); // a connection would have been reported before this
    QVERIFY(driver->lab.events(QStringLiteral("connected")).isEmpty());
}

void TestRovanUpdate::faultBeforeTheEraseLeavesTheFlash_data()
{
    QTest::addColumn<QByteArray>("motor");
    QTest::addColumn<QString>("error");
    QTest::addColumn<QString>("lastStage");
    const auto row = [](const char *name, const char *motor, const char *error, const char *stage) {
        QTest::newRow(name) << QByteArray(motor) << error << stage;
    };
    row("menu that never comes", R"({"windowMs":100000,"faults":{"hiddenText":"Your choice ?"}})",
        "ERROR: Set Baudrate failed!", "Set Baudrate to 38400...");
    row("menu that hangs up", R"({"faults":{"setupCutAfterBytes":9}})", "ERROR: Set Baudrate failed!",
        "Set Baudrate to 38400...");
    row("wrong pins", R"({"faults":{"gpioWrongAnswerAt":4}})", "ERROR: GPIO not configured correctly!",
        "Set GPIO...");
    row("no autobaud", R"({"faults":{"noAutobaud":true}})", "ERROR: autobaud failed!", "Load Bootloader...");
    row("cut in the boot loader", R"({"faults":{"cutAfterBytes":5,"cutConnection":1}})",
        "ERROR: Flash Erase failed!", "Send Erase Packet...");
    row("erase refused", R"({"faults":{"eraseAnswer":"nak"}})", "ERROR: Flash Erase failed!",
        "Send Erase Packet...");
    row("erase not answered", R"({"faults":{"eraseAnswer":"silent"}})", "ERROR: Flash Erase failed!",
        "Send Erase Packet...");
    row("stand-in for the boot loader", R"({"requireBootloaderCode":true})", "ERROR: Flash Erase failed!",
        "Send Erase Packet...");
    row("cut at the erase", R"({"faults":{"cutAfterBytes":3,"cutConnection":2}})",
        "ERROR: Flash Erase failed!", "Send Erase Packet...");
}

void TestRovanUpdate::faultBeforeTheEraseLeavesTheFlash()
{
    QFETCH(QByteArray, motor);
    QFETCH(QString, error);
    QFETCH(QString, lastStage);
    startLab(motor);
    const QByteArray before = driver->dump(control);
    QVERIFY(before != MotorUpdate::flashWith(MotorUpdate::program()) && before != MotorUpdate::flashWith({}));
    Pacing pacing = labPacing();
    if (motor.contains("hiddenText")) {
        pacing.menuSilence = std::chrono::milliseconds(50); // sixty times
    }
    const UpdateRecord record = run(pacing);
    verifyFailed(record, {error});
    QCOMPARE(record.log.filter(QStringLiteral("...")).last(), lastStage);
    QVERIFY(!record.log.contains(QStringLiteral("Memory erased!")));
    QVERIFY(driver->dump(control) == before);
}

void TestRovanUpdate::faultAfterTheEraseIsNoSuccess_data()
{
    QTest::addColumn<QByteArray>("motor");
    QTest::addColumn<QString>("error");
    // Erase, address, one page: 6 + 9 + 16 x 37 + 5 bytes.
    const QString writing = QStringLiteral("ERROR: writing failed!");
    QTest::newRow("cut in the first page")
        << QByteArray(R"({"faults":{"cutAfterBytes":100,"cutConnection":2}})") << writing;
    QTest::newRow("cut in the last page")
        << QByteArray(R"({"faults":{"cutAfterBytes":2800,"cutConnection":2}})") << writing;
    QTest::newRow("erase answered without its end")
        << QByteArray(R"({"faults":{"eraseAnswer":"ackWithoutNewline"}})")
        << QStringLiteral("ERROR: Flash Erase failed!");
}

void TestRovanUpdate::faultAfterTheEraseIsNoSuccess()
{
    QFETCH(QByteArray, motor);
    QFETCH(QString, error);
    startLab(motor);
    Pacing pacing = labPacing();
    pacing.page = std::chrono::milliseconds(200); // the lab needs time to cut as well
    const UpdateRecord record = run(pacing);
    verifyFailed(record, {error});
    QVERIFY(!record.log.contains(QStringLiteral("Writing completed!")));
    QCOMPARE(driver->state().value(QStringLiteral("baudrate")).toInt(), 38400);
}

void TestRovanUpdate::baudrateThatIsNotTakenIsTold()
{
    startLab(R"({"faults":{"refusedBaudrate":38400}})");
    const UpdateRecord record = run();
    const QStringList warnings = record.log.filter(QStringLiteral("WARNING:"));
    QCOMPARE(warnings.size(), 1);
    QVERIFY2(warnings.first().contains(QLatin1String("38400")), qPrintable(warnings.first()));
    // The line is still at 921600, so the boot loader cannot lock.
    verifyFailed(record, {QStringLiteral("ERROR: autobaud failed!")});
}

// At 38400 baud nothing reaches the DSP that starts again at 921600: no success, whatever its flash holds.
void TestRovanUpdate::refusedWayBackIsNoSuccess()
{
    startLab(R"({"faults":{"refusedBaudrate":921600}})");
    const UpdateRecord record = run();
    verifyFailed(record, {QStringLiteral("ERROR: Set Baudrate failed!")});
    QVERIFY(record.log.contains(QStringLiteral("Writing completed!")));
    QVERIFY(record.log.at(record.log.size() - 2).startsWith(QLatin1String("WARNING:")));
    QCOMPARE(driver->state().value(QStringLiteral("baudrate")).toInt(), 38400);
}

void TestRovanUpdate::interruptionBeforeTheEraseIsHonoured_data()
{
    QTest::addColumn<QString>("line");
    QTest::newRow("at the start") << QStringLiteral(" ===");
    QTest::newRow("in the menu") << QStringLiteral("Set Baudrate to 38400");
    QTest::newRow("at the pins") << QStringLiteral("Set GPIO");
    QTest::newRow("at the boot loader") << QStringLiteral("Load Bootloader");
    QTest::newRow("before the erase") << QStringLiteral("Program...");
}

void TestRovanUpdate::interruptionBeforeTheEraseIsHonoured()
{
    QFETCH(QString, line);
    startLab();
    const QByteArray before = driver->dump(control);
    QVERIFY(before != MotorUpdate::flashWith(MotorUpdate::program()) && before != MotorUpdate::flashWith({}));
    Pacing pacing = labPacing();
    if (line == QLatin1String("Program...")) {
        pacing.tunnelSettle = std::chrono::seconds(2);
    }
    const UpdateRecord record = run(pacing, line);
    verifyFailed(record, {timedOut});
    QCOMPARE(record.log.last(), timedOut);
    QVERIFY(record.wasStopped);
    QVERIFY(driver->dump(control) == before);
}

void TestRovanUpdate::interruptionAfterTheEraseIsNot_data()
{
    QTest::addColumn<QString>("line");
    QTest::newRow("erasing") << QStringLiteral("Erase Timeout 20s");
    QTest::newRow("back to the fast line") << QStringLiteral("Set Baudrate to 921600");
}

void TestRovanUpdate::interruptionAfterTheEraseIsNot()
{
    QFETCH(QString, line);
    startLab();
    verifyProgrammed(run(labPacing(), line));
    QCOMPARE(driver->state().value(QStringLiteral("baudrate")).toInt(), 921600);
}

// 64 Kwords are 80 steps of the sender, where the bar has less than half of that left.
void TestRovanUpdate::longFileKeepsTheBarMoving()
{
    startLab();
    const QVector<QPair<quint32, QByteArray>> blocks{{0x3e8000, QByteArray(0x20000, 'x')}};
    Pacing pacing = labPacing();
    pacing.page = std::chrono::milliseconds(2);
    const UpdateRecord record = driver->run(driver->file(controlFile, blocks), pacing);
    QCOMPARE(record.completed, 1);
    verifyBar(record);
    QVERIFY(driver->dump(control) == MotorUpdate::flashWith(blocks));
    const int seventy = record.bar.indexOf(70);
    QVERIFY2(record.bar[seventy - 1] > 55 && record.bar[seventy - 1] < 70,
             qPrintable(QString::number(record.bar[seventy - 1])));
}

QTEST_GUILESS_MAIN(TestRovanUpdate)
#include "tst_rovanupdate.moc"
