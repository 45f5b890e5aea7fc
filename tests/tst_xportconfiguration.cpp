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

    void wholeDialogue_data();
    void wholeDialogue();
    void refusedRateIsToldOnce_data();
    void refusedRateIsToldOnce();
    void menuWithoutTheExpectedTextEnds_data();
    void menuWithoutTheExpectedTextEnds();
    void lostConnectionEndsTheDialogue_data();
    void lostConnectionEndsTheDialogue();
    void endlessTalkEnds();
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

QByteArrayList channelPrompts(int more)
{
    QByteArrayList texts;
    for (int i = 0; i < more; ++i) {
        texts << newline + "Prompt (" + QByteArray::number(i) + ") ? ";
    }
    return texts;
}

const QByteArray baudPrompt = newline + "Baudrate (9600) ? ";
const QByteArray stored = newline + "Parameters stored ..." + otherNewline;

void wholeMenu(Connection &module, int prompts)
{
    module.send(banner);
    answer(module, QByteArrayList{listing + menu, baudPrompt} + channelPrompts(prompts) +
                       QByteArrayList{menu, stored});
    module.close();
}

} // namespace

void TestXPortConfiguration::initTestCase()
{
    QVERIFY(qEnvironmentVariableIsSet("LAB_NET"));
}

void TestXPortConfiguration::wholeDialogue_data()
{
    QTest::addColumn<int>("prompts");
    QTest::newRow("no further prompt") << 0;
    QTest::newRow("twenty further prompts") << 20;
}

void TestXPortConfiguration::wholeDialogue()
{
    QFETCH(int, prompts);
    const ScriptedPeer module([prompts](Connection &connection) { wholeMenu(connection, prompts); });
    Configuration configuration(module);
    const QSignalSpy steps(&configuration, &xPortConfiguration::signalIncreaseProgressBar);
    const QSignalSpy lines(&configuration, &xPortConfiguration::signalPrintMessage);
    QVERIFY(configuration.setBaudrate(loopback, 921600));
    QVERIFY(!configuration.rateRefused());
    QTRY_COMPARE(module.received(), "\r\n1\r\n921600\r\n" + QByteArray("\r\n").repeated(prompts) + "9\r\n");
    QCOMPARE(steps.count(), 5 + prompts); // one of them for the exchange that types nothing
    QCOMPARE(lines.count(), 0);
}

void TestXPortConfiguration::refusedRateIsToldOnce_data()
{
    QTest::addColumn<QByteArray>("refusal");
    QTest::addColumn<bool>("asksAgain");
    const QByteArray tooFast = "\r\nRequires CPU high performance!\r\nEnable High Performance (N) ? ";
    QTest::newRow("not in its list") << newline + "Invalid Baudrate !!!" + baudPrompt << true;
    QTest::newRow("too fast") << tooFast + baudPrompt << true;
    QTest::newRow("too fast, and made faster") << tooFast << false;
}

void TestXPortConfiguration::refusedRateIsToldOnce()
{
    QFETCH(QByteArray, refusal);
    QFETCH(bool, asksAgain);
    const ScriptedPeer module([&refusal](Connection &connection) {
        connection.send(banner);
        answer(connection, {menu, baudPrompt, refusal, refusal, newline + "I/F Mode (4C) ? ", menu, stored});
    });
    Configuration configuration(module);
    QSignalSpy lines(&configuration, &xPortConfiguration::signalPrintMessage);
    QVERIFY(configuration.setBaudrate(loopback, 123456));
    QCOMPARE(configuration.rateRefused(), asksAgain);
    QCOMPARE(lines.count(), 1);
    const QString line = lines.first().first().toString();
    QVERIFY2(line.startsWith(QLatin1String("WARNING:")) && line.contains(QLatin1String("123456")),
             qPrintable(line));
    QTRY_VERIFY(module.received().endsWith("123456\r\n\r\n\r\n\r\n9\r\n"));
}

void TestXPortConfiguration::menuWithoutTheExpectedTextEnds_data()
{
    QTest::addColumn<QByteArrayList>("texts");
    QTest::addColumn<QByteArray>("typed");
    const QByteArray enters = QByteArray("\r\n").repeated(59);
    QTest::newRow("no banner") << QByteArrayList{"hello"} << enters;
    QTest::newRow("no main menu") << QByteArrayList{banner, "hello"} << "\r\n" + enters;
    QTest::newRow("no channel menu") << QByteArrayList{banner, menu, "hello"} << "\r\n1\r\n" + enters;
    QTest::newRow("no way back") << QByteArrayList{banner, menu, baudPrompt, "hello"}
                                 << "\r\n1\r\n38400\r\n" + enters;
}

void TestXPortConfiguration::menuWithoutTheExpectedTextEnds()
{
    QFETCH(QByteArrayList, texts);
    QFETCH(QByteArray, typed);
    const ScriptedPeer module([&texts](Connection &connection) {
        connection.send(texts.first());
        answer(connection, texts.mid(1));
        while (!connection.readUntil("\r\n").isEmpty()) {
            connection.send(texts.last());
        }
    });
    Pacing pacing = quickPacing();
    pacing.menuSilence = std::chrono::milliseconds(60);
    Configuration configuration(module, pacing);
    QVERIFY(!configuration.setBaudrate(loopback, 38400));
    QCOMPARE(module.received(), typed);
}

void TestXPortConfiguration::lostConnectionEndsTheDialogue_data()
{
    QTest::addColumn<QByteArrayList>("texts");
    QTest::newRow("at once") << QByteArrayList{};
    QTest::newRow("behind the banner") << QByteArrayList{banner};
    QTest::newRow("in the main menu") << QByteArrayList{banner, menu};
    QTest::newRow("at the rate") << QByteArrayList{banner, menu, baudPrompt};
    QTest::newRow("in the channel menu") << QByteArrayList{banner, menu, baudPrompt, "Flow (00) ?"};
    QTest::newRow("before saving") << QByteArrayList{banner, menu, baudPrompt, menu};
}

void TestXPortConfiguration::lostConnectionEndsTheDialogue()
{
    QFETCH(QByteArrayList, texts);
    const ScriptedPeer module([&texts](Connection &connection) {
        connection.send(texts.value(0));
        answer(connection, texts.mid(1));
        connection.close();
    });
    Configuration configuration(module);
    QVERIFY(!configuration.setBaudrate(loopback, 38400));
    QVERIFY(!module.received().contains("9\r\n"));
}

void TestXPortConfiguration::endlessTalkEnds()
{
    const ScriptedPeer module([](Connection &connection) {
        while (connection.isOpen()) {
            connection.send("bla ");
            connection.wait(20);
        }
    });
    Pacing pacing = quickPacing();
    pacing.longestAnswer = std::chrono::milliseconds(500);
    Configuration configuration(module, pacing);
    QVERIFY(!configuration.setBaudrate(loopback, 38400));
    QVERIFY(module.received().isEmpty());
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
