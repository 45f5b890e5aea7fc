#include "dialogue.h"
#include "quickpacing.h"
#include "scriptedpeer.h"
#include "threadrun.h"
#include "xportconfiguration.h"

#include <QSemaphore>
#include <QSignalSpy>
#include <QTest>

// The module's setup menu, played with its own texts and line ends: what is typed at which prompt,
// what the caller is told, and that the dialogue ends whatever the module does.
class TestXPortConfiguration : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void menuIsTypedThrough_data();
    void menuIsTypedThrough();
    void unreachableModuleFails();
    void interruptionEndsTheDialogueSoon_data();
    void interruptionEndsTheDialogueSoon();
    void bannerWordIsTheMac();

private:
    const QString loopback = QStringLiteral("127.0.0.1");
};

namespace {

using Connection = ScriptedPeer::Connection;

const QByteArray newline("\r\0\n", 3);
const QByteArray otherNewline("\n\r\0", 3);
const QByteArray banner = QByteArray("\xff\xfb\x01\xff\xfb\x03") + newline + "MAC address 00204AAD6470" +
                          otherNewline + "Software version V6.5.0.7 (070919) XPTEXE" + newline +
                          otherNewline + "Press Enter for Setup Mode " + otherNewline;
const QByteArray listing = newline + "\n*** basic parameters " + otherNewline + "*** Channel 1" +
                           otherNewline + "Baudrate 9600, I/F Mode 4C, Flow 00" + otherNewline;
const QByteArray menu = newline + otherNewline + "Change Setup:" + otherNewline + "  1 Channel 1" + newline +
                        "  9 Save and exit            Your choice ? ";

XPortPorts setupPort(quint16 port)
{
    XPortPorts ports;
    ports.setup = port;
    return ports;
}

// The code under test at the setup port of this module.
struct Configuration : xPortConfiguration
{
    explicit Configuration(const ScriptedPeer &module, const Pacing &waits = quickPacing())
        : xPortConfiguration(nullptr, Interruption::Honoured, waits, setupPort(module.port()))
    {}
};

// Answers line by line: the texts in turn, each behind the echo of what was typed.
void answer(Connection &module, const QByteArrayList &texts)
{
    for (const QByteArray &text : texts) {
        QByteArray typed = module.readUntil("\r\n");
        typed.chop(2);
        module.send((typed.isEmpty() ? typed : typed + '\n') + text);
    }
}

const QByteArray baudPrompt = newline + "Baudrate (9600) ? ";

} // namespace

void TestXPortConfiguration::initTestCase()
{
    QVERIFY(qEnvironmentVariableIsSet("LAB_NET"));
}

void TestXPortConfiguration::menuIsTypedThrough_data()
{
    QTest::addColumn<QByteArray>("steps");
    QTest::addColumn<QString>("end");
    QTest::addColumn<int>("silenceMs");
    for (const DialogueRow &row : dialoguesIn("menu.txt")) {
        QTest::newRow(row.name.constData()) << row.steps << row.log << (row.section == "never" ? 60 : 200);
    }
}

void TestXPortConfiguration::menuIsTypedThrough()
{
    QFETCH(QByteArray, steps);
    QFETCH(QString, end);
    QFETCH(int, silenceMs);
    Pacing pacing = quickPacing();
    pacing.menuSilence = std::chrono::milliseconds(silenceMs);
    pacing.longestAnswer = std::chrono::seconds(2);
    const Dialogue dialogue(steps);
    const ScriptedPeer module(dialogue.script());
    QString seen;
    {
        Configuration configuration(module, pacing);
        const QSignalSpy moves(&configuration, &xPortConfiguration::signalIncreaseProgressBar);
        QSignalSpy lines(&configuration, &xPortConfiguration::signalPrintMessage);
        const bool set = configuration.setBaudrate(loopback, 38400);
        seen = set ? QStringLiteral("set") : QStringLiteral("not set");
        for (const QList<QVariant> &line : lines) {
            QVERIFY(line.first().toString().contains(QLatin1String("38400")));
            seen += line.first().toString().startsWith(QLatin1String("WARNING:")) ? QStringLiteral(", warned")
                                                                                  : QStringLiteral(", told");
        }
        seen += configuration.rateRefused() ? QStringLiteral(", refused") : QString();
        if (set) { // each line that was typed, and the exchange that types nothing
            QCOMPARE(moves.count(), 1 + steps.count(">"));
        }
    }
    QCOMPARE(seen, end);
    QTRY_COMPARE(module.endedConnections(), 1);
    QVERIFY2(dialogue.isHeard(module.received()), module.received().toPercentEncoding().constData());
}

void TestXPortConfiguration::unreachableModuleFails()
{
    xPortConfiguration refused(nullptr, Interruption::Honoured, quickPacing(),
                               setupPort(ScriptedPeer::closedPort()));
    QVERIFY(!refused.setBaudrate(loopback, 38400));
    xPortConfiguration nobody(nullptr, Interruption::Honoured, quickPacing());
    QVERIFY(!nobody.setBaudrate(QStringLiteral("192.168.0.77"), 38400));
}

void TestXPortConfiguration::interruptionEndsTheDialogueSoon_data()
{
    QTest::addColumn<int>("lines"); // that the module has read when the thread is asked to stop
    QTest::newRow("waiting for the banner") << 0;
    QTest::newRow("waiting for the menu") << 1;
    QTest::newRow("in the channel menu") << 4;
}

void TestXPortConfiguration::interruptionEndsTheDialogueSoon()
{
    QFETCH(int, lines);
    QSemaphore reached;
    const ScriptedPeer module([lines, &reached](Connection &connection) {
        if (lines > 0) {
            connection.send(banner);
        }
        const QByteArrayList texts{menu, baudPrompt, "Flow (00) ? "};
        for (int i = 0; i < lines; ++i) {
            i + 1 < lines ? answer(connection, {texts[i]}) : void(connection.readUntil("\r\n"));
        }
        reached.release();
    });
    Pacing pacing = quickPacing();
    if (lines == 0) {
        pacing.menuSilence = std::chrono::minutes(5);
    }
    bool result = true;
    ThreadRun run([&] {
        Configuration configuration(module, pacing);
        result = configuration.setBaudrate(loopback, 38400);
    });
    QVERIFY(reached.tryAcquire(1, 20000));
    run.interrupt();
    QVERIFY(run.wait(20000));
    QVERIFY(!result);
    QVERIFY(module.received().count("\r\n") <= lines + 1); // no Enter after Enter
}

void TestXPortConfiguration::bannerWordIsTheMac()
{
    const ScriptedPeer module([](Connection &connection) { connection.send(banner); });
    Configuration configuration(module);
    QCOMPARE(configuration.readBannerWord(loopback), QStringLiteral("00204AAD6470"));
    QTRY_COMPARE(module.received(), QByteArray("\r\n"));

    xPortConfiguration refused(nullptr, Interruption::Honoured, quickPacing(),
                               setupPort(ScriptedPeer::closedPort()));
    QCOMPARE(refused.readBannerWord(loopback), QString());

    const ScriptedPeer other([](Connection &connection) { connection.send("Press Enter for Setup Mode"); });
    QCOMPARE(Configuration(other).readBannerWord(loopback), QString());
}

QTEST_GUILESS_MAIN(TestXPortConfiguration)
#include "tst_xportconfiguration.moc"
