#include "appsettings.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <functional>
#include <memory>
#include <sys/stat.h>

namespace {

// What an account holds that never touched a setting; %1 is the home folder.
const char *const freshFile = "[scan]\n"
                              "endIp=192.168.0.254\n"
                              "scanTime=200\n"
                              "sendUnicast=false\n"
                              "startIp=192.168.0.1\n"
                              "\n"
                              "[tcp]\n"
                              "nThreads=10\n"
                              "waitConnected=1000\n"
                              "waitRead=1000\n"
                              "waitWritten=1000\n"
                              "\n"
                              "[update]\n"
                              "fwDefaultDir=%1\n"
                              "manualIp=false\n"
                              "timeout=120000\n";

// A list that claims 2147483647 entries: reading it would end the program.
const char *const damagedValue = "[scan]\nstartIp=@Variant(\\0\\0\\0\\t\\x7f\\xff\\xff\\xff)\n";

QString text(const char *latin1)
{
    return QString::fromLatin1(latin1);
}

struct Option
{
    std::function<QVariant(const AppSettings &)> get;
    std::function<void(AppSettings &, const QVariant &)> set;
};

template <typename Value, typename Argument>
Option plainOption(Value (AppSettings::*get)() const, void (AppSettings::*set)(Argument))
{
    return {[get](const AppSettings &s) { return QVariant((s.*get)()); },
            [set](AppSettings &s, const QVariant &v) { (s.*set)(v.value<Value>()); }};
}

Option addressOption(QHostAddress (AppSettings::*get)() const, void (AppSettings::*set)(const QHostAddress &))
{
    return {[get](const AppSettings &s) { return QVariant((s.*get)().toString()); },
            [set](AppSettings &s, const QVariant &v) { (s.*set)(QHostAddress(v.toString())); }};
}

Option option(const QString &key)
{
    using S = AppSettings;
    const QMap<QByteArray, Option> options{
        {"scan/scanTime", plainOption(&S::scanTime, &S::setScanTime)},
        {"update/timeout", plainOption(&S::updateTimeout, &S::setUpdateTimeout)},
        {"tcp/nThreads", plainOption(&S::tcpThreads, &S::setTcpThreads)},
        {"tcp/waitWritten", plainOption(&S::tcpWaitWritten, &S::setTcpWaitWritten)},
        {"tcp/waitRead", plainOption(&S::tcpWaitRead, &S::setTcpWaitRead)},
        {"tcp/waitConnected", plainOption(&S::tcpWaitConnected, &S::setTcpWaitConnected)},
        {"update/manualIp", plainOption(&S::manualIp, &S::setManualIp)},
        {"scan/sendUnicast", plainOption(&S::sendUnicast, &S::setSendUnicast)},
        {"scan/startIp", addressOption(&S::startIp, &S::setStartIp)},
        {"scan/endIp", addressOption(&S::endIp, &S::setEndIp)},
        {"update/fwDefaultDir", plainOption(&S::fwDefaultDir, &S::setFwDefaultDir)},
    };
    return options.value(key.toLatin1());
}

} // namespace

// The settings file as it lies on the disk, before and after.
class TestAppSettings : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void readsWhatWasWrittenByHand_data();
    void readsWhatWasWrittenByHand();
    void storesWhatTheRangeAllows_data();
    void storesWhatTheRangeAllows();
    void equalValuesWriteNothing();
    void storedOptionsTouchNothing_data();
    void storedOptionsTouchNothing();
    void survivesDamagedFiles_data();
    void survivesDamagedFiles();

private:
    QString folder() const { return m_home->filePath(QStringLiteral("config/Quorvex/DeviceManager")); }
    QString path() const { return folder() + QStringLiteral("/deviceManagerConfig.ini"); }
    void writeFile(const QByteArray &content) const;
    QByteArray fileContent() const;

    std::unique_ptr<QTemporaryDir> m_home;
};

void TestAppSettings::initTestCase()
{
    QCoreApplication::setOrganizationName(QStringLiteral("Quorvex"));
    QCoreApplication::setApplicationName(QStringLiteral("DeviceManager"));
}

void TestAppSettings::init()
{
    m_home = std::make_unique<QTemporaryDir>();
    qputenv("HOME", m_home->path().toLocal8Bit());
    qputenv("XDG_CONFIG_HOME", m_home->filePath(QStringLiteral("config")).toLocal8Bit());
}

void TestAppSettings::writeFile(const QByteArray &content) const
{
    QVERIFY(QDir().mkpath(folder()));
    QFile file(path());
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(content), content.size());
}

QByteArray TestAppSettings::fileContent() const
{
    QFile file(path());
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void TestAppSettings::readsWhatWasWrittenByHand_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QByteArray>("stored");
    QTest::addColumn<QVariant>("expected");
    const auto row = [](const char *key, const QByteArray &stored, const QVariant &expected) {
        QTest::addRow("%s=%s", key, stored.constData()) << QString::fromLatin1(key) << stored << expected;
    };
    row("scan/scanTime", "1500", 1500);
    row("scan/scanTime", "-5", -5); // out of the setter's range, and left so
    row("scan/scanTime", "99001", 99001);
    row("scan/scanTime", "2147483648", 200); // no int any more
    row("scan/scanTime", "1.5", 200);
    row("scan/scanTime", "", 200);
    row("update/timeout", "soon", 120000);
    row("update/timeout", "1, 2", 120000);
    row("tcp/nThreads", "ten", 10);
    row("tcp/nThreads", "0", 0);
    row("tcp/waitWritten", "@Invalid()", 1000);
    row("tcp/waitRead", "@Size(1 2)", 1000);
    row("tcp/waitConnected", "7", 7);
    row("update/manualIp", "true", true);
    row("update/manualIp", "1", true);
    row("update/manualIp", "0", false);
    row("update/manualIp", "on", true);
    row("update/manualIp", "true, true", false);
    // Letters that begin no value, so that nothing is serialised.
    row("update/manualIp", "/data/@Variant(1)", true);
    row("update/manualIp", "\"/data,@Variant(1),@DateTime(2)\"", true);
    row("update/manualIp", "@@Variant(1)", true);
    row("scan/sendUnicast", "@Size(1 2)", false);
    row("scan/startIp", "10.0.0.7", text("10.0.0.7"));
    row("scan/startIp", "abc", text("192.168.0.1"));
    row("scan/startIp", "fe80::1", text("fe80::1"));
    row("scan/endIp", "", text("192.168.0.254"));
    row("scan/endIp", "10.0.0.256", text("192.168.0.254"));
    row("update/fwDefaultDir", "/usr", text("/usr"));
    row("update/fwDefaultDir", "", text("HOME"));
    row("update/fwDefaultDir", "/usr/no-such-folder", text("HOME"));
    row("update/fwDefaultDir", "/etc/passwd", text("HOME"));
}

void TestAppSettings::readsWhatWasWrittenByHand()
{
    QFETCH(QString, key);
    QFETCH(QByteArray, stored);
    QFETCH(QVariant, expected);
    if (expected.userType() == QMetaType::QString && expected == QStringLiteral("HOME")) {
        expected = QDir::homePath();
    }
    const QByteArray line = key.section(QLatin1Char('/'), 1).toLatin1() + '=' + stored + '\n';
    writeFile('[' + key.section(QLatin1Char('/'), 0, 0).toLatin1() + "]\n" + line);
    {
        AppSettings settings;
        QCOMPARE(option(key).get(settings), expected);
    }
    // Seeding fills in the ten others and leaves this one, whatever it says.
    QVERIFY2(fileContent().contains('\n' + line), fileContent().constData());
    QCOMPARE(fileContent().count('='), 11);
}

void TestAppSettings::storesWhatTheRangeAllows_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QByteArray>("expected"); // in the file afterwards; empty: still the default
    const auto row = [](const char *key, const QVariant &value, const QByteArray &expected) {
        QTest::addRow("%s %s", key, qPrintable(value.toString()))
            << QString::fromLatin1(key) << value << expected;
    };
    const QVector<QPair<const char *, int>> bounds{
        {"scan/scanTime", 99000},    {"update/timeout", 999000}, {"tcp/nThreads", 50},
        {"tcp/waitWritten", 999000}, {"tcp/waitRead", 999000},   {"tcp/waitConnected", 999000},
    };
    for (const auto &[key, upper] : bounds) {
        row(key, 1, "1");
        row(key, upper, QByteArray::number(upper));
        row(key, upper + 1, "");
        row(key, 0, "");
        row(key, -5, "");
        row(key, std::numeric_limits<int>::min(), "");
        row(key, std::numeric_limits<int>::max(), "");
    }
    row("update/manualIp", true, "true");
    row("scan/sendUnicast", true, "true");
    for (const char *key : {"scan/startIp", "scan/endIp"}) {
        row(key, text("10.1.2.3"), "10.1.2.3");
        row(key, text("255.255.255.255"), "");
        row(key, text("127.0.0.1"), "");
        row(key, text("::1"), "");
        row(key, text("nonsense"), "");
    }
    row("update/fwDefaultDir", text("/usr/firmware.bin"), "/usr");
    row("update/fwDefaultDir", text("/usr/no-such-folder/firmware.bin"), "");
    row("update/fwDefaultDir", text(""), "");
}

void TestAppSettings::storesWhatTheRangeAllows()
{
    QFETCH(QString, key);
    QFETCH(QVariant, value);
    QFETCH(QByteArray, expected);
    {
        AppSettings settings;
        const QVariant before = option(key).get(settings);
        option(key).set(settings, value);
        QCOMPARE(option(key).get(settings).toString().toLatin1(),
                 expected.isEmpty() ? before.toString().toLatin1() : expected);
    }
    QByteArray file = QString::fromLatin1(freshFile).arg(QDir::homePath()).toLatin1();
    if (!expected.isEmpty()) {
        const QByteArray name = '\n' + key.section(QLatin1Char('/'), 1).toLatin1() + '=';
        const int start = file.indexOf(name) + name.size();
        file.replace(start, file.indexOf('\n', start) - start, expected);
    }
    QCOMPARE(fileContent(), file);
}

void TestAppSettings::equalValuesWriteNothing()
{
    // QSettings drops comments when it writes, so this line tells whether it did.
    const QByteArray file =
        "; by hand\n" + QString::fromLatin1(freshFile).arg(QStringLiteral("/usr")).toLatin1();
    writeFile(file);
    {
        AppSettings settings;
        for (const char *key :
             {"scan/scanTime", "update/timeout", "tcp/nThreads", "tcp/waitWritten", "tcp/waitRead",
              "tcp/waitConnected", "update/manualIp", "scan/sendUnicast", "scan/startIp", "scan/endIp"}) {
            const Option same = option(text(key));
            same.set(settings, same.get(settings));
        }
        settings.setFwDefaultDir(QStringLiteral("/usr/other.bin"));
    }
    QCOMPARE(fileContent(), file);
}

void TestAppSettings::storedOptionsTouchNothing_data()
{
    QTest::addColumn<QByteArray>("content"); // of the settings file; null: there is not even its folder
    QTest::addColumn<QString>("expected");
    const QString defaults = text("200 0 192.168.0.1 192.168.0.254 10 1000 1000 1000 120000");
    QTest::newRow("absent") << QByteArray() << defaults;
    QTest::newRow("as written") << QByteArray(freshFile) << defaults;
    QTest::newRow("changed") << QByteArray("[scan]\nscanTime=1\nsendUnicast=true\nstartIp=10.0.0.1\n"
                                           "endIp=10.0.0.2\n[tcp]\nnThreads=2\nwaitWritten=3\nwaitRead=4\n"
                                           "waitConnected=5\n[update]\ntimeout=6\n")
                             << text("1 1 10.0.0.1 10.0.0.2 2 3 4 5 6");
    QTest::newRow("nonsense") << QByteArray("[scan]\nscanTime=2147483648\nsendUnicast=a, b\nstartIp=abc\n"
                                            "[tcp]\nnThreads=ten\nwaitRead=@Size(1 2)\n")
                              << defaults;
    QTest::newRow("damaged value") << QByteArray(damagedValue) << defaults;
}

void TestAppSettings::storedOptionsTouchNothing()
{
    QFETCH(QByteArray, content);
    if (!content.isNull()) {
        writeFile(content);
    }
    const QDateTime before = QFileInfo(path()).lastModified();
    const Options options = storedOptions();
    const QStringList values{QString::number(options.scanTime),
                             QString::number(options.sendUnicast),
                             options.startIp.toString(),
                             options.endIp.toString(),
                             QString::number(options.tcpThreads),
                             QString::number(options.tcpWaitWritten),
                             QString::number(options.tcpWaitRead),
                             QString::number(options.tcpWaitConnected),
                             QString::number(options.updateTimeout)};
    QTEST(values.join(QLatin1Char(' ')), "expected");
    QCOMPARE(QDir(m_home->path()).isEmpty(), content.isNull());
    const QDir::Filters everything = QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot;
    QCOMPARE(QDir(folder()).entryList(everything).size(), content.isNull() ? 0 : 1);
    QCOMPARE(fileContent(), content);
    QCOMPARE(QFileInfo(path()).lastModified(), before);
}

void TestAppSettings::survivesDamagedFiles_data()
{
    QTest::addColumn<QString>("damage");
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<bool>("keeps"); // a change is there again at the next start
    const auto row = [](const QByteArray &damage, const QByteArray &content, bool keeps = true) {
        QTest::newRow(damage.constData()) << QString::fromLatin1(damage) << content << keeps;
    };
    row("empty", "");
    row("nul bytes", QByteArray("\0\0[scan]\0\nscanTime=\0\0\n", 23));
    row("wrong types",
        "[scan]\nscanTime=abc\nstartIp=7, 8\nsendUnicast=a, b\n[update]\ntimeout=@Invalid()\n");
    row("no ini at all", QByteArray(300000, '['));
    row("damaged value", damagedValue);
    const QByteArray damage = QByteArray(damagedValue).mid(QByteArray("[scan]\nstartIp=@").size());
    const QByteArrayList disguises{"\\x40",          "\\x10040",      "\\100",    "\"@\"",          "7, @",
                                   "\"7,\" , \"@\"", "\xef\xbb\xbf@", "\\q@\\\n", "\\\"\n; \"\nk=@"};
    for (const QByteArray &disguise : disguises) {
        row("damaged value in disguise " + disguise.toPercentEncoding(),
            (disguise.startsWith('\xef') ? "\xef\xbb\xbf" : "") + QByteArray("[scan]\nstartIp=") + disguise +
                damage);
    }
    row("damaged date", "[scan]\nstartIp=@DateTime(\\0\\0\\0\\t\\0\\x7f\\xff\\xff\\xff)\n");
    row("100 MiB", "");
    row("pipe", "");
    row("folder in the file's place", "", false);
    row("file in the folder's place", "", false);
    row("folder that nobody can make", "", false);
}

void TestAppSettings::survivesDamagedFiles()
{
    QFETCH(QString, damage);
    QFETCH(QByteArray, content);
    QFETCH(bool, keeps);
    writeFile(content);
    if (damage == QLatin1String("100 MiB")) {
        QVERIFY(QFile::resize(path(), 104857600));
    } else if (damage == QLatin1String("pipe")) {
        QVERIFY(QFile::remove(path()));
        QCOMPARE(::mkfifo(path().toLocal8Bit().constData(), 0600), 0);
    } else if (damage == QLatin1String("folder in the file's place")) {
        QVERIFY(QFile::remove(path()) && QDir().mkdir(path()));
    } else if (damage == QLatin1String("file in the folder's place")) {
        qputenv("XDG_CONFIG_HOME", path().toLocal8Bit());
    } else if (damage == QLatin1String("folder that nobody can make")) {
        qputenv("XDG_CONFIG_HOME", "/proc/self/none");
    }
    {
        AppSettings settings;
        QCOMPARE(settings.scanTime(), 200);
        QCOMPARE(settings.updateTimeout(), 120000);
        QCOMPARE(settings.manualIp() || settings.sendUnicast(), false);
        QCOMPARE(settings.startIp(), QHostAddress(QStringLiteral("192.168.0.1")));
        QCOMPARE(settings.endIp(), QHostAddress(QStringLiteral("192.168.0.254")));
        QCOMPARE(settings.fwDefaultDir(), QDir::homePath());
        QCOMPARE(settings.tcpThreads(), 10);
        QCOMPARE(settings.tcpWaitWritten() + settings.tcpWaitRead() + settings.tcpWaitConnected(), 3000);
        settings.setScanTime(300);
        QCOMPARE(settings.scanTime(), 300);
    }
    QCOMPARE(AppSettings().scanTime(), keeps ? 300 : 200);
}

QTEST_GUILESS_MAIN(TestAppSettings)
#include "tst_appsettings.moc"
