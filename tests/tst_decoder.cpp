#include "devicecatalogue.h"
#include "replydecoder.h"
#include "unicastrange.h"

#include <QRegularExpression>
#include <QTest>

// From the bytes of one datagram to one record: each family's spelling, and everything that a network
// may send instead of a reply. And which addresses a unicast scan asks.
class TestDecoder : public QObject
{
    Q_OBJECT

private slots:
    void binaryReplies_data();
    void binaryReplies();
    void otherDatagrams_data();
    void otherDatagrams();
    void serialServerReplies();
    void addressesOfARange();
};

namespace {

// Bytes that are no text stand as %XX.
QByteArray bytes(const char *text)
{
    return QByteArray::fromPercentEncoding(text);
}

// A whole binary reply; the bytes that nobody reads are there to be noticed if somebody does.
QByteArray binary(const char *code, const QByteArray &texts)
{
    const QByteArray where = QByteArray::fromHex("001A2B3C4D5E C0A8000C FFFFFF00 C0A80001");
    const QByteArray reply =
        "Quorvex Dev:" + QByteArray::fromHex(code) + where + "xxxx" + texts.left(4) + "yyyy" + texts.mid(4);
    return reply.leftJustified(248, '\0');
}

// All twelve fields and what else was told, in one text; of no record none.
QString told(const std::optional<Device_t> &device)
{
    QStringList texts;
    if (device) {
        texts = QStringList(std::begin(device->fields), std::end(device->fields));
        for (const QMap<QString, QString> &entry : device->extra) {
            texts.append(entry.firstKey() + QLatin1Char('=') + entry.first());
        }
    }
    return texts.join(QLatin1Char('|')).replace(QChar(0), QLatin1Char('~'));
}

QString about(const char *code)
{
    const QString text = QString::fromLatin1(code);
    return devicecatalogue::group(text) + QLatin1Char('|') + devicecatalogue::desc(text);
}

} // namespace

void TestDecoder::binaryReplies_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<QString>("expected"); // code, module ID, serial number, firmware, DHCP
    const auto row = [](const char *name, const char *code, const char *texts, const char *expected) {
        QTest::newRow(name) << binary(code, bytes(texts)) << QString::fromUtf8(expected);
    };
    const char *none = "1100|Unknown|Unknown|Unknown|Unknown";
    row("supply, nothing", "1100", "MODU", none);
    row("supply, three texts", "1100", "MODU1.4\r\nSN7\r\nRACK", none);
    row("supply, four texts", "1100", "MODU1.4\r\nSN7\r\nRACK\r\nX", "1100|RACK|SN7|1.4|Unknown");
    row("supply, five texts", "1100", "MODU1.4\r\nSN7\r\nRACK\r\nX\r\nON", "1100|RACK|SN7|1.4|Unknown");
    row("supply, six texts", "1100", "MODU1.4\r\nSN7\r\nRACK\r\nX\r\nON\r\nY", "1100|RACK|SN7|1.4|ON");
    row("supply, empty texts count for nothing", "1100", "MODU1.4\r\n\r\nSN7\r\n\r\n\r\nRACK\r\nX\r\n",
        "1100|RACK|SN7|1.4|Unknown");
    row("supply, NULs end the pieces, not the text", "1100",
        "MODU1.%00%004\r\n%00SN7\r\nRACK\r\nX%00\r\nY\r\nZ", "1100|RACK|SN7|1.4|Unknown");
    row("supply, UTF-8, a character cut between two pieces", "1100", "MODU1.4%C3%A4\r\nSN7\r\nK%C3%A4 1\r\nX",
        "1100|K\u00E4 1|SN7|1.4\uFFFD\uFFFD|Unknown");

    row("beamline", "2100", "AB-11203%00%1B%A7%79", "2100|AB-1|18Y12W345|1.2.03|");
    row("beamline, five digits", "2100", "AB-11203%00%01%86%9F", "2100|AB-1|99999|1.2.03|");
    row("beamline, six digits", "2100", "AB-11203%00%01%86%A0", "2100|AB-1|10Y00W00|1.2.03|");
    row("beamline, the largest number", "2180", "AB-11203%FF%FF%FF%FF", "2180|AB-1|42Y94W967295|1.2.03|");
    row("beamline, above ASCII", "2100", "%E9%80%FFA%B5203%00%00%00%01",
        "2100|\u00E9\u0080\u00FFA|1|\u00B5.2.03|");
    row("1600 answers like a beamline instrument", "1600", "AB-11203%00%1B%A7%79",
        "1600|AB-1|18Y12W345|1.2.03|Unknown");
    row("1600 tells of DHCP", "1600", "AB-1a\r\nb\r\nc\r\nd\r\nOFF\r\nf",
        "1600|AB-1|21Y87W84525|a.\r.\nb|OFF");

    row("transducer, article number with its A", "3100", "MODU1203%12%A4%56%78CT-9",
        "3100|CT-9|12A45X678|1.2.03|");
    row("transducer, upper-case", "3100", "MODU1203%0B%CD%EF%0CCT", "3100|CT|0BACDXEF0|1.2.03|");
    row("transducer, year 15", "3100", "MODU1203%15%34%56%78CT", "3100|CT|15A34X567|1.2.03|");
    row("transducer, year 16", "3100", "MODU1203%16%34%56%78CT", "3100|CT|16Y34W5678|1.2.03|");
    row("transducer, year 70", "3100", "MODU1203%70%AB%CD%EFCT", "3100|CT|70YabWcdef|1.2.03|");
    row("transducer, year 71", "3100", "MODU1203%71%34%56%78CT", "3100|CT|71A34X567|1.2.03|");
    row("transducer, no year", "3100", "MODU1203%1A%34%56%78CT", "3100|CT|1AA34X567|1.2.03|");
    row("tool", "6100", "MODU1203%01%02%03%04TOOL%00rest", "6100|TOOL|01Y02W0304|1.2.03|");
    row("tool, lower-case", "5100", "MODU1203%AB%CD%EF%09", "5100||abYcdWef09|1.2.03|");
    const QByteArray full = "MODU1203" + QByteArray::fromHex("01020304") + QByteArray(196, 'c') + "d";
    QTest::newRow("a text that fills its place")
        << binary("6100", full)
        << QStringLiteral("6100|%1|01Y02W0304|1.2.03|").arg(QString(196, QLatin1Char('c')));

    row("beamline sub-model", "2137", "AB-11203%00%1B%A7%79", "2100|AB-1|18Y12W345|1.2.03|");
    row("sub-model of another base", "2299", "AB-11203%00%1B%A7%79", "2200|AB-1|18Y12W345|1.2.03|");
    row("base nobody knows", "29AF", "AB-11203%00%1B%A7%79", "2900|Unknown|Unknown|1.2.03|");
    row("other codes stay", "1137", "AB-11203", "1137|Unknown|Unknown|1.2.03|");
    row("lower-case code", "1F80", "AB-11203", "1f80|Unknown|Unknown|1.2.03|");
    row("a code's zeros", "0007", "AB-11203", "0007|Unknown|Unknown|1.2.03|");
}

void TestDecoder::binaryReplies()
{
    QFETCH(QByteArray, reply);
    QFETCH(QString, expected);
    const QString code = expected.section(QLatin1Char('|'), 0, 0);
    const QString whole =
        QStringLiteral("%1|%2|%3||%4|%5|00:1A:2B:3C:4D:5E|192.168.0.12|255.255.255.0|192.168.0.1|%6")
            .arg(code, expected.section(QLatin1Char('|'), 1, 1), about(code.toLatin1().constData()),
                 expected.section(QLatin1Char('|'), 2, 2), expected.section(QLatin1Char('|'), 3, 3),
                 expected.section(QLatin1Char('|'), 4));
    QCOMPARE(told(decodeDiscoveryReply(reply)), whole);
}

// Missing bytes read as zero (here ~), and nothing behind the texts is read.
void TestDecoder::otherDatagrams_data()
{
    QTest::addColumn<QByteArray>("datagram");
    QTest::addColumn<QString>("expected"); // empty: no record
    const QByteArray beamline = binary("2100", bytes("AB-11203%00%1B%A7%79"));
    const QString complete = told(decodeDiscoveryReply(beamline)); // as above
    QTest::newRow("no text behind the serial number") << beamline.left(52) << complete;
    QTest::newRow("a jumbo") << beamline.leftJustified(65507, 'z') << complete;
    QTest::newRow("cut in the address")
        << beamline.left(22)
        << QStringLiteral("2100|~~~~|%1||0|~.~.~~|00:1A:2B:3C:4D:5E|192.168.0.0|0.0.0.0|0.0.0.0|")
               .arg(about("2100"));
    QTest::newRow("the prefix alone")
        << beamline.left(12) << "0000|Unknown||||Unknown|~.~.~~|00:00:00:00:00:00|0.0.0.0|0.0.0.0|0.0.0.0|";

    const auto json = [](const char *name, const QByteArray &object, const char *expected = "") {
        QTest::newRow(name) << "Quorvex MS2:" + object << QString::fromUtf8(expected);
    };
    json(
        "every field",
        R"({"CODE":"1900","ID":"M","FAMILY":"F","DEVICE":"D","BRAND":"DOSSIK","SN":"S","FW":"W","MAC":"00:1A",)"
        R"("IP":"10.0.0.1","NETMASK":"N","GATEWAY":"G","DHCP":"ON"})",
        "1900|M|F|D|DOSSIK|S|W|00:1A|10.0.0.1|N|G|ON");
    json("nothing is looked up", R"({"CODE":"2137"})", "2137|||||||||||");
    json("empty object", "{}", "|||||||||||");
    json("other keys, in their order", R"({"SLOT":"4","code":"1","CODE":"5100","Temp":"21"})",
         "5100||||||||||||SLOT=4|Temp=21|code=1");
    json("no strings", R"({"SN":7,"FW":null,"ID":["a"],"DHCP":true,"SLOT":{"a":"b"}})", "||||||||||||SLOT=");
    json("the prefix again", R"(Quorvex MS2:{"SN":"aQuorvex MS2:b"Quorvex MS2:})", "|||||ab||||||");
    json("what follows a NUL", bytes(R"({"SN":"7"}%00garbage)"), "|||||7||||||");
    json("UTF-8, and a byte that is not", bytes(R"({"SN":"K%C3%A4%E4"})"), "|||||K\u00E4\uFFFD||||||");
    json("the last of two equal keys", R"({"SN":"1","SN":"2"})", "|||||2||||||");
    json("what follows 2048 bytes", QByteArray(R"({"SN":"1")").leftJustified(2035, ' ') + "}garbage",
         "|||||1||||||");
    json("more than 2048 bytes", R"({"SN":")" + QByteArray(2048, '1') + R"("})");
    json("the prefix alone", "");
    json("an array", R"([{"SN":"1"}])");
    json("a text", R"("SN")");
    json("cut off", R"({"SN":"1")");
    json("a NUL inside", bytes(R"({"SN%00":"1"})"));
    json("too deep", QByteArray(2030, '['));
    json("objects too deep", QByteArray(R"({"":)").repeated(400));

    const auto nothing = [](const char *name, const QByteArray &datagram) {
        QTest::newRow(name) << datagram << QString();
    };
    nothing("empty", {});
    nothing("half a prefix", "Quorvex Dev");
    nothing("our own query", "Quorvex Dev?");
    nothing("prefix in another case", "quorvex Dev:" + beamline.mid(12));
    nothing("NUL in the prefix", bytes("Quorvex%00Dev:") + beamline.mid(12));
    nothing("prefix one byte late", ' ' + beamline);
    nothing("JSON without prefix", R"({"SN":"1"})");
}

void TestDecoder::otherDatagrams()
{
    QFETCH(QByteArray, datagram);
    QTEST(told(decodeDiscoveryReply(datagram)), "expected");
}

void TestDecoder::serialServerReplies()
{
    const QByteArray reply = QByteArray(24, '\x55') + QByteArray::fromHex("00204AAD6470");
    const QHostAddress sender(QStringLiteral("192.168.0.9"));
    const QString good = QStringLiteral("4100|||||||00:20:4A:AD:64:70|192.168.0.9|||");
    QCOMPARE(told(decodeSerialServerReply(reply, sender)), good);
    QCOMPARE(told(decodeSerialServerReply(reply + QByteArray(9000, '\x7F'), sender)), good);
    QCOMPARE(told(decodeSerialServerReply(reply, QHostAddress(QStringLiteral("::ffff:192.168.0.9")))), good);
    for (const QByteArray &other : {reply.left(29), QByteArray::fromHex("000100F6"), QByteArray()}) {
        QVERIFY(!decodeSerialServerReply(other, sender));
    }
}

// Of a visitor that ends the walk behind the fifth.
void TestDecoder::addressesOfARange()
{
    const QStringList ranges{
        QStringLiteral("192.168.0.7 192.168.0.7: 192.168.0.7"),
        QStringLiteral("10.0.0.253 10.0.1.2: 10.0.0.253 10.0.0.254 10.0.1.0 10.0.1.1 10.0.1.2"),
        QStringLiteral("10.0.1.0 10.0.1.3: 10.0.1.1 10.0.1.2 10.0.1.3"),
        QStringLiteral("10.0.0.255 10.0.1.0: 10.0.1.0"),
        QStringLiteral("0.0.0.1 255.255.255.254: 0.0.0.1 0.0.0.2 0.0.0.3 0.0.0.4 0.0.0.5"),
        // A counter as wide as an address would begin again at 0.0.0.0.
        QStringLiteral("255.255.255.253 255.255.255.255: 255.255.255.253 255.255.255.254"),
        QStringLiteral("10.0.0.2 10.0.0.1:"), // the wrong way round
        QStringLiteral("none 10.0.0.3:"), QStringLiteral("10.0.0.1 none:"), QStringLiteral("::1 0.0.0.4:"),
        QStringLiteral("0.0.0.1 ::3:"), QStringLiteral("::ffff:10.0.0.1 ::ffff:10.0.0.2:")};
    for (const QString &range : ranges) {
        const QString ends = range.section(QRegularExpression(QStringLiteral(":( |$)")), 0, 0);
        QString walk = ends + QLatin1Char(':');
        int left = 5;
        visitUnicastAddresses(QHostAddress(ends.section(QLatin1Char(' '), 0, 0)),
                              QHostAddress(ends.section(QLatin1Char(' '), 1)), [&](quint32 address) {
                                  walk += QLatin1Char(' ') + QHostAddress(address).toString();
                                  return --left > 0;
                              });
        QCOMPARE(walk, range);
    }
}

QTEST_APPLESS_MAIN(TestDecoder)
#include "tst_decoder.moc"
