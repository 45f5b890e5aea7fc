#include "updates.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QWidget>

#include <memory>
#include <sys/resource.h>

namespace {

const char *const question = "There are updates, would you like to upgrade (the application will be closed)?";

QString text(const char *latin1)
{
    return QString::fromLatin1(latin1);
}

QString toolPath()
{
    return QFileInfo(QCoreApplication::applicationDirPath() + QStringLiteral("/maintenancetool.exe"))
        .canonicalFilePath();
}

struct Box
{
    QMessageBox::Icon icon;
    QString title;
    QString words;
    QStringList buttons;
};

// Answers every message box that comes up, and notes what it said.
class Answerer : public QObject
{
public:
    Answerer()
    {
        connect(&m_timer, &QTimer::timeout, this, &Answerer::look);
        m_timer.start(5);
    }

    QList<Box> boxes;
    QString answer;                // caption of the button to press; empty: Esc
    std::function<void()> prepare; // called before the answer is given

private:
    void look()
    {
        auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
        if (!box || !box->isVisible()) {
            return;
        }
        Box seen{box->icon(), box->windowTitle(), box->text(), {}};
        QAbstractButton *choice = nullptr;
        const QList<QAbstractButton *> buttons = box->buttons();
        for (QAbstractButton *button : buttons) {
            seen.buttons << button->text().remove(QLatin1Char('&'));
            choice = seen.buttons.last() == answer ? button : choice;
        }
        boxes << seen;
        if (prepare) {
            prepare();
        }
        if (choice) {
            choice->click();
        } else {
            QTest::keyClick(box, Qt::Key_Escape);
        }
    }

    QTimer m_timer;
};

#ifdef __SANITIZE_ADDRESS__
constexpr long allowedKiB = 1048576; // the sanitizer keeps what was freed
#else
constexpr long allowedKiB = 32768;
#endif

long peakMemoryKiB()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

} // namespace

// The check against a real tool, a program of this test, beside this executable.
class TestUpdates : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void tellsWhatTheToolFound_data();
    void tellsWhatTheToolFound();
    void namesEachError_data();
    void namesEachError();
    void withoutToolItSaysSoAtOnce();
    void toolThatMayNotRun();
    void silentToolIsEndedAfterTheWait();
    void hugeOutputTakesNoMemory_data();
    void hugeOutputTakesNoMemory();
    void onlyYesStartsTheUpdater_data();
    void onlyYesStartsTheUpdater();
    void updaterThatCannotStart();
    void closingEndsAToolThatIsBeingStarted();

private:
    void play(const char *what) { qputenv("TOOL_PLAYS", what); }
    QStringList starts() const;
    void waitForStart() const;
    static int toolsRunning();

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<QWidget> m_window;
    std::unique_ptr<Answerer> m_answerer;
};

void TestUpdates::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    qputenv("TOOL_LOG", m_folder->filePath(QStringLiteral("log")).toLocal8Bit());
    m_window = std::make_unique<QWidget>();
    m_window->show();
    m_answerer = std::make_unique<Answerer>();
    QVERIFY(!toolPath().isEmpty());
}

void TestUpdates::cleanup()
{
    m_window.reset();
    m_answerer.reset();
}

// One line a start, process id and arguments.
QStringList TestUpdates::starts() const
{
    QFile log(m_folder->filePath(QStringLiteral("log")));
    const QByteArray lines = log.open(QIODevice::ReadOnly) ? log.readAll() : QByteArray();
    return QString::fromLatin1(lines).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

void TestUpdates::waitForStart() const
{
    QTRY_COMPARE_WITH_TIMEOUT(starts().size(), 1, 60000);
}

// The tools that still run or were never waited for, also those that had no time to note their start.
int TestUpdates::toolsRunning()
{
    const QByteArray ours = "\nPPid:\t" + QByteArray::number(QCoreApplication::applicationPid()) + '\n';
    int running = 0;
    const QStringList processes = QDir(text("/proc")).entryList({text("[0-9]*")}, QDir::Dirs);
    for (const QString &process : processes) {
        QFile status(text("/proc/") + process + text("/status"));
        running += status.open(QIODevice::ReadOnly) && status.readAll().contains(ours) ? 1 : 0;
    }
    return running;
}

void TestUpdates::tellsWhatTheToolFound_data()
{
    QTest::addColumn<QMessageBox::Icon>("icon");
    QTest::addColumn<QString>("words");
    const QString none = text("No updates available.");
    QTest::newRow("no update") << QMessageBox::Information << none;
    QTest::newRow("nothing") << QMessageBox::Information << none;
    QTest::newRow("other case") << QMessageBox::Information << none;
    QTest::newRow("update behind a zero byte") << QMessageBox::Information << none;
    QTest::newRow("update") << QMessageBox::Information << text(question);
    QTest::newRow("crash") << QMessageBox::Critical
                           << text("Error calling maintenancetool %1. The process crashed some time after "
                                   "starting successfully.")
                                  .arg(toolPath());
}

void TestUpdates::tellsWhatTheToolFound()
{
    QFETCH(QString, words);
    play(QTest::currentDataTag());
    auto *updates = new Updates(m_window.get());
    updates->checkUpdates();
    QTRY_COMPARE_WITH_TIMEOUT(m_answerer->boxes.size(), 1, 60000);
    const Box box = m_answerer->boxes.first();
    QTEST(box.icon, "icon");
    QCOMPARE(box.title, text("Updates"));
    QCOMPARE(box.words, words);
    // The question's default button is not in its set, which is why it has two.
    QCOMPARE(box.buttons,
             words == text(question) ? QStringList({text("Yes"), text("No")}) : QStringList(text("OK")));
    QCOMPARE(starts().size(), 1);
    QCOMPARE(starts().first().section(QLatin1Char(' '), 1), text("--checkupdates"));
}

void TestUpdates::namesEachError_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("reason");
    QTest::newRow("0") << 0
                       << "The process failed to start. Either the invoked program is missing, or you may "
                          "have insufficient permissions to invoke the program.";
    QTest::newRow("1") << 1 << "The process crashed some time after starting successfully.";
    QTest::newRow("2") << 2 << "Timeout.";
    QTest::newRow("3") << 3
                       << "An error occurred when attempting to read from the process. For example, the "
                          "process may not be running.";
    QTest::newRow("4") << 4
                       << "An error occurred when attempting to write to the process. For example, the "
                          "process may not be running, or it may have closed its input channel.";
    QTest::newRow("6") << 6 << "Unknown error, code error 6";
    QTest::newRow("-1") << -1 << "Unknown error, code error -1";
}

void TestUpdates::namesEachError()
{
    QFETCH(int, code);
    QFETCH(QString, reason);
    Updates updates(m_window.get());
    updates.onCheckResult(code, "<updates>");
    QCOMPARE(m_answerer->boxes.size(), 1);
    QCOMPARE(m_answerer->boxes.first().icon, QMessageBox::Critical);
    QCOMPARE(m_answerer->boxes.first().title, text("Updates"));
    QCOMPARE(m_answerer->boxes.first().words,
             text("Error calling maintenancetool ") + toolPath() + text(". ") + reason);
}

void TestUpdates::withoutToolItSaysSoAtOnce()
{
    const QString tool = toolPath();
    QVERIFY(QFile::rename(tool, tool + text(".away")));
    Updates updates(m_window.get());
    updates.checkUpdates();
    QVERIFY(QFile::rename(tool + text(".away"), tool));
    QCOMPARE(m_answerer->boxes.size(), 1);
    const Box box = m_answerer->boxes.first();
    QCOMPARE(box.icon, QMessageBox::Critical);
    QCOMPARE(box.title, text("Updates"));
    QVERIFY(box.words.startsWith(text("Cannot start maintancetool ")));
    for (const char *part : {"reinstall", "ONLINE or OFFLINE installer", Updates::supportAddress}) {
        QVERIFY2(box.words.contains(text(part)), part);
    }
    QVERIFY(updates.findChildren<QThread *>().isEmpty());
    QVERIFY(starts().isEmpty());

    play("no update"); // installed meanwhile, it is found
    updates.checkUpdates();
    QTRY_COMPARE_WITH_TIMEOUT(m_answerer->boxes.size(), 2, 60000);
    QCOMPARE(m_answerer->boxes.last().words, text("No updates available."));
}

void TestUpdates::toolThatMayNotRun()
{
    QFile tool(m_folder->filePath(text("tool")));
    QVERIFY(tool.open(QIODevice::WriteOnly) && tool.write("#!/bin/sh\necho '<updates>'\n") > 0);
    tool.close();
    Updates updates(tool.fileName(), m_window.get(), 600000); // not a matter of time
    updates.checkUpdates();
    QTRY_COMPARE_WITH_TIMEOUT(m_answerer->boxes.size(), 1, 60000);
    QCOMPARE(m_answerer->boxes.first().words,
             text("Error calling maintenancetool %1. The process failed to start. Either the invoked program "
                  "is missing, or you may have insufficient permissions to invoke the program.")
                 .arg(QFileInfo(tool).canonicalFilePath()));
}

void TestUpdates::silentToolIsEndedAfterTheWait()
{
    play("silence");
    Updates updates(m_window.get(), 2000);
    updates.checkUpdates();
    waitForStart();
    QCOMPARE(toolsRunning(), 1);
    QTRY_COMPARE_WITH_TIMEOUT(m_answerer->boxes.size(), 1, 60000);
    QCOMPARE(m_answerer->boxes.first().words,
             text("Error calling maintenancetool ") + toolPath() + text(". Timeout."));
    QCOMPARE(toolsRunning(), 0);
    QTRY_VERIFY(updates.findChildren<QThread *>().isEmpty());
}

void TestUpdates::hugeOutputTakesNoMemory_data()
{
    QTest::addColumn<QString>("words");
    QTest::newRow("much, then an update") << question;
    QTest::newRow("much") << "No updates available.";
}

void TestUpdates::hugeOutputTakesNoMemory()
{
    QFETCH(QString, words);
    play(QTest::currentDataTag());
    const long before = peakMemoryKiB();
    Updates updates(m_window.get());
    updates.checkUpdates();
    QTRY_COMPARE_WITH_TIMEOUT(m_answerer->boxes.size(), 1, 60000);
    QCOMPARE(m_answerer->boxes.first().words, words);
    QVERIFY2(peakMemoryKiB() - before < allowedKiB, qPrintable(QString::number(peakMemoryKiB() - before)));
}

void TestUpdates::onlyYesStartsTheUpdater_data()
{
    QTest::addColumn<QString>("answer");
    QTest::addColumn<bool>("starts");
    QTest::newRow("yes") << "Yes" << true;
    QTest::newRow("no") << "No" << false;
    QTest::newRow("escape") << "" << false;
}

void TestUpdates::onlyYesStartsTheUpdater()
{
    QFETCH(QString, answer);
    QFETCH(bool, starts);
    play("update");
    m_answerer->answer = answer;
    Updates updates(m_window.get());
    constexpr int notQuit = 99;
    QTimer::singleShot(0, &updates, &Updates::checkUpdates);
    QTimer stop; // looks whether the check is over and the application still runs
    connect(&stop, &QTimer::timeout, this, [this, &updates] {
        if (!m_answerer->boxes.isEmpty() && updates.findChildren<QThread *>().isEmpty()) {
            QCoreApplication::exit(notQuit);
        }
    });
    stop.start(50);
    QCOMPARE(QCoreApplication::exec(), starts ? 0 : notQuit);
    if (starts) {
        QTRY_COMPARE_WITH_TIMEOUT(this->starts().size(), 2, 60000);
        QCOMPARE(this->starts().last().section(QLatin1Char(' '), 1), text("--updater"));
    } else {
        QCOMPARE(this->starts().size(), 1);
    }
    QCOMPARE(m_answerer->boxes.size(), 1);
}

void TestUpdates::updaterThatCannotStart()
{
    const QString tool = m_folder->filePath(text("tool"));
    QVERIFY(QFile::copy(toolPath(), tool));
    play("update");
    m_answerer->answer = text("Yes");
    m_answerer->prepare = [tool] { QFile::setPermissions(tool, QFile::ReadOwner); };
    Updates updates(tool, m_window.get());
    updates.checkUpdates();
    QTRY_COMPARE_WITH_TIMEOUT(m_answerer->boxes.size(), 2, 60000);
    const Box box = m_answerer->boxes.last();
    QCOMPARE(box.icon, QMessageBox::Critical);
    QCOMPARE(box.title, text("Updates"));
    for (const char *part : {"installed properly", "access permissions", Updates::repositoryLink,
                             "firewall or proxy", "try again later", Updates::supportAddress}) {
        QVERIFY2(box.words.contains(text(part)), part);
    }
    QCOMPARE(starts().size(), 1);
}

void TestUpdates::closingEndsAToolThatIsBeingStarted()
{
    play("wait for input");
    (new Updates(m_window.get()))->checkUpdates();
    QElapsedTimer clock;
    clock.start();
    m_window.reset();
    QVERIFY2(clock.elapsed() < 10000, "waits for the tool");
    QCOMPARE(toolsRunning(), 0);
    QCoreApplication::processEvents();
    QVERIFY(m_answerer->boxes.isEmpty());
}

QTEST_MAIN(TestUpdates)
#include "tst_updates.moc"
