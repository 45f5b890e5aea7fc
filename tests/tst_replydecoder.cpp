#include "devicecatalogue.h"
#include "ipv4address.h"
#include "replydecoder.h"

#include <QRandomGenerator>
#include <QTest>

// From the bytes of one datagram to one record: each family's spelling, and everything that a
// network may send instead of a reply.
class TestReplyDecoder : public QObject
{
    Q_OBJECT

private slots:
    void familiesSpellTheirTexts_data();
    void familiesSpellTheirTexts();
    void uncataloguedCodes_data();
    void uncataloguedCodes();
    void replyLengths_data();
    void replyLengths();
    void jsonReplies_data();
    void jsonReplies();
    void malformedDatagramsGiveNoRecord_data();
    void malformedDatagramsGiveNoRecord();
    void serialServerReplies_data();
    void serialServerReplies();
    void randomDatagrams();
};

namespace {

// A whole binary reply; the bytes that nobody reads are there to be noticed if somebody does.
QByteArray binaryReply(const char *code, const QByteArray &moduleId = "MODU", const QByteArray &texts = {})
{
    QByteArray reply = "Quorvex Dev:" + QByteArray::fromHex(code) +
                       QByteArray::fromHex("001A2B3C4D5E" // MAC address
                                           "C0A8000C"     // 192.168.0.12
                                           "FFFFFF00"     // 255.255.255.0
                                           "C0A80001") +  // 192.168.0.1
                       "xxxx" +
                       moduleId + "yyyy" + texts;
    return reply.leftJustified(248, '\0');
}

// All twelve fields in one text.
QString joined(const Device_t &device)
{
    QStringList fields;
    for (const QString &field : device.fields) {
        fields.append(field);
    }
    return fields.join(QLatin1Char('|'));
}

} // namespace

void TestReplyDecoder::familiesSpellTheirTexts_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<QString>("id");
    QTest::addColumn<QString>("sn");
    QTest::addColumn<QString>("fw");
    QTest::addColumn<QString>("dhcp");
    const QByteArray unknown = "Unknown";
    const auto row = [](const char *name, const QByteArray &reply, const QByteArray &id, const QByteArray &sn,
                        const QByteArray &fw, const QByteArray &dhcp) {
        QTest::newRow(name) << reply << QString::fromUtf8(id) << QString::fromUtf8(sn)
                            << QString::fromUtf8(fw) << QString::fromUtf8(dhcp);
    };
    const auto supply = [](const QByteArray &texts) { return binaryReply("1100", "MODU", texts); };
    const QByteArray one = "1.2.03";

    row("supply, three texts", supply("1.4\r\nSN7\r\nRACK"), unknown, unknown, unknown, unknown);
    row("supply, four texts", supply("1.4\r\nSN7\r\nRACK\r\nX"), "RACK", "SN7", "1.4", unknown);
    row("supply, five texts", supply("1.4\r\nSN7\r\nRACK\r\nX\r\nON"), "RACK", "SN7", "1.4", unknown);
    row("supply, six texts", supply("1.4\r\nSN7\r\nRACK\r\nX\r\nON\r\nY"), "RACK", "SN7", "1.4", "ON");
    row("supply, empty texts count for nothing", supply("1.4\r\n\r\nSN7\r\n\r\n\r\nRACK\r\nX\r\n"), "RACK",
        "SN7", "1.4", unknown);
    row("supply, NULs end the pieces, not the text",
        supply(QByteArray("1.\0\0", 4) + QByteArray("4\r\n\0", 4) +
               QByteArray("SN7\r\nRACK\r\nX\0\r\nY\r\nZ", 20)),
        "RACK", "SN7", "1.4", unknown);
    row("supply, UTF-8", supply("1.4\r\nSN7\r\nK\xC3\xA4 1\r\nX"), "K\u00E4 1", "SN7", "1.4", unknown);
    row("supply, a character cut between two pieces", supply("1.4\xC3\xA4\r\nSN7\r\nR\r\nX"), "R", "SN7",
        "1.4\uFFFD\uFFFD", unknown);
    row("supply, nothing", supply({}), unknown, unknown, unknown, unknown);

    const auto number = [](const char *code, const char *hex, const QByteArray &text = {}) {
        return binaryReply(code, "AB-1", "1203" + QByteArray::fromHex(hex) + text);
    };
    row("beamline", number("2100", "001BA779"), "AB-1", "18Y12W345", one, {});
    row("beamline, five digits", number("2100", "0001869F"), "AB-1", "99999", one, {});
    row("beamline, six digits", number("2100", "000186A0"), "AB-1", "10Y00W00", one, {});
    row("beamline, the largest number", number("2180", "FFFFFFFF"), "AB-1", "42Y94W967295", one, {});
    row("beamline, characters above ASCII",
        binaryReply("2100", "\xE9\x80\xFF\x41",
                    "\xB5"
                    "203" +
                        QByteArray::fromHex("00000001")),
        "\u00E9\u0080\u00FFA", "1", "\u00B5.2.03", {});

    row("1600 answers like a beamline instrument", number("1600", "001BA779"), "AB-1", "18Y12W345", one,
        unknown);
    row("1600 tells of DHCP", binaryReply("1600", "AB-1", "a\r\nb\r\nc\r\nd\r\nOFF\r\nf"), "AB-1",
        "21Y87W84525", "a.\r.\nb", "OFF");

    row("transducer, article number with its A", number("3100", "12A45678", "CT-9"), "CT-9", "12A45X678", one,
        {});
    row("transducer, letters become upper-case", number("3100", "0BCDEF0C", "CT-9"), "CT-9", "0BACDXEF0", one,
        {});
    row("transducer, year 15", number("3100", "15345678", "CT-9"), "CT-9", "15A34X567", one, {});
    row("transducer, year 16", number("3100", "16345678", "CT-9"), "CT-9", "16Y34W5678", one, {});
    row("transducer, year 70", number("3100", "70ABCDEF", "CT-9"), "CT-9", "70YabWcdef", one, {});
    row("transducer, year 71", number("3100", "71345678", "CT-9"), "CT-9", "71A34X567", one, {});
    row("transducer, no year", number("3100", "1A345678", "CT-9"), "CT-9", "1AA34X567", one, {});
    row("transducer, a text that fills its place", number("3100", "16345678", QByteArray(196, 'c') + "d"),
        QByteArray(196, 'c'), "16Y34W5678", one, {});

    row("tool", number("6100", "01020304", QByteArray("TOOL\0rest", 9)), "TOOL", "01Y02W0304", one, {});
    row("tool, letters stay lower-case", number("5100", "ABCDEF09"), {}, "abYcdWef09", one, {});
}

void TestReplyDecoder::familiesSpellTheirTexts()
{
    QFETCH(QByteArray, reply);
    const auto device = decodeDiscoveryReply(reply);
    QVERIFY(device);
    QTEST((*device)[Id], "id");
    QTEST((*device)[Sn], "sn");
    QTEST((*device)[Fw], "fw");
    QTEST((*device)[Dhcp], "dhcp");
}

void TestReplyDecoder::uncataloguedCodes_data()
{
    QTest::addColumn<QByteArray>("sent");
    QTest::addColumn<QString>("code");
    QTest::addColumn<QString>("sn");
    const auto row = [](const char *name, const char *sent, const char *code, const char *sn) {
        QTest::newRow(name) << QByteArray(sent) << QString::fromLatin1(code) << QString::fromLatin1(sn);
    };
    row("beamline sub-model", "2137", "2100", "18Y12W345");
    row("beamline sub-model of another base", "2299", "2200", "18Y12W345");
    row("beamline base nobody knows", "29AF", "2900", "Unknown");
    row("any other stays", "1137", "1137", "Unknown");
    row("letters are lower-case", "1F80", "1f80", "Unknown");
    row("zeros are kept", "0007", "0007", "Unknown");
}

void TestReplyDecoder::uncataloguedCodes()
{
    QFETCH(QByteArray, sent);
    QFETCH(QString, code);
    const auto device =
        decodeDiscoveryReply(binaryReply(sent.constData(), "AB-1", "1203" + QByteArray::fromHex("001BA779")));
    QVERIFY(device);
    QTEST((*device)[Code], "code");
    QTEST((*device)[Sn], "sn");
    QCOMPARE((*device)[Family], devicecatalogue::group(code));
    QCOMPARE((*device)[Device], devicecatalogue::desc(code));
    QCOMPARE((*device)[Fw], QStringLiteral("1.2.03"));
}

// Missing bytes read as zero, and nothing behind the texts is read.
void TestReplyDecoder::replyLengths_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<QString>("fields");
    const QByteArray whole = binaryReply("2100", "AB-1", "1203" + QByteArray::fromHex("001BA779"));
    const QString about = QStringLiteral("%1|%2").arg(devicecatalogue::group(QStringLiteral("2100")),
                                                      devicecatalogue::desc(QStringLiteral("2100")));
    const QString complete =
        QStringLiteral(
            "2100|AB-1|%1||18Y12W345|1.2.03|00:1A:2B:3C:4D:5E|192.168.0.12|255.255.255.0|192.168.0.1|")
            .arg(about);
    const QString none = QString(4, QChar());
    const QString noTexts =
        QStringLiteral("%1|0|%2.%2.%2%2").arg(about + QLatin1Char('|'), QString(1, QChar()));

    QTest::newRow("whole") << whole << complete;
    QTest::newRow("no text behind the serial number") << whole.left(52) << complete;
    QTest::newRow("2048 bytes") << whole.leftJustified(2048, 'z') << complete;
    QTest::newRow("a jumbo") << whole.leftJustified(65507, 'z') << complete;
    QTest::newRow("cut in the address")
        << whole.left(22)
        << QStringLiteral("2100|%1|%2|00:1A:2B:3C:4D:5E|192.168.0.0|0.0.0.0|0.0.0.0|").arg(none, noTexts);
    QTest::newRow("the prefix alone")
        << whole.left(12)
        << QStringLiteral("0000|Unknown||||Unknown|%1.%1.%1%1|00:00:00:00:00:00|0.0.0.0|0.0.0.0|0.0.0.0|")
               .arg(QString(1, QChar()));
}

void TestReplyDecoder::replyLengths()
{
    QFETCH(QByteArray, reply);
    const auto device = decodeDiscoveryReply(reply);
    QVERIFY(device);
    QTEST(joined(*device), "fields");
    QVERIFY(device->extra.isEmpty());
}

void TestReplyDecoder::jsonReplies_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<QString>("fields");
    QTest::addColumn<QString>("extra"); // key=value, in order

    const auto row = [](const char *name, const QByteArray &reply, const char *fields,
                        const char *extra = "") {
        QTest::newRow(name) << reply << QString::fromUtf8(fields) << QString::fromUtf8(extra);
    };
    row("every field",
        R"(Quorvex MS2:{"CODE":"1900","ID":"M","FAMILY":"F","DEVICE":"D","BRAND":"DOSSIK",)"
        R"("SN":"S","FW":"W","MAC":"00:1A","IP":"10.0.0.1","NETMASK":"N","GATEWAY":"G","DHCP":"ON"})",
        "1900|M|F|D|DOSSIK|S|W|00:1A|10.0.0.1|N|G|ON");
    row("nothing is looked up", R"(Quorvex MS2:{"CODE":"2137"})", "2137|||||||||||");
    row("empty object", "Quorvex MS2:{}", "|||||||||||");
    row("other keys, and keys in another case",
        R"(Quorvex MS2:{"SLOT":"4","code":"1","CODE":"5100","Temp":"21"})", "5100|||||||||||",
        "SLOT=4 Temp=21 code=1");
    row("values that are no strings",
        R"(Quorvex MS2:{"SN":7,"FW":null,"ID":["a"],"DHCP":true,"SLOT":{"a":"b"}})", "|||||||||||", "SLOT=");
    row("the prefix again, anywhere", R"(Quorvex MS2:Quorvex MS2:{"SN":"aQuorvex MS2:b"Quorvex MS2:})",
        "|||||ab||||||");
    row("what follows a NUL", QByteArray("Quorvex MS2:{\"SN\":\"7\"}\0garbage", 31), "|||||7||||||");
    row("UTF-8", "Quorvex MS2:{\"SN\":\"K\xC3\xA4\"}", "|||||K\u00E4||||||");
    row("a byte that is not UTF-8", "Quorvex MS2:{\"SN\":\"K\xE4\"}", "|||||K\uFFFD||||||");
    row("the last of two equal keys", R"(Quorvex MS2:{"SN":"1","SN":"2"})", "|||||2||||||");
    const QByteArray fits = QByteArray(R"(Quorvex MS2:{"SN":"1")").leftJustified(2047, ' ') + '}';
    row("2048 bytes", fits, "|||||1||||||");
    row("what follows 2048 bytes", fits + "garbage", "|||||1||||||");
}

void TestReplyDecoder::jsonReplies()
{
    QFETCH(QByteArray, reply);
    const auto device = decodeDiscoveryReply(reply);
    QVERIFY(device);
    QTEST(joined(*device), "fields");
    QStringList extra;
    for (const QMap<QString, QString> &entry : device->extra) {
        QCOMPARE(entry.size(), 1);
        extra.append(entry.firstKey() + QLatin1Char('=') + entry.first());
    }
    QTEST(extra.join(QLatin1Char(' ')), "extra");
}

void TestReplyDecoder::malformedDatagramsGiveNoRecord_data()
{
    QTest::addColumn<QByteArray>("datagram");
    const QByteArray binary = binaryReply("1100");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("half a prefix") << QByteArray("Quorvex Dev");
    QTest::newRow("our own query") << QByteArray("Quorvex Dev?");
    QTest::newRow("prefix in another case") << QByteArray("quorvex Dev:") + binary.mid(12);
    QTest::newRow("NUL in the prefix") << QByteArray("Quorvex\0Dev:", 12) + binary.mid(12);
    QTest::newRow("prefix one byte late") << ' ' + binary;
    QTest::newRow("JSON without prefix") << QByteArray(R"({"SN":"1"})");
    QTest::newRow("JSON prefix alone") << QByteArray("Quorvex MS2:");
    QTest::newRow("JSON array") << QByteArray(R"(Quorvex MS2:[{"SN":"1"}])");
    QTest::newRow("JSON text") << QByteArray(R"(Quorvex MS2:"SN")");
    QTest::newRow("JSON cut off") << QByteArray(R"(Quorvex MS2:{"SN":"1")");
    QTest::newRow("JSON with a NUL inside") << QByteArray("Quorvex MS2:{\"SN\0\":\"1\"}", 24);
    QTest::newRow("JSON of more than 2048 bytes")
        << R"(Quorvex MS2:{"SN":")" + QByteArray(2048, '1') + R"("})";
    QTest::newRow("JSON too deep") << "Quorvex MS2:" + QByteArray(2030, '[');
    QTest::newRow("JSON objects too deep") << "Quorvex MS2:" + QByteArray(R"({"":)").repeated(400);
}

void TestReplyDecoder::malformedDatagramsGiveNoRecord()
{
    QFETCH(QByteArray, datagram);
    QVERIFY(!decodeDiscoveryReply(datagram));
}

void TestReplyDecoder::serialServerReplies_data()
{
    QTest::addColumn<QByteArray>("datagram");
    QTest::addColumn<QString>("sender");
    QTest::addColumn<QString>("fields"); // empty: no record
    const QByteArray head(24, '\x55');
    const QByteArray mac = QByteArray::fromHex("00204AAD6470");
    const QString expected = QStringLiteral("4100|||||||00:20:4A:AD:64:70|192.168.0.9|||");
    QTest::newRow("exactly long enough") << head + mac << "192.168.0.9" << expected;
    QTest::newRow("longer") << head + mac + QByteArray(90, '\x7F') << "192.168.0.9" << expected;
    QTest::newRow("sender in IPv6 dress") << head + mac << "::ffff:192.168.0.9" << expected;
    QTest::newRow("one byte short") << head + mac.left(5) << "192.168.0.9" << QString();
    QTest::newRow("our own query") << QByteArray::fromHex("000100F6") << "192.168.0.9" << QString();
    QTest::newRow("empty") << QByteArray() << "192.168.0.9" << QString();
}

void TestReplyDecoder::serialServerReplies()
{
    QFETCH(QByteArray, datagram);
    QFETCH(QString, sender);
    const auto device = decodeSerialServerReply(datagram, QHostAddress(sender));
    QTEST(device ? joined(*device) : QString(), "fields");
}

// Whatever arrives: no crash, no record without a reply's prefix, and each record well-formed.
void TestReplyDecoder::randomDatagrams()
{
    QRandomGenerator random(20240229);
    int records = 0;
    for (int i = 0; i < 100000; ++i) {
        QByteArray datagram(random.bounded(i % 100 == 0 ? 3000 : 300), Qt::Uninitialized);
        for (char &byte : datagram) {
            byte = static_cast<char>(random.bounded(256));
        }
        const int kind = i % 3;
        if (kind == 1) {
            datagram.prepend("Quorvex Dev:");
        } else if (kind == 2) {
            datagram.prepend("Quorvex MS2:{\"SN\":\"").append(i % 2 == 0 ? "\"}" : "");
        }
        const auto device = decodeDiscoveryReply(datagram);
        decodeSerialServerReply(datagram, QHostAddress(random.generate()));
        QVERIFY(kind != 0 || !device);
        if (kind != 1) {
            continue;
        }
        ++records;
        QVERIFY(device);
        QCOMPARE((*device)[Code].size(), 4);
        QCOMPARE((*device)[Mac].size(), 17);
        QCOMPARE((*device)[Mac], (*device)[Mac].toUpper());
        for (const DeviceField field : {Ip, Netmask, Gateway}) {
            QVERIFY(parseIpv4Address((*device)[field]));
        }
        QVERIFY(!(*device)[Sn].isEmpty());
    }
    QCOMPARE(records, 33333);
}

QTEST_APPLESS_MAIN(TestReplyDecoder)
#include "tst_replydecoder.moc"
