#include "firmwareroom.h"

#include <QAction>
#include <QFile>
#include <QPushButton>
#include <QTest>
#include <QThread>

#include <csignal>

// The update check as the window conducts it, with a real tool beside the executable.
class TestWindowUpdates : public QObject
{
    Q_OBJECT

private slots:
    void staysUsableAndIgnoresASecondCheck();
    void closingEndsTheToolAtOnce();
    void newReleaseWaitsForTheInstruments();

private:
    static QString play(const char *what, const WindowFixture &window);
    static QList<QByteArrayList> starts(const QString &log);
};

// What the tool does from now on; where it notes its starts.
QString TestWindowUpdates::play(const char *what, const WindowFixture &window)
{
    QString log = window.homePath() + QLatin1String("/log");
    qputenv("TOOL_LOG", log.toLocal8Bit());
    qputenv("TOOL_PLAYS", what);
    return log;
}

// One list for each start of the tool: its process id and arguments.
QList<QByteArrayList> TestWindowUpdates::starts(const QString &log)
{
    QFile file(log);
    QList<QByteArrayList> lines;
    if (file.open(QIODevice::ReadOnly)) {
        while (!file.atEnd()) {
            lines.append(file.readLine().trimmed().split(' '));
        }
    }
    return lines;
}

void TestWindowUpdates::staysUsableAndIgnoresASecondCheck()
{
    WindowFixture fixture;
    const QString log = play("silence", fixture);
    fixture.open();
    fixture.find<QAction>("actionCheck_for_updates")->trigger();
    QTRY_COMPARE_WITH_TIMEOUT(starts(log).size(), 1, 30000);
    fixture.find<QAction>("actionCheck_for_updates")->trigger();
    QTest::mouseClick(fixture.find<QPushButton>("configBtn"), Qt::LeftButton);
    QVERIFY(!fixture.find<QPushButton>("configBtn")->isEnabled());
    QVERIFY(fixture.boxes().isEmpty());
    QCOMPARE(kill(starts(log).first().first().toInt(), SIGTERM), 0);
    QTRY_VERIFY2(fixture->findChildren<QThread *>().isEmpty(), "a second check runs");
    QTRY_COMPARE(fixture.boxes().size(), 1);
    QCOMPARE(starts(log).size(), 1);

    qputenv("TOOL_PLAYS", "no update");
    fixture.find<QAction>("actionCheck_for_updates")->trigger(); // the next one is none of that
    QTRY_COMPARE_WITH_TIMEOUT(fixture.boxes().size(), 2, 30000);
    QCOMPARE(fixture.boxes().last().text, QStringLiteral("No updates available."));
}

void TestWindowUpdates::closingEndsTheToolAtOnce()
{
    WindowFixture fixture;
    const QString log = play("silence", fixture);
    fixture.open();
    fixture.find<QAction>("actionCheck_for_updates")->trigger();
    QTRY_COMPARE_WITH_TIMEOUT(starts(log).size(), 1, 30000);
    const pid_t tool = starts(log).first().first().toInt();
    QVERIFY(fixture->close());
    fixture.close(); // as at the end of the program
    QTRY_VERIFY2_WITH_TIMEOUT(kill(tool, 0) != 0, "the tool outlived the window", 10000);
    QVERIFY(fixture.boxes().isEmpty());
}

// The program would be closed for its own update in the middle of an instrument's.
void TestWindowUpdates::newReleaseWaitsForTheInstruments()
{
    FirmwareRoom room;
    const QString log = play("update", room.window);
    room.openPage(
        {FirmwareRoom::instrument("powerSupply", "1100", 11, {{QStringLiteral("bytesPerSecond"), 20000}})});
    room.tick({11});
    QTest::mouseClick(room.window.find<QPushButton>("updateFwBtn"), Qt::LeftButton);
    QVERIFY(room.lab.waitForEvent(QStringLiteral("connected")));
    room.window.answerBoxes(QStringLiteral("Yes")); // to the new release; the other question is declined
    room.window.find<QAction>("actionCheck_for_updates")->trigger();
    QTRY_COMPARE_WITH_TIMEOUT(room.window.boxes().size(), 2, 30000);
    QVERIFY(room.window.boxes().first().text.startsWith(QStringLiteral("There are updates")));
    QVERIFY(room.window.boxes().last().text.startsWith(QStringLiteral("An update is running.")));
    QTRY_VERIFY_WITH_TIMEOUT(!room.isLocked(), 30000);
    QCOMPARE(room.storedImage(11), room.image);
    QCOMPARE(starts(log).size(), 1); // no updater
}

QTEST_MAIN(TestWindowUpdates)
#include "tst_windowupdates.moc"
