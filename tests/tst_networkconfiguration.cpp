#include "changenetworkconfiguration.h"
#include "macaddress.h"
#include "networkconfigurationfile.h"
#include "networksettingsrow.h"

#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <sys/resource.h>
#include <sys/stat.h>

using namespace networkrow;

namespace {

const QString recoveryMac = QStringLiteral("00:1A:2B:3C:4D:5E");
const char *const recoveryLine =
    "2180,Recovery BL,0123456,00:1A:2B:3C:4D:5E,192.168.0.10,255.255.255.0,192.168.0.1";
const QStringList recoveryRow{
    QStringLiteral("Recovery BL"),  QStringLiteral("0123456"),       recoveryMac,
    QStringLiteral("192.168.0.10"), QStringLiteral("255.255.255.0"), QStringLiteral("192.168.0.1")};

const char *const head =
    "[Quorvex]\n"
    "[Device Manager - Network Configurations]\n"
    "\n"
    "** You can edit this file to change the network configurations of the devices in the list **\n"
    "\n"
    "Key,Family,Serial Number,MAC Address,IP Address,Subnet MaskGateway\n";

Device_t recoveryDevice()
{
    Device_t device;
    device[Code] = QStringLiteral("2180");
    device[Id] = QStringLiteral("not in the file");
    device[Family] = recoveryRow.at(FamilyColumn);
    device[Sn] = recoveryRow.at(SerialNumberColumn);
    device[Mac] = recoveryRow.at(MacColumn);
    device[Ip] = recoveryRow.at(IpColumn);
    device[Netmask] = recoveryRow.at(NetmaskColumn);
    device[Gateway] = recoveryRow.at(GatewayColumn);
    return device;
}

QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(no file)");
}

// Lets no file of this process grow past `bytes` while it lives, as a full disk would.
class FullDisk
{
public:
    explicit FullDisk(rlim_t bytes)
    {
        m_signal = std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit limit{bytes, m_before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FullDisk()
    {
        setrlimit(RLIMIT_FSIZE, &m_before);
        (void)std::signal(SIGXFSZ, m_signal);
    }
    Q_DISABLE_COPY(FullDisk)

private:
    rlimit m_before{};
    void (*m_signal)(int);
};

} // namespace

class TestNetworkConfiguration : public QObject
{
    Q_OBJECT

private slots:
    void datagrams();
    void datagramsNeedSixBytes();
    void writtenFile();
    void fieldsCannotAddLines();
    void failedWriteKeepsTheFile();
    void lines_data();
    void lines();
    void tellsWhatIsNotSent();
    void notText_data();
    void notText();
    void largeFiles();
    void unreadableFiles();
    void writtenFilesAreRead();
};

// The highest bit of each number is set, which a signed one would spread.
void TestNetworkConfiguration::datagrams()
{
    const QByteArray mac = macBytes(recoveryMac);
    QCOMPARE(changeNetworkConfiguration::setDatagram(mac, 0xFF01, 0xFE8081FFu, 0xFFFFFF00u, 0xC0A80101u, 0),
             QByteArray::fromHex(
                 "51756f7276657820536574 3a 001a2b3c4d5e ff01 fe8081ff ffffff00 c0a80101 00000000"));
    QCOMPARE(changeNetworkConfiguration::serialServerDatagram(mac, 0xFE8081FFu),
             QByteArray::fromHex("000000fc 49502d5345545550 0000 4d5e fe8081ff"));
}

void TestNetworkConfiguration::datagramsNeedSixBytes()
{
    QVERIFY(changeNetworkConfiguration::setDatagram(QByteArray(5, 'm'), 10001, 1, 1, 1, 0).isEmpty());
    QVERIFY(changeNetworkConfiguration::serialServerDatagram(QByteArray(5, 'm'), 1).isEmpty());
    QCOMPARE(changeNetworkConfiguration::setDatagram(QByteArray(7, 'm'), 10001, 1, 1, 1, 0).size(), 36);
}

void TestNetworkConfiguration::writtenFile()
{
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("rack.csv"));
    QVERIFY(changeNetworkConfiguration::writeFile({}, path));
    QCOMPARE(contents(path), QByteArray(head));

    Device_t odd = recoveryDevice();
    odd[Family] = QStringLiteral("Ampère, µA");
    QVERIFY(changeNetworkConfiguration::writeFile({recoveryDevice(), odd, Device_t()}, path));
    QCOMPARE(contents(path), QByteArray(head) + recoveryLine + "\n" +
                                 "2180,Ampère, µA,0123456,00:1A:2B:3C:4D:5E,192.168.0.10,255.255.255.0,"
                                 "192.168.0.1\n"
                                 ",,,,,,\n");

    QVERIFY(changeNetworkConfiguration::writeFile({}, path));
    QCOMPARE(contents(path), QByteArray(head));
}

// An instrument whose serial number carries a line of its own would otherwise readdress another one.
void TestNetworkConfiguration::fieldsCannotAddLines()
{
    Device_t hostile = recoveryDevice();
    hostile[Sn] = QStringLiteral("1\r\n2180,x,x,00:00:00:00:00:01,10.0.0.1,255.0.0.0,10.0.0.2\n");
    hostile[Family].append(QChar(u'\0'));
    const NetworkConfiguration read = parseNetworkConfiguration(networkConfigurationText({hostile}));
    QCOMPARE(read.error, QString());
    QCOMPARE(read.rows.size(), 0);
    QCOMPARE(read.skippedCount, 5);
}

void TestNetworkConfiguration::failedWriteKeepsTheFile()
{
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("rack.csv"));
    QVERIFY(changeNetworkConfiguration::writeFile({recoveryDevice()}, path));
    const QByteArray before = contents(path);

    QList<Device_t> rack;
    for (int i = 0; i < 500; ++i) {
        rack.append(recoveryDevice());
    }
    QString reason;
    bool written = true;
    {
        const FullDisk full(16384);
        written = changeNetworkConfiguration::writeFile(rack, path, &reason);
    }
    QVERIFY(!written);
    QVERIFY(!reason.isEmpty());
    QCOMPARE(contents(path), before);
    QCOMPARE(QDir(folder.path()).entryList(QDir::Files).size(), 1);

    reason.clear();
    QVERIFY(!changeNetworkConfiguration::writeFile(rack, path + QStringLiteral("/rack.csv"), &reason));
    QVERIFY(!reason.isEmpty());
    QVERIFY(!changeNetworkConfiguration::writeFile(rack, folder.path()));
}

void TestNetworkConfiguration::lines_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QList<QStringList>>("rows");

    const QByteArray line = recoveryLine;
    const QList<QStringList> one{recoveryRow};
    QTest::newRow("as written") << head + line + "\n" << one;
    QTest::newRow("last line without end") << head + line << one;
    QTest::newRow("without preamble") << line << one;
    QTest::newRow("byte-order mark before the row") << "\xEF\xBB\xBF" + line + "\n" << one;
    QTest::newRow("CRLF") << QByteArray(head).replace("\n", "\r\n") + line + "\r\n" << one;
    QTest::newRow("blank end of line") << line + " \t \r\n" << one;
    QTest::newRow("eighth field") << line + ",a note\n" << one;
    QTest::newRow("six fields") << QByteArray(line).remove(0, 5) << QList<QStringList>{};
    QTest::newRow("comma in the family")
        << QByteArray(line).replace("Recovery BL", "Recovery, BL") << QList<QStringList>{};
    QTest::newRow("no MAC address") << QByteArray(line).replace("00:1A", "0:1A") << QList<QStringList>{};
    QTest::newRow("empty file") << QByteArray() << QList<QStringList>{};
    // Such a row names its instrument; the sender refuses it.
    QStringList motorDriver = recoveryRow;
    motorDriver[NetmaskColumn].clear();
    motorDriver[GatewayColumn].clear();
    QTest::newRow("empty mask and gateway")
        << QByteArray("4200,Recovery BL,0123456,00:1A:2B:3C:4D:5E,192.168.0.10,,\n")
        << QList<QStringList>{motorDriver};
}

void TestNetworkConfiguration::lines()
{
    QFETCH(QByteArray, text);
    QFETCH(QList<QStringList>, rows);
    QCOMPARE(parseNetworkConfiguration(text).rows, rows);
}

void TestNetworkConfiguration::tellsWhatIsNotSent()
{
    const QByteArray good = recoveryLine;
    const NetworkConfiguration read =
        parseNetworkConfiguration(head + QByteArray(good).replace("0.10", "0.10.1") + "\n" +       // line 7
                                  QByteArray(good).replace(",192.168.0.10,", ",0.0.0.0,") + "\n" + // line 8
                                  good + "\n" + "moved to rack 7\n" +                              // 9, 10
                                  QByteArray(good).replace("255.255.255.0", "255.255.255.255") +   // 11
                                  "\n");
    QCOMPARE(read.sendableRows, QList<QStringList>{recoveryRow});
    QCOMPARE(read.rows.size(), 4);
    QCOMPARE(read.refusedCount, 3);
    QCOMPARE(read.refused.at(0).number, 7);
    QVERIFY(read.refused.at(0).reason.contains(QStringLiteral("IP address \"192.168.0.10.1\"")));
    QCOMPARE(read.refused.at(1).number, 8);
    QVERIFY(read.refused.at(1).reason.contains(QStringLiteral("IP address \"0.0.0.0\"")));
    QCOMPARE(read.refused.at(2).number, 11);
    QVERIFY(read.refused.at(2).reason.contains(QStringLiteral("subnet mask \"255.255.255.255\"")));

    QList<int> skipped;
    for (const NetworkConfigurationLine &line : read.skipped) {
        skipped.append(line.number);
    }
    QCOMPARE(skipped, (QList<int>{1, 2, 4, 6, 10}));
    QCOMPARE(read.skipped.last().text, QStringLiteral("moved to rack 7"));
    QVERIFY(read.skipped.last().reason != read.skipped.first().reason);
}

void TestNetworkConfiguration::notText_data()
{
    QTest::addColumn<QByteArray>("text");

    const QByteArray good = QByteArray(head) + recoveryLine + "\n";
    QTest::newRow("NUL behind a good row") << good + QByteArray(1, '\0');
    QTest::newRow("UTF-16") << QByteArray("\xFF\xFE[\0Q\0", 6);
    QTest::newRow("Latin-1") << good + "2180,Amp\xE8re\n";
    QTest::newRow("cut character") << good + "\xE2\x82";
    QTest::newRow("overlong character") << good + "\xC0\xAC";
    QTest::newRow("surrogate") << good + "\xED\xA0\x80";
}

void TestNetworkConfiguration::notText()
{
    QFETCH(QByteArray, text);
    const NetworkConfiguration read = parseNetworkConfiguration(text);
    QVERIFY(!read.error.isEmpty());
    QVERIFY(read.rows.isEmpty() && read.sendableRows.isEmpty());
}

void TestNetworkConfiguration::largeFiles()
{
    constexpr int bound = 16 * 1024 * 1024;
    const QByteArray good = QByteArray(recoveryLine) + "\n";
    QByteArray text = good + QByteArray(bound - 2 * good.size(), '\n') + good;
    QCOMPARE(text.size(), bound);
    QCOMPARE(parseNetworkConfiguration(text).rows.size(), 2);

    QTemporaryDir folder;
    QFile file(folder.filePath(QStringLiteral("large.csv")));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(text + "\n") == bound + 1 && file.flush());
    QVERIFY(changeNetworkConfiguration::readFile(file.fileName()).isEmpty());
    QVERIFY(!readNetworkConfiguration(file.fileName()).error.isEmpty());

    // Millions of lines that are something else are counted, not collected.
    text = QByteArray("a\n").repeated(bound / 2 - good.size()) + good;
    const NetworkConfiguration notes = parseNetworkConfiguration(text);
    QCOMPARE(notes.rows.size(), 1);
    QCOMPARE(notes.skippedCount, bound / 2 - good.size());
    QCOMPARE(notes.skipped.size(), NetworkConfiguration::mostListedLines);
}

void TestNetworkConfiguration::unreadableFiles()
{
    QTemporaryDir folder;
    const QString pipe = folder.filePath(QStringLiteral("pipe"));
    QCOMPARE(mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    for (const QString &path : {pipe, folder.path(), folder.filePath(QStringLiteral("absent")), QString()}) {
        QVERIFY(changeNetworkConfiguration::readFile(path).isEmpty());
        QVERIFY(!readNetworkConfiguration(path).error.isEmpty());
    }
}

void TestNetworkConfiguration::writtenFilesAreRead()
{
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("rack.csv"));
    QList<Device_t> rack;
    QList<QStringList> rows;
    for (int i = 0; i < 500; ++i) {
        Device_t device = recoveryDevice();
        device[Mac] = QStringLiteral("00:1A:2B:00:%1:%2")
                          .arg(i / 256, 2, 16, QLatin1Char('0'))
                          .arg(i % 256, 2, 16, QLatin1Char('0'));
        device[Sn] = QStringLiteral("Größe %1").arg(i);
        rack.append(device);
        rows.append(fromDevice(device));
    }
    QVERIFY(changeNetworkConfiguration::writeFile(rack, path));
    QCOMPARE(changeNetworkConfiguration::readFile(path), rows);
    QCOMPARE(readNetworkConfiguration(path).sendableRows, rows);
}

QTEST_GUILESS_MAIN(TestNetworkConfiguration)
#include "tst_networkconfiguration.moc"
