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

    void sendsInOrder();
    void refuses();
    void appliesRowsInOrder();
    void writesAndReads();
    void failedWriteKeepsTheFile();
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

// Past the desktop's proxy, which does not know the way to an instrument, and beside another window's scan.
void TestNetConfig::sendsInOrder()
{
    QVERIFY(ip("neighbour replace 192.168.0.10 lladdr 02:00:00:00:00:01 dev wst0 nud permanent"));
    QUdpSocket scan;
    QVERIFY(scan.bind(QHostAddress::AnyIPv4, discoveryPort,
                      QAbstractSocket::ShareAddress | QAbstractSocket::ReuseAddressHint));
    QNetworkProxy::setApplicationProxy({QNetworkProxy::Socks5Proxy, QStringLiteral("127.0.0.1"), 1});
    const QString set = QString::fromLatin1(QByteArray("Quorvex Set:").toHex()) +
                        QStringLiteral("001a2b3c4d5eff01fe8081ffffffff00c0a8010101000000");
    const QString ipSetup = QStringLiteral("000000fc49502d534554555000004d5efe8081ff");
    const QString broadcasts =
        QStringLiteral("%1:30719 > 255.255.255.255:30719 %2;%1:30719 > 255.255.255.255:30718 %3");
    const QString on0 = broadcasts.arg(QStringLiteral("wst0 192.168.0.100"), set, ipSetup);
    const QString on1 = broadcasts.arg(QStringLiteral("wst1 10.20.30.100"), set, ipSetup);
    const QVector<QPair<const char *, QStringList>> rows{
        {both, {on0, on1}},
        {"-wst0@192.168.0.100 wst1@10.20.30.100", {on1}},
        {"-wst0@192.168.0.100", {}},
        {"odd@- gone@192.168.0.200 wst1@10.20.30.100", {on1}}};
    for (const auto &[interfaces, expected] : rows) {
        WireTap wire;
        QVERIFY(sendNew(interfacesOf(interfaces)));
        const QStringList unicast{QStringLiteral("wst0 192.168.0.100:* > 192.168.0.10:30719 ") + set};
        QCOMPARE(wire.take().join(QLatin1Char(';')), (unicast + expected).join(QLatin1Char(';')));
    }
}

void TestNetConfig::refuses()
{
    WireTap wire;
    const QList<interfaces_t> cables = interfacesOf(both);
    for (const quint32 bad : {0u, 0xFFFFFFFFu}) {
        QVERIFY(!sendNew(cables, bad) && !sendNew(cables, 1, bad) && !sendNew(cables, 1, 1, bad));
    }
    QVERIFY(!sendNew(cables, 1, 1, 1, 0) && !sendNew(cables, 1, 1, 1, 1, QStringLiteral("00:1A:2B:3C:4D")));
    QCOMPARE(wire.take(), QStringList());
    QVERIFY(sendNew(cables, 1, 1, 1, 1) && !wire.take().isEmpty());
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
    const QList<Device_t> rack = QVector<Device_t>(500, recoveryDevice()).toList();
    for (const QString &where : {path, path + QStringLiteral("/rack.csv"), folder.path()}) {
        // No file of this process grows further, as on a full disk.
        (void)std::signal(SIGXFSZ, SIG_IGN);
        rlimit before{};
        getrlimit(RLIMIT_FSIZE, &before);
        const rlimit full{16384, before.rlim_max};
        QString reason;
        setrlimit(RLIMIT_FSIZE, &full);
        const bool written = changeNetworkConfiguration::writeFile(rack, where, &reason) ||
                             changeNetworkConfiguration::writeFile(rack, where);
        setrlimit(RLIMIT_FSIZE, &before);
        QVERIFY(!written && !reason.isEmpty());
    }
    QCOMPARE(contents(path), head + line + "\n");
    QCOMPARE(QDir(folder.path()).entryList(QDir::Files).size(), 1);
}

// Rows, those that can be sent, and the numbers of lines that were refused (-) and skipped (~).
void TestNetConfig::reads()
{
    const auto changed = [](const char *from, const char *to) {
        return QByteArray(line).replace(from, to) + "\n";
    };
    constexpr int bound = 16 * 1024 * 1024;
    const QByteArray large = line + QByteArray(bound - 2 * line.size(), '\n') + line;
    const QByteArray mixture = changed("0.10", "0.10.1") + changed(",192.168.0.10,", ",0.0.0.0,") + line +
                               "\nmoved to rack 7\n" + changed("255.255.255.0", "255.255.255.255");
    const QVector<QPair<QByteArray, const char *>> rows{
        {head + line + "\n", "1 1 ~1 ~2 ~4 ~6"},
        {QByteArray(head + line).replace("\n", "\r\n"), "1 1 ~1 ~2 ~4 ~6"},
        {"\xEF\xBB\xBF" + line + " \t \r\n", "1 1"},
        {line + ",an eighth field\n", "1 1"},
        {line.mid(5), "0 0 ~1"},
        {changed("Recovery BL", "Recovery, BL"), "0 0 ~1"},
        {changed("00:1A", "0:1A"), "0 0 ~1"},
        {QByteArray(), "0 0"},
        {changed(",255.255.255.0,192.168.0.1", ",,"), "1 0 -1"},
        {head + mixture, "4 1 -7 -8 -11 ~1 ~2 ~4 ~6 ~10"},
        {large, "2 2"},
        {large + "\n", "error"},
        {line + QByteArray("\n\0", 2), "error"},    // NUL
        {QByteArray("\xFF\xFE[\0Q\0", 6), "error"}, // UTF-16
        {line + "\n2180,Amp\xE8re\n", "error"},     // Latin-1
        {line + "\n\xE2\x82", "error"},             // a character cut
        {line + "\n\xC0\xAC", "error"},             // overlong
        {line + "\n\xED\xA0\x80", "error"}};        // a surrogate
    for (const auto &[text, expected] : rows) {
        const NetworkConfiguration read = parseNetworkConfiguration(text);
        QString outcome = QStringLiteral("%1 %2").arg(read.rows.size()).arg(read.sendableRows.size());
        for (const NetworkConfigurationLine &refused : read.refused) {
            outcome += QStringLiteral(" -%1").arg(refused.number);
        }
        for (const NetworkConfigurationLine &skipped : read.skipped) {
            outcome += QStringLiteral(" ~%1").arg(skipped.number);
        }
        outcome =
            outcome == QLatin1String("0 0") && !read.error.isEmpty() ? QStringLiteral("error") : outcome;
        const QString about = QString::fromLatin1(text.right(40)) + QStringLiteral(": ");
        QCOMPARE(about + outcome, about + QString::fromLatin1(expected));
        QVERIFY(read.refusedCount == read.refused.size() && read.skippedCount == read.skipped.size());
        for (const QStringList &sent : read.sendableRows) {
            QCOMPARE(sent, networkrow::fromDevice(recoveryDevice()));
        }
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
    const NetworkConfiguration notes = readNetworkConfiguration(path);
    QCOMPARE(notes.skippedCount, 1 << 23);
    QCOMPARE(notes.skipped.size(), NetworkConfiguration::mostListedLines);
    QVERIFY(file.write("\n") == 1 && file.flush());
    QVERIFY(!readNetworkConfiguration(path).error.isEmpty());
}

QTEST_GUILESS_MAIN(TestNetConfig)
#include "tst_netconfig.moc"
