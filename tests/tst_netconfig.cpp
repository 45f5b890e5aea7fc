#include "changenetworkconfiguration.h"
#include "labroom.h"
#include "networkconfigurationfile.h"
#include "networksettingsrow.h"
#include "support/scanfixture.h"

#include <QNetworkProxy>
#include <QTemporaryDir>
#include <QTest>
#include <QUdpSocket>
#include <QtEndian>

#include <arpa/inet.h>
#include <csignal>
#include <linux/if_packet.h>
#include <net/ethernet.h>
#include <net/if.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace labroom;

// What leaves the workstation for an instrument's new settings, in its order, and what it does to virtual
// ones; and the file that holds such settings.
class TestNetConfig : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { QNetworkProxy::setApplicationProxy(QNetworkProxy::NoProxy); }

    void sendsInOrder_data();
    void sendsInOrder();
    void refuses_data();
    void refuses();
    void appliesRowsInOrder();
    void writesAndReads();
    void failedWriteKeepsTheFile();
    void reads_data();
    void reads();
    void unreadableFiles();
};

namespace {

// Hears every IPv4 datagram that leaves this computer by any interface, loopback included, in the order in
// which the kernel sends them. A port that the system chose reads "*".
class WireTap
{
public:
    WireTap() : m_socket(socket(AF_PACKET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, htons(ETH_P_ALL))) {}
    ~WireTap() { close(m_socket); }
    Q_DISABLE_COPY(WireTap)

    bool isOpen() const { return m_socket >= 0; }

    // What has left since the last call: "wst0 192.168.0.100:30719 > 255.255.255.255:30719 51756f72..."
    QStringList take()
    {
        QStringList heard;
        QByteArray packet(65536, '\0');
        sockaddr_ll by{};
        socklen_t size = sizeof by;
        for (;;) {
            const auto length = recvfrom(m_socket, packet.data(), static_cast<size_t>(packet.size()), 0,
                                         reinterpret_cast<sockaddr *>(&by), &size);
            if (length < 0) {
                return heard;
            }
            char name[IF_NAMESIZE] = "";
            if_indextoname(static_cast<unsigned>(by.sll_ifindex), name);
            if (by.sll_pkttype == PACKET_OUTGOING && packet.at(0) == 0x45 && packet.at(9) == IPPROTO_UDP) {
                heard.append(
                    QStringLiteral("%1 %2 > %3 %4")
                        .arg(QString::fromLatin1(name), end(packet, 12, 20), end(packet, 16, 22),
                             QString::fromLatin1(packet.mid(28, static_cast<int>(length) - 28).toHex())));
            }
        }
    }

private:
    static QString end(const QByteArray &packet, int addressAt, int portAt)
    {
        const int port = qFromBigEndian<quint16>(packet.constData() + portAt);
        return QHostAddress(qFromBigEndian<quint32>(packet.constData() + addressAt)).toString() +
               (port < 32768 ? QStringLiteral(":%1").arg(port) : QStringLiteral(":*"));
    }

    int m_socket;
};

// Lets no file of this process grow past `bytes` while it lives, as a full disk would.
class FullDisk
{
public:
    explicit FullDisk(rlim_t bytes) : m_signal(std::signal(SIGXFSZ, SIG_IGN))
    {
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

const QString targetMac = QStringLiteral("00:1A:2B:3C:4D:5E");
const char *const both = "wst0@192.168.0.100 wst1@10.20.30.100";

// The highest bit of each number is set, which a signed one would spread.
bool sendNew(const QList<interfaces_t> &interfaces, quint32 ip = 0xFE8081FFu, quint32 mask = 0xFFFFFF00u,
             quint32 gateway = 0xC0A80101u, quint16 port = 0xFF01, const QString &mac = targetMac)
{
    return changeNetworkConfiguration().setConfiguration(interfaces, mac, port, ip, mask, gateway, 1,
                                                         QHostAddress(QStringLiteral("192.168.0.10")));
}

QStringList row(const char *mac, const char *ip, const char *mask = "255.255.255.0")
{
    return {QStringLiteral("Family"), QStringLiteral("SN"),      QString::fromLatin1(mac),
            QString::fromLatin1(ip),  QString::fromLatin1(mask), QStringLiteral("10.20.30.1")};
}

const QByteArray head =
    "[Quorvex]\n"
    "[Device Manager - Network Configurations]\n"
    "\n"
    "** You can edit this file to change the network configurations of the devices in the list **\n"
    "\n"
    "Key,Family,Serial Number,MAC Address,IP Address,Subnet MaskGateway\n";
const QByteArray line = "2180,Recovery BL,0123456,00:1A:2B:3C:4D:5E,192.168.0.10,255.255.255.0,192.168.0.1";

Device_t recoveryDevice()
{
    Device_t device;
    const QStringList fields = QString::fromLatin1(line).split(QLatin1Char(','));
    int next = 0;
    for (const DeviceField field : {Code, Family, Sn, Mac, Ip, Netmask, Gateway}) {
        device[field] = fields.at(next++);
    }
    device[Id] = QStringLiteral("not in the file");
    return device;
}

QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(no file)");
}

} // namespace

void TestNetConfig::sendsInOrder_data()
{
    QTest::addColumn<QByteArray>("interfaces");
    QTest::addColumn<QString>("broadcasts");
    QTest::newRow("both interfaces") << QByteArray(both) << "wst0 192.168.0.100 wst1 10.20.30.100";
    QTest::newRow("one ticked") << QByteArray("-wst0@192.168.0.100 wst1@10.20.30.100") << "wst1 10.20.30.100";
    QTest::newRow("none ticked") << QByteArray("-wst0@192.168.0.100") << "";
    QTest::newRow("broken ones") << QByteArray("odd@- gone@192.168.0.200 wst1@10.20.30.100")
                                 << "wst1 10.20.30.100";
}

// Past the desktop's proxy, which does not know the way to an instrument, and beside another window's scan.
void TestNetConfig::sendsInOrder()
{
    QFETCH(QByteArray, interfaces);
    QFETCH(QString, broadcasts);
    QVERIFY(ip("neighbour replace 192.168.0.10 lladdr 02:00:00:00:00:01 dev wst0 nud permanent"));
    QUdpSocket scan;
    QVERIFY(scan.bind(QHostAddress::AnyIPv4, discoveryPort,
                      QAbstractSocket::ShareAddress | QAbstractSocket::ReuseAddressHint));
    QNetworkProxy::setApplicationProxy({QNetworkProxy::Socks5Proxy, QStringLiteral("127.0.0.1"), 1});
    WireTap wire;
    QVERIFY(wire.isOpen());
    QVERIFY(sendNew(interfacesOf(interfaces.constData())));

    const QString set = QString::fromLatin1(QByteArray("Quorvex Set:").toHex() + "001a2b3c4d5e"
                                                                                 "ff01"
                                                                                 "fe8081ff"
                                                                                 "ffffff00"
                                                                                 "c0a80101"
                                                                                 "01000000");
    const QString ipSetup = QStringLiteral("000000fc49502d534554555000004d5efe8081ff");
    QStringList expected{QStringLiteral("wst0 192.168.0.100:* > 192.168.0.10:30719 ") + set};
    const QStringList words = broadcasts.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    for (int i = 0; i < words.size(); i += 2) {
        const QString from = words.at(i) + QLatin1Char(' ') + words.at(i + 1);
        expected << from + QStringLiteral(":30719 > 255.255.255.255:30719 ") + set
                 << from + QStringLiteral(":30719 > 255.255.255.255:30718 ") + ipSetup;
    }
    QCOMPARE(wire.take(), expected);
}

void TestNetConfig::refuses_data()
{
    QTest::addColumn<QList<quint32>>("numbers"); // address, mask, gateway, port
    QTest::addColumn<QString>("mac");
    for (int i = 0; i < 7; ++i) {
        QList<quint32> numbers{0xC0A80032u, 0xFFFFFF00u, 0xC0A80001u, 10001};
        numbers[i / 2] = i % 2 == 0 ? 0 : 0xFFFFFFFFu;
        QTest::addRow("value %d", i) << numbers << targetMac;
    }
    QTest::newRow("MAC text") << QList<quint32>{0xC0A80032u, 0xFFFFFF00u, 0xC0A80001u, 10001}
                              << "00:1A:2B:3C:4D";
}

void TestNetConfig::refuses()
{
    QFETCH(QList<quint32>, numbers);
    QFETCH(QString, mac);
    WireTap wire;
    QVERIFY(!sendNew(interfacesOf(both), numbers.at(0), numbers.at(1), numbers.at(2),
                     static_cast<quint16>(numbers.at(3)), mac));
    QCOMPARE(wire.take(), QStringList());
    QVERIFY(changeNetworkConfiguration::setDatagram(QByteArray(5, 'm'), 10001, 1, 1, 1, 0).isEmpty());
    QVERIFY(changeNetworkConfiguration::serialServerDatagram(QByteArray(5, 'm'), 1).isEmpty());
}

void TestNetConfig::appliesRowsInOrder()
{
    LabProcess lab;
    play(lab, {with(plain("00:1A:2B:00:00:01", "10.20.30.11", "lab1"), "count", 4),
               module("00:20:4A:AD:64:70", "10.20.30.60")});
    const QList<QStringList> rows{
        row("00:1A:2B:00:00:02", "10.20.30.52"), row("00:1A:2B:00:00:03", "10.20.30"),
        row("00-20-4A-AD-64-70", "10.20.30.61"), row("00:1A:2B:00:00:01", "10.20.30.51"),
        row("00:1A:2B:00:00:04", "10.20.30.54", "255.255.255.255")};
    changeNetworkConfiguration sender;
    const QList<interfaces_t> cable = interfacesOf("-wst0@192.168.0.100 wst1@10.20.30.100");
    WireTap wire;
    QVERIFY(!sender.applyList(cable, rows)); // the last one was refused
    const QStringList sent = wire.take();
    // A row does not say where its instrument is: there is no unicast. And DHCP is off.
    QCOMPARE(sent.size(), 6);
    QCOMPARE(sent.at(0), QStringLiteral("wst1 10.20.30.100:30719 > 255.255.255.255:30719 ") +
                             QString::fromLatin1(QByteArray("Quorvex Set:").toHex()) +
                             QStringLiteral("001a2b00000227110a141e34ffffff000a141e0100000000"));
    QVERIFY(lab.waitForEvent(QStringLiteral("addressChanged"), 3));
    QStringList taken;
    for (const QJsonObject &event : lab.events()) {
        if (event.contains(QStringLiteral("via"))) {
            taken.append(field(event, "mac").right(5) + QLatin1Char(' ') + field(event, "ip"));
        }
    }
    QCOMPARE(taken.filter(QStringLiteral("00:")).join(QLatin1Char(' ')),
             QStringLiteral("00:02 10.20.30.52 00:01 10.20.30.51"));
    QVERIFY(taken.contains(QStringLiteral("64:70 10.20.30.61")));

    const QStringList tooShort = rows.first().mid(0, 5); // ends a list
    QVERIFY(!sender.applyList(cable, {}));
    QVERIFY(!sender.applyList(cable, {tooShort, rows.first()}));
    QCOMPARE(wire.take(), QStringList());
    QVERIFY(sender.applyList(cable, {rows.last(), rows.first(), tooShort, rows.first()}));
    QCOMPARE(wire.take().size(), 2);
    QList<int> asked;
    QVERIFY(sender.applyList(cable, rows.mid(2), [&asked](int position) {
        asked.append(position);
        return position < 1;
    }));
    QCOMPARE(asked, QList<int>({0, 1}));
    QCOMPARE(wire.take().size(), 2);
}

void TestNetConfig::writesAndReads()
{
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("rack.csv"));
    Device_t odd = recoveryDevice();
    odd[Family] = QStringLiteral("Ampère, µA");
    Device_t hostile = recoveryDevice(); // whose serial number carries a line of its own
    hostile[Sn] = QStringLiteral("1\r\n2180,x,x,00:00:00:00:00:01,10.0.0.1,255.0.0.0,10.0.0.2\n") + QChar(0);
    QVERIFY(changeNetworkConfiguration::writeFile({recoveryDevice(), odd, hostile, Device_t()}, path));
    QCOMPARE(contents(path),
             head + line + "\n" + QByteArray(line).replace("Recovery BL", "Ampère, µA") + "\n" +
                 "2180,Recovery BL,1  2180,x,x,00:00:00:00:00:01,10.0.0.1,255.0.0.0,10.0.0.2  ," +
                 line.mid(25) + "\n,,,,,,\n");
    const QList<QStringList> rows{networkrow::fromDevice(recoveryDevice())};
    QCOMPARE(changeNetworkConfiguration::readFile(path), rows);
    QCOMPARE(readNetworkConfiguration(path).sendableRows, rows);
    QVERIFY(changeNetworkConfiguration::writeFile({}, path));
    QCOMPARE(contents(path), head);
}

void TestNetConfig::failedWriteKeepsTheFile()
{
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("rack.csv"));
    QVERIFY(changeNetworkConfiguration::writeFile({recoveryDevice()}, path));
    QList<Device_t> rack;
    while (rack.size() < 500) {
        rack.append(recoveryDevice());
    }
    for (const QString &where : {path, path + QStringLiteral("/rack.csv"), folder.path()}) {
        const FullDisk full(16384);
        QString reason;
        QVERIFY(!changeNetworkConfiguration::writeFile(rack, where, &reason));
        QVERIFY(!reason.isEmpty());
        QVERIFY(!changeNetworkConfiguration::writeFile(rack, where));
    }
    QCOMPARE(contents(path), head + line + "\n");
    QCOMPARE(QDir(folder.path()).entryList(QDir::Files).size(), 1);
}

// Rows, those that can be sent, and the numbers of lines that were refused (-) and skipped (~).
void TestNetConfig::reads_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char *name, const QByteArray &text, const char *expected = "error") {
        QTest::newRow(name) << text << expected;
    };
    const auto changed = [](const char *from, const char *to) {
        return QByteArray(line).replace(from, to) + "\n";
    };
    row("as written", head + line + "\n", "1 1 ~1 ~2 ~4 ~6");
    row("CRLF, the last line without end", QByteArray(head + line).replace("\n", "\r\n"), "1 1 ~1 ~2 ~4 ~6");
    row("byte-order mark, blank end", "\xEF\xBB\xBF" + line + " \t \r\n", "1 1");
    row("eighth field", line + ",a note\n", "1 1");
    row("six fields", line.mid(5), "0 0 ~1");
    row("comma in the family", changed("Recovery BL", "Recovery, BL"), "0 0 ~1");
    row("no MAC address", changed("00:1A", "0:1A"), "0 0 ~1");
    row("empty", {}, "0 0");
    row("empty mask and gateway", changed(",255.255.255.0,192.168.0.1", ",,"), "1 0 -1");
    row("a mixture",
        head + changed("0.10", "0.10.1") + changed(",192.168.0.10,", ",0.0.0.0,") + line +
            "\nmoved to rack 7\n" + changed("255.255.255.0", "255.255.255.255"),
        "4 1 -7 -8 -11 ~1 ~2 ~4 ~6 ~10");

    constexpr int bound = 16 * 1024 * 1024;
    const QByteArray large = line + QByteArray(bound - 2 * line.size(), '\n') + line;
    row("large", large, "2 2");
    row("too large", large + "\n");
    row("NUL behind a good row", line + QByteArray("\n\0", 2));
    row("UTF-16", QByteArray("\xFF\xFE[\0Q\0", 6));
    row("Latin-1", line + "\n2180,Amp\xE8re\n");
    row("cut character", line + "\n\xE2\x82");
    row("overlong character", line + "\n\xC0\xAC");
    row("surrogate", line + "\n\xED\xA0\x80");
}

void TestNetConfig::reads()
{
    QFETCH(QByteArray, text);
    const NetworkConfiguration read = parseNetworkConfiguration(text);
    QString outcome = QStringLiteral("%1 %2").arg(read.rows.size()).arg(read.sendableRows.size());
    for (const NetworkConfigurationLine &refused : read.refused) {
        outcome += QStringLiteral(" -%1").arg(refused.number);
    }
    for (const NetworkConfigurationLine &skipped : read.skipped) {
        outcome += QStringLiteral(" ~%1").arg(skipped.number);
    }
    QCOMPARE(read.refusedCount, read.refused.size());
    QCOMPARE(read.skippedCount, read.skipped.size());
    QTEST(outcome == QLatin1String("0 0") && !read.error.isEmpty() ? QStringLiteral("error") : outcome,
          "expected");
    for (const QStringList &sent : read.sendableRows) {
        QCOMPARE(sent, networkrow::fromDevice(recoveryDevice()));
    }
}

void TestNetConfig::unreadableFiles()
{
    QTemporaryDir folder;
    const QString pipe = folder.filePath(QStringLiteral("pipe"));
    QCOMPARE(mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    for (const QString &path : {pipe, folder.path(), folder.filePath(QStringLiteral("absent")), QString()}) {
        QVERIFY(changeNetworkConfiguration::readFile(path).isEmpty());
        QVERIFY(!readNetworkConfiguration(path).error.isEmpty());
    }
    // Lines that are something else are counted, not collected, and a file that is too large is no file.
    const QString path = folder.filePath(QStringLiteral("notes.csv"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(QByteArray("a\n").repeated(1 << 23)) == 1 << 24 &&
            file.flush());
    QCOMPARE(readNetworkConfiguration(path).skippedCount, 1 << 23);
    QCOMPARE(readNetworkConfiguration(path).skipped.size(), NetworkConfiguration::mostListedLines);
    QVERIFY(file.write("\n") == 1 && file.flush());
    QVERIFY(!readNetworkConfiguration(path).error.isEmpty());
}

QTEST_GUILESS_MAIN(TestNetConfig)
#include "tst_netconfig.moc"
