#include "appsettings.h"
#include "settings.h"
#include "settingsbinding.h"

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <QTextStream>

#include <memory>

namespace {

// What an account holds that never touched a setting.
const char *const freshFile =
    "[scan]\nendIp=192.168.0.254\nscanTime=200\nsendUnicast=false\nstartIp=192.168.0.1\n\n"
    "[tcp]\nnThreads=10\nwaitConnected=1000\nwaitRead=1000\nwaitWritten=1000\n\n"
    "[update]\nfwDefaultDir=/usr\nmanualIp=false\ntimeout=120000\n";

// That file with other values: "scanTime=1|nThreads=2".
QByteArray fileWith(const QByteArray &changes)
{
    QByteArray file = freshFile;
    for (const QByteArray &change : changes.split('|')) {
        const int at = file.indexOf('\n' + change.left(change.indexOf('=') + 1)) + 1;
        file.replace(at, changes.isEmpty() ? 0 : file.indexOf('\n', at) - at, change);
    }
    return file;
}

QString summary(const Options &o)
{
    QString text;
    QTextStream(&text) << o.startIp.toString() << ' ' << o.endIp.toString() << ' ' << o.scanTime << ' '
                       << o.sendUnicast << ' ' << o.tcpThreads << ' ' << o.tcpWaitWritten << ' '
                       << o.tcpWaitRead << ' ' << o.tcpWaitConnected << ' ' << o.updateTimeout;
    return text;
}

// The dialog on the screen, bound to the file as the program binds it.
struct Bound
{
    Bound()
    {
        bindSettings(dialog, settings, [] {});
        QObject::connect(&dialog, &Settings::signalClose, &dialog, [this] { ++closed; });
        QObject::connect(&dialog, &Settings::signalClose, &dialog, &QWidget::close);
        dialog.show();
        QVERIFY(QTest::qWaitForWindowActive(&dialog));
    }

    QWidget *child(const char *name) const { return dialog.findChild<QWidget *>(QLatin1String(name)); }
    void type(const char *field, const char *value)
    {
        child(field)->setFocus();
        QTest::keyClick(child(field), Qt::Key_A, Qt::ControlModifier);
        QTest::keyClick(child(field), Qt::Key_Delete);
        QTest::keyClicks(child(field), QLatin1String(value));
    }
    void click(const char *name) { QTest::mouseClick(child(name), Qt::LeftButton); }
    bool mayApply() const { return child("applyBtn")->isEnabled(); }
    QString text(const char *name) const { return child(name)->property("text").toString(); }
    QString message() const { return text("labelRange"); }
    bool isMarked(const char *field) const { return child(field)->property("invalid").toBool(); }
    AppSettings settings;
    Settings dialog;
    int closed = 0;
};

} // namespace

// The settings file as it lies on the disk, before and after, and the real dialog that edits it.
class TestSettings : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void freshAccountGetsTheDefaults();
    void readsWhatWasWrittenByHand();
    void firmwareFolderMustBeThere();
    void storesWhatIsInRange();
    void survivesDamagedFiles_data();
    void survivesDamagedFiles();
    void typedValuesAreStoredAndShown();
    void applyingUnchangedWritesNothing();
    void closesOnceAndStoresNothing();
    void saysWhatTheRangeMeans();
    void wrongAddressesAreNeverStored();
    void storedIpv6AddressBlocksOnlyTheRange();

private:
    QString folder() const { return m_home->filePath(QStringLiteral("config/Quorvex/DeviceManager")); }
    QString path() const { return folder() + QStringLiteral("/deviceManagerConfig.ini"); }
    void writeFile(const QByteArray &content) const
    {
        QFile file(path());
        QVERIFY(QDir().mkpath(folder()) && file.open(QIODevice::WriteOnly) && file.write(content) >= 0);
    }

    QByteArray fileContent() const
    {
        QFile file(path());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    std::unique_ptr<QTemporaryDir> m_home;
};

void TestSettings::init()
{
    QLocale::setDefault(QLocale::c());
    QCoreApplication::setOrganizationName(QStringLiteral("Quorvex"));
    QCoreApplication::setApplicationName(QStringLiteral("DeviceManager"));
    m_home = std::make_unique<QTemporaryDir>();
    qputenv("HOME", m_home->path().toLocal8Bit());
    qputenv("XDG_CONFIG_HOME", m_home->filePath(QStringLiteral("config")).toLocal8Bit());
}

void TestSettings::freshAccountGetsTheDefaults()
{
    QCOMPARE(summary(storedOptions()), summary(Options()));
    QVERIFY2(QDir(m_home->path()).isEmpty(), "the reader made something");
    QCOMPARE(summary(AppSettings().options()), summary(Options()));
    QCOMPARE(fileContent(), QByteArray(freshFile).replace("/usr", QDir::homePath().toLatin1()));
}

void TestSettings::readsWhatWasWrittenByHand()
{
    const std::initializer_list<std::array<const char *, 2>> files{
        {"startIp=10.0.0.1|endIp=10.0.0.2|scanTime=1|sendUnicast=1|nThreads=2|waitWritten=3|waitRead=4|"
         "waitConnected=5|timeout=6",
         "10.0.0.1 10.0.0.2 1 1 2 3 4 5 6"},
        // Beyond what the setters take, and left so; letters that begin no value.
        {"startIp=fe80::1|endIp=127.0.0.1|scanTime=-5|sendUnicast=/data/@Variant(1)|nThreads=99",
         "fe80::1 127.0.0.1 -5 1 99 1000 1000 1000 120000"},
        {"startIp=abc|endIp=@@DateTime(1)|scanTime=2147483648|sendUnicast=true, true|nThreads=ten|"
         "waitWritten=@Invalid()|waitRead=@Size(1 2)|waitConnected=1.5|timeout=1, 2",
         "192.168.0.1 192.168.0.254 200 0 10 1000 1000 1000 120000"},
    };
    for (const auto &[changes, read] : files) {
        // QSettings drops comments when it writes, and there is nothing to write.
        const QByteArray file = "; by hand\n" + fileWith(changes);
        writeFile(file);
        QCOMPARE(summary(storedOptions()), QLatin1String(read));
        QCOMPARE(summary(AppSettings().options()), QLatin1String(read));
        QCOMPARE(fileContent(), file);
        QCOMPARE(QDir(folder()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot).size(), 1);
    }
}

void TestSettings::firmwareFolderMustBeThere()
{
    for (const QByteArray folder : {"/usr", "", "/usr/no-such-folder", "/etc/passwd"}) {
        writeFile("[update]\nfwDefaultDir=" + folder + '\n');
        QCOMPARE(AppSettings().fwDefaultDir(), folder == "/usr" ? QStringLiteral("/usr") : QDir::homePath());
        QCOMPARE(fileContent(), fileWith("fwDefaultDir=" + folder)); // what is missing is filled in
    }
}

void TestSettings::storesWhatIsInRange()
{
    using S = AppSettings;
    const auto fileAfter = [this](const auto &set) {
        writeFile(freshFile);
        set(S()); // which reaches the disk when it is destroyed
        return fileContent();
    };
    const std::initializer_list<std::tuple<QByteArray, void (S::*)(int), int>> numbers{
        {"scanTime=", &S::setScanTime, 99000},     {"timeout=", &S::setUpdateTimeout, 999000},
        {"nThreads=", &S::setTcpThreads, 50},      {"waitWritten=", &S::setTcpWaitWritten, 999000},
        {"waitRead=", &S::setTcpWaitRead, 999000}, {"waitConnected=", &S::setTcpWaitConnected, 999000},
    };
    for (const auto &[key, set, upper] : numbers) {
        for (const int value : {1, upper, upper + 1, 0, -5, INT_MIN, INT_MAX}) {
            const bool taken = value > 0 && value <= upper;
            QCOMPARE(fileAfter([set = set, value](S &&s) { (s.*set)(value); }),
                     fileWith(taken ? key + QByteArray::number(value) : QByteArray()));
        }
    }
    for (const QByteArray text : {"10.1.2.3", "255.255.255.255", "127.0.0.1", "::1", "nonsense"}) {
        const QHostAddress address{QString::fromLatin1(text)};
        const bool taken = text == "10.1.2.3";
        QCOMPARE(fileAfter([&](S &&s) { s.setStartIp(address); }), fileWith(taken ? "startIp=" + text : ""));
        QCOMPARE(fileAfter([&](S &&s) { s.setEndIp(address); }), fileWith(taken ? "endIp=" + text : ""));
    }
    for (const char *chosen : {"/etc/firmware.bin", "/none/firmware.bin", ""}) {
        QCOMPARE(fileAfter([&](S &&s) { s.setFwDefaultDir(QLatin1String(chosen)); }),
                 fileWith(qstrcmp(chosen, "/etc/firmware.bin") == 0 ? "fwDefaultDir=/etc" : ""));
    }
}

void TestSettings::survivesDamagedFiles_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("command"); // that damages the file further
    QTest::addColumn<bool>("keeps");      // a change is there again at the next start
    const auto row = [](const char *damage, const QByteArray &content, const char *command = "",
                        bool keeps = true) {
        QTest::newRow(damage) << content << QString::fromLatin1(command) << keeps;
    };
    row("nul bytes", QByteArray("\0\0[scan]\0\nscanTime=\0\0\n", 23));
    row("no ini at all", QByteArray(300000, '['));
    row("damaged date", "[scan]\nstartIp=@DateTime(\\0\\0\\0\\t\\0\\x7f\\xff\\xff\\xff)\n");
    for (const QByteArray disguise :
         {"@", "\\x40", "\\x10040", "\\100", "\"@\"", "7, @", "\"7,\" , \"@\"", "\xef\xbb\xbf@", "\\q@\\\n",
          "@\\=", "@\\x", "\\\"\n; \"\nk=@", "%, @"}) {
        // A list that claims 2147483647 entries: reading it would end the program.
        QByteArray list = "startIp=" + disguise + "Variant(\\0\\0\\0\\t\\x7f\\xff\\xff\\xff)\n";
        row("damaged list behind " + disguise.toPercentEncoding(),
            (disguise.startsWith('\xef') ? "\xef\xbb\xbf" : "") + QByteArray("[scan]\n") +
                list.replace('%', '\0'));
    }
    row("100 MiB", "", "truncate -s 100M \"$0\"");
    row("pipe", "", "rm \"$0\"; mkfifo \"$0\"");
    row("folder in the file's place", "", "rm \"$0\"; mkdir \"$0\"", false);
    row("file in the folder's place", "", "rm -r \"${0%/*}\"; touch \"${0%/*}\"", false);
    row("folder that nobody can make", "", "rm -r \"${0%/*}\"; ln -s /proc/none \"${0%/*}\"", false);
}

void TestSettings::survivesDamagedFiles()
{
    QFETCH(QByteArray, content);
    QFETCH(QString, command);
    QFETCH(bool, keeps);
    writeFile(content);
    QCOMPARE(QProcess::execute(QStringLiteral("sh"), {QStringLiteral("-c"), command, path()}), 0);
    QCOMPARE(summary(storedOptions()), summary(Options()));
    QVERIFY2(!QFile::exists(path() + QStringLiteral(".unreadable")), "the reader set the file aside");
    {
        AppSettings settings;
        QCOMPARE(summary(settings.options()), summary(Options()));
        settings.setScanTime(300);
        QCOMPARE(settings.scanTime(), 300);
    }
    QCOMPARE(AppSettings().scanTime(), keeps ? 300 : 200);
}

void TestSettings::typedValuesAreStoredAndShown()
{
    // 2.01 s are 2009.99... ms as a product of doubles; a range may be the wrong way round.
    const std::initializer_list<std::pair<const char *, const char *>> values{
        {"doubleSpinBoxBroadcastTime", "2.01"}, {"doubleSpinBoxTimeout", "60"},
        {"doubleSpinBoxThreadsNumber", "7"},    {"doubleSpinBoxWaitForBytesWritten", "2"},
        {"doubleSpinBoxWaitForReadyRead", "3"}, {"doubleSpinBoxWaitForConnected", "10000"},
        {"lineEditStop", "10.0.0.9"},           {"lineEditStart", "10.0.0.250"}};
    writeFile(freshFile);
    {
        Bound bound;
        QVERIFY(!bound.child("lineEditStart")->isEnabled() && !bound.child("lineEditStop")->isEnabled());
        bound.click("labelEnableUnicast"); // captions belong to their boxes
        bound.click("labelEnable");
        for (const auto &[field, typed] : values) {
            bound.type(field, typed);
        }
        QTest::keyClick(bound.dialog.focusWidget(), Qt::Key_Return);
        QCOMPARE(bound.closed, 1);
    }
    QCOMPARE(fileContent(), fileWith("scanTime=2010|timeout=60000|nThreads=7|waitWritten=2|waitRead=3|"
                                     "waitConnected=10000|endIp=10.0.0.9|startIp=10.0.0.250|"
                                     "sendUnicast=true|manualIp=true"));
    Bound bound;
    for (const auto &[field, typed] : values) {
        QCOMPARE(bound.text(field), QLatin1String(typed));
    }
    bound.click("checkBoxEnableUnicast");
    bound.click("checkBoxEnable");
    QVERIFY(!bound.child("lineEditStart")->isEnabled() && !bound.child("lineEditStop")->isEnabled());
    QTest::keyClick(bound.child("applyBtn"), Qt::Key_Space);
    QCOMPARE(bound.closed, 0); // only Return and Enter press a button
    QTest::keyClick(bound.child("applyBtn"), Qt::Key_Enter);
    QCOMPARE(bound.closed, 1);
    QVERIFY(!bound.settings.sendUnicast() && !bound.settings.manualIp());
}

void TestSettings::applyingUnchangedWritesNothing()
{
    // Values beyond the boxes, and between their steps.
    for (const char *stored : {"scanTime=5000000|timeout=5000000|nThreads=80|waitRead=5000000",
                               "scanTime=205|timeout=1500|sendUnicast=true|manualIp=true"}) {
        const QByteArray file = "; by hand\n" + fileWith(stored);
        writeFile(file);
        Bound bound;
        for (int i = 0; i < 20; ++i) {
            QTest::keyClick(bound.dialog.focusWidget(), Qt::Key_Tab); // looking into each field is no change
        }
        bound.click("applyBtn");
        QCOMPARE(bound.closed, 1);
        bound.settings.sync();
        QCOMPARE(fileContent(), file);
    }
}

void TestSettings::closesOnceAndStoresNothing()
{
    writeFile(freshFile);
    Bound bound;
    for (const int way : {1, 2, 3}) {
        bound.dialog.show();
        bound.type("doubleSpinBoxThreadsNumber", "3");
        if (way == 1) {
            bound.click("cancelBtn");
        } else if (way == 2) {
            QTest::keyClick(bound.dialog.focusWidget(), Qt::Key_Escape);
        } else {
            bound.dialog.close();
        }
        QVERIFY(!bound.dialog.isVisible());
        QCOMPARE(bound.closed, way); // once each
    }
    bound.settings.sync();
    QCOMPARE(fileContent(), QByteArray(freshFile));
}

void TestSettings::saysWhatTheRangeMeans()
{
    // Start, end, what is said, and the fields that are wrong; Apply takes the range when none is.
    const std::initializer_list<std::array<const char *, 4>> ranges{
        {"192.168.0", "10.0.0.1", "The start address is not an IPv4 address; write it like", "start"},
        {"10.0.0.1", "fe80::1", "The end address is an IPv6 address; instruments are asked by IPv4.", "end"},
        {"10.0.0.1", "", "The end address is missing.", "end"},
        {"abc", "", "The start address is not an IPv4 address", "start end"},
        {"10.0.0.9", "10.0.0.1", "The range is empty: the start address is above the end address.", ""},
        {"10.0.0.255", "10.0.0.255", "The range is empty: a network's own and its broadcast address are", ""},
        {" 10.0.0.5 ", "10.0.0.5", "1 address; a scan takes about 0.2 s.", ""},
        {"10.0.0.0", "10.0.0.255", "254 addresses; a scan takes about 0.2 s.", ""},
        {"10.0.0.250", "10.0.1.2", "8 addresses; a scan takes about 0.2 s.", ""},
        // Measured when nobody was there: 598 addresses 0.2 s, 710 3.2 s.
        {"10.5.0.2", "10.5.2.90", "600 addresses; a scan takes about 0.2 s.", ""},
        {"10.5.0.2", "10.5.2.91", "601 addresses; a scan takes about 0.2 s, up to 3.3 s.", ""},
        {"10.0.0.0", "10.0.255.255", "65,534 addresses; a scan takes about 0.8 s, up to 6 min.", ""},
        {"0.0.0.1", "255.255.255.255", "4,294,967,294 addresses; a scan takes about 11 h, up to 35 h.", ""},
        {"10.0.0.0", "10.255.255.255", "16,777,214 addresses; a scan takes about 3 min, up to 24 h.", ""},
    };
    writeFile(fileWith("sendUnicast=true"));
    Bound bound;
    const auto says = [&bound](const char *text) {
        return bound.message().remove(QStringLiteral("on the local network ")).contains(QLatin1String(text));
    };
    for (const auto &[start, end, text, wrong] : ranges) {
        bound.type("lineEditStart", start);
        bound.type("lineEditStop", end);
        QVERIFY2(says(text), qPrintable(bound.message()));
        bound.type("lineEditStart", "");
        bound.type("lineEditStart", start); // whichever is typed last
        QVERIFY2(says(text), qPrintable(bound.message()));
        QCOMPARE(bound.mayApply(), *wrong == '\0');
        QCOMPARE(bound.child("applyBtn")->toolTip(), bound.mayApply() ? QString() : bound.message());
        const bool isProblem = bound.message().startsWith(QLatin1String("The "));
        QCOMPARE(bound.child("labelRange")->property("role").toString(),
                 QLatin1String(isProblem ? "error" : "hint"));
        QCOMPARE(bound.isMarked("lineEditStart"), QByteArray(wrong).contains("start"));
        QCOMPARE(bound.isMarked("lineEditStop"), QByteArray(wrong).contains("end"));
        QVERIFY(bound.child("labelRange")->isVisible());
    }
    bound.type("lineEditStop", "10.0.0.1");
    bound.type("doubleSpinBoxBroadcastTime", "10.4"); // follows at once
    QVERIFY2(says("1 address; a scan takes about 10 s."), qPrintable(bound.message()));
    bound.dialog.setBroadcastTime(7500);
    QVERIFY2(says("1 address; a scan takes about 7.5 s."), qPrintable(bound.message()));
}

void TestSettings::wrongAddressesAreNeverStored()
{
    writeFile(fileWith("sendUnicast=true"));
    Bound bound;
    bound.type("lineEditStart", "192.168.0");
    QTest::keyClick(bound.child("lineEditStart"), Qt::Key_Return);
    QCOMPARE(bound.closed, 0);
    bound.click("checkBoxEnableUnicast");
    QVERIFY(bound.mayApply() && bound.message().isEmpty());
    bound.click("checkBoxEnableUnicast"); // leaves Apply as it is, but what is wrong is said
    QVERIFY(bound.mayApply() && bound.message().contains(QLatin1String("start address")));
    bound.click("applyBtn");
    QCOMPARE(bound.closed, 0);
    QVERIFY(!bound.mayApply() && bound.child("lineEditStart")->hasFocus());
    bound.click("checkBoxEnableUnicast");
    bound.click("applyBtn");
    QCOMPARE(bound.closed, 1);
    bound.settings.sync();
    QCOMPARE(fileContent(), QByteArray(freshFile));
}

void TestSettings::storedIpv6AddressBlocksOnlyTheRange()
{
    for (const bool unicast : {true, false}) {
        writeFile(fileWith(unicast ? "endIp=fe80::1|sendUnicast=true" : "endIp=fe80::1"));
        Bound bound;
        QCOMPARE(bound.text("lineEditStop"), QStringLiteral("fe80::1"));
        for (const bool on : {unicast, !unicast}) {
            QCOMPARE(bound.mayApply(), !on);
            QCOMPARE(bound.message().contains(QLatin1String("IPv6")), on);
            bound.dialog.setFlagUnicast(!on);
        }
    }
}

QTEST_MAIN(TestSettings)
#include "tst_settings.moc"
