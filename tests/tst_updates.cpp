#include "tooloutput.h"
#include "updates.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <memory>
#include <sys/resource.h>

namespace {

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

const char *const update = "echo '<updates>'";
const char *const question =
    "There are updates, would you like to upgrade (the application will be closed)? [Yes No]";

} // namespace

// The check against real tools, scripts of this test.
class TestUpdates : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup() { m_window.reset(); }
    void tellsWhatTheToolFound_data();
    void tellsWhatTheToolFound();
    void namesErrorsThatAreHardToMake();
    void toolIsLookedForAtEachCheck();
    void onlyYesStartsTheUpdater_data();
    void onlyYesStartsTheUpdater();
    void closingEndsAToolThatIsBeingStarted();
    void markIsFoundWhereverItStands();

private:
    QString tool() const { return m_folder->filePath(QStringLiteral("tool")); }
    void install(const QByteArray &script, bool mayRun = true) const;
    QList<QByteArray> starts() const;
    static int toolsRunning();
    void answerBox();

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<QWidget> m_window;
    QStringList m_boxes;       // what message boxes said: "Critical: words [OK]"
    QString m_answer;          // caption of the button to press; empty: Esc
    bool m_answerBars = false; // the tool may not run any more when the answer is given
};

void TestUpdates::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    m_window = std::make_unique<QWidget>();
    m_window->show();
    m_boxes.clear();
    m_answer.clear();
    m_answerBars = false;
    auto *timer = new QTimer(m_window.get());
    connect(timer, &QTimer::timeout, this, &TestUpdates::answerBox);
    timer->start(5);
}

void TestUpdates::answerBox()
{
    auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
    if (!box || !box->isVisible() || box->windowTitle() != QLatin1String("Updates")) {
        return;
    }
    QStringList captions;
    QAbstractButton *choice = nullptr;
    const QList<QAbstractButton *> buttons = box->buttons();
    for (QAbstractButton *button : buttons) {
        captions << button->text().remove(QLatin1Char('&'));
        choice = captions.last() == m_answer ? button : choice;
    }
    m_boxes << QVariant::fromValue(box->icon()).toString() + QStringLiteral(": ") + box->text() +
                   QStringLiteral(" [%1]").arg(captions.join(QLatin1Char(' ')));
    if (m_answerBars) {
        QFile::setPermissions(tool(), QFile::ReadOwner);
    }
    if (choice) {
        choice->click();
    } else {
        QTest::keyClick(box, Qt::Key_Escape);
    }
}

// A tool that notes its arguments, a line a start, and goes on with `script`.
void TestUpdates::install(const QByteArray &script, bool mayRun) const
{
    QFile file(tool());
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("#!/bin/sh\necho \"$*\" >>\"$0.log\"\n" + script);
    QVERIFY(file.setPermissions(mayRun ? QFile::ReadOwner | QFile::ExeOwner : QFile::ReadOwner));
}

QList<QByteArray> TestUpdates::starts() const
{
    QFile log(tool() + QStringLiteral(".log"));
    return log.open(QIODevice::ReadOnly) ? log.readAll().trimmed().split('\n') : QList<QByteArray>();
}

// The tools that still run or were never waited for, also those that had no time to note their start.
int TestUpdates::toolsRunning()
{
    const QByteArray ours = "\nPPid:\t" + QByteArray::number(QCoreApplication::applicationPid()) + '\n';
    int running = 0;
    const QStringList processes =
        QDir(QStringLiteral("/proc")).entryList({QStringLiteral("[0-9]*")}, QDir::Dirs);
    for (const QString &process : processes) {
        QFile status(QStringLiteral("/proc/%1/status").arg(process));
        running += status.open(QIODevice::ReadOnly) && status.readAll().contains(ours) ? 1 : 0;
    }
    return running;
}

void TestUpdates::tellsWhatTheToolFound_data()
{
    QTest::addColumn<QByteArray>("script");
    QTest::addColumn<int>("waitMs");
    QTest::addColumn<QString>("says");
    const auto row = [](const char *name, const QByteArray &script, const QString &says,
                        int waitMs = 600000) { QTest::newRow(name) << script << waitMs << says; };
    const QString none = QStringLiteral("Information: No updates available. [OK]");
    const QString some = QStringLiteral("Information: ") + QLatin1String(question);
    const QString error = QStringLiteral("Critical: Error calling maintenancetool TOOL. %1 [OK]");
    const QByteArray much = "head -c 104857600 /dev/zero | tr '\\0' x\n";
    row("no update", "echo 'There are currently no updates available.'; exit 1", none);
    row("nothing", "", none);
    row("other case", "echo '<Updates>'", none);
    row("update behind a zero byte", "printf 'nothing\\0<updates>'", none);
    row("much", much, none);
    row("update", "echo '<?xml version=\"1.0\"?>\n<updates>\n</updates>'", some);
    row("much, then an update", much + much + " >&2\n" + update, some);
    row("crash", "echo '<updates>'; kill -s SEGV $$",
        error.arg(QStringLiteral("The process crashed some time after starting successfully.")));
    row("silence", "echo '<updates>'; exec sleep 600", error.arg(QStringLiteral("Timeout.")), 1000);
    row("may not run", update,
        error.arg(
            QStringLiteral("The process failed to start. Either the invoked program is missing, or you may "
                           "have insufficient permissions to invoke the program.")));
}

void TestUpdates::tellsWhatTheToolFound()
{
    QFETCH(QByteArray, script);
    QFETCH(int, waitMs);
    QFETCH(QString, says);
    const bool runs = qstrcmp(QTest::currentDataTag(), "may not run") != 0;
    install(script, runs);
    const long before = peakMemoryKiB();
    Updates updates(tool(), m_window.get(), waitMs);
    updates.checkUpdates();
    QTRY_COMPARE_WITH_TIMEOUT(m_boxes.size(), 1, 60000);
    QCOMPARE(m_boxes.first(), says.replace(QLatin1String("TOOL"), QFileInfo(tool()).canonicalFilePath()));
    QCOMPARE(starts(), runs ? QList<QByteArray>{"--checkupdates"} : QList<QByteArray>());
    QCOMPARE(toolsRunning(), 0);
    QTRY_VERIFY(updates.findChildren<QThread *>().isEmpty());
    QVERIFY2(peakMemoryKiB() - before < allowedKiB, qPrintable(QString::number(peakMemoryKiB() - before)));
}

void TestUpdates::namesErrorsThatAreHardToMake()
{
    const std::initializer_list<std::pair<int, const char *>> errors{
        {3, ". An error occurred when attempting to read from the process. For example, the process may not "
            "be running."},
        {4, ". An error occurred when attempting to write to the process. For example, the process may not "
            "be running, "
            "or it may have closed its input channel."},
        {6, ". Unknown error, code error 6"},
        {-1, ". Unknown error, code error -1"}};
    Updates updates(tool(), m_window.get());
    for (const auto &[error, reason] : errors) {
        updates.onCheckResult(error, "<updates>");
        QVERIFY2(m_boxes.last().contains(QLatin1String(reason)), qPrintable(m_boxes.last()));
    }
    QCOMPARE(m_boxes.size(), 4);
}

void TestUpdates::toolIsLookedForAtEachCheck()
{
    Updates updates(tool(), m_window.get());
    updates.checkUpdates();
    QCOMPARE(m_boxes.size(), 1); // at once
    for (const char *part : {"Critical: Cannot start maintancetool ", "reinstall",
                             "ONLINE or OFFLINE installer", Updates::supportAddress}) {
        QVERIFY2(m_boxes.first().contains(QLatin1String(part)), part);
    }
    install("");
    updates.checkUpdates();
    QTRY_COMPARE_WITH_TIMEOUT(m_boxes.size(), 2, 60000);
    QVERIFY(m_boxes.last().contains(QLatin1String("No updates available.")));
}

void TestUpdates::onlyYesStartsTheUpdater_data()
{
    QTest::addColumn<QString>("answer");
    QTest::addColumn<bool>("mayRun"); // still when the answer is given
    QTest::newRow("Yes") << "Yes" << true;
    QTest::newRow("Yes, in vain") << "Yes" << false;
    QTest::newRow("No") << "No" << true;
    QTest::newRow("Esc") << "" << true;
}

void TestUpdates::onlyYesStartsTheUpdater()
{
    QFETCH(QString, answer);
    QFETCH(bool, mayRun);
    install(update);
    m_answer = answer;
    m_answerBars = !mayRun;
    Updates updates(tool(), m_window.get());
    constexpr int notQuit = 99;
    QTimer::singleShot(0, &updates, &Updates::checkUpdates);
    QTimer stop; // looks whether the check is over and the application still runs
    connect(&stop, &QTimer::timeout, this, [this, &updates] {
        if (!m_boxes.isEmpty() && !QApplication::activeModalWidget() &&
            updates.findChildren<QThread *>().isEmpty()) {
            QCoreApplication::exit(notQuit);
        }
    });
    stop.start(50);
    const bool agreed = answer == QLatin1String("Yes");
    QCOMPARE(QCoreApplication::exec(), agreed && mayRun ? 0 : notQuit);
    const QList<QByteArray> expected{"--checkupdates", "--updater"};
    QTRY_COMPARE_WITH_TIMEOUT(starts(), expected.mid(0, agreed && mayRun ? 2 : 1), 60000);
    QCOMPARE(m_boxes.size(), mayRun ? 1 : 2);
    for (const char *part :
         {"Critical: ", "installed properly", "access permissions", Updates::repositoryLink,
          "firewall or proxy", "try again later", Updates::supportAddress}) {
        QVERIFY2(mayRun || m_boxes.last().contains(QLatin1String(part)), part);
    }
}

void TestUpdates::closingEndsAToolThatIsBeingStarted()
{
    install("exec sleep 600");
    (new Updates(tool(), m_window.get()))->checkUpdates();
    m_window.reset(); // the test's time limit ends it if this waits for the tool
    QCOMPARE(toolsRunning(), 0);
    QCoreApplication::processEvents();
    QVERIFY(m_boxes.isEmpty());
}

// However the tool's output is cut into pieces, what is kept of it says the same as the whole.
void TestUpdates::markIsFoundWhereverItStands()
{
    constexpr int kept = ToolOutput::keptBytes;
    constexpr int noZero = INT_MAX;
    QVector<std::array<int, 3>> cases{
        // bytes in front of the mark, bytes that arrive at a time, where the zero byte stands
        {0, 4096, noZero},
        {3 * kept, 8 * kept, noZero},
        {kept - 4, 1, noZero},
        {2 * kept, 5, noZero},
        {100, 4096, 50},
        {2 * kept, 4096, kept + 7},
        {2 * kept, 4096, 2 * kept + 9},
        {kept + 2, 4096, kept + 10},
    };
    for (int offset = -9; offset <= 1; ++offset) {
        cases.append({kept + offset, 4096, noZero});
    }
    for (const auto &[before, piece, zeroAt] : qAsConst(cases)) {
        QByteArray whole = QByteArray(before, 'x') + "<updates>" + QByteArray(100, 'y');
        if (zeroAt != noZero) {
            whole[zeroAt] = '\0';
        }
        ToolOutput output;
        for (int at = 0; at < whole.size(); at += piece) {
            output.append(whole.mid(at, piece));
        }
        QVERIFY(output.data().size() <= kept + 9 && !output.data().contains('\0'));
        QVERIFY2(output.data().contains("<updates>") == (zeroAt >= before + 9),
                 qPrintable(QString::number(before)));
    }
}

QTEST_MAIN(TestUpdates)
#include "tst_updates.moc"
