#include "hextext.h"
#include "parsehex.h"

#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

// The firmware reader against hand-made lines, and against files that srec_cat and objcopy write of a known
// image.
class TestParseHex : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void fileIsJudged_data();
    void fileIsJudged();
    void longLinesAreUnderstood();
    void upperAddressOutlivesTheFile();
    void unreadablePathFails();
    void linesMaySpanThePiecesOfTheReader();
    void toolsFilesReadToTheToolsImage_data();
    void toolsFilesReadToTheToolsImage();

private:
    QString write(const char *name, const QByteArray &content);

    QTemporaryDir folder;
};

namespace {

QByteArray upper(const char *digits)
{
    return hexRecord(0, QByteArray::fromHex(digits), 4) + '\n';
}

QByteArray lines(const QVector<QPair<int, QByteArray>> &records)
{
    QByteArray content;
    for (const auto &[offset, data] : records) {
        content += hexRecord(static_cast<quint16>(offset), data) + '\n';
    }
    return content;
}

// "3f0020=ab 8=...": each block's address and what goes there, by its size where it is long.
QString blocksOf(const ParseHex &reader)
{
    QStringList texts;
    const auto [addresses, data] = reader.blocks();
    for (int i = 0; i < addresses.size(); ++i) {
        const QByteArray bytes = data[i].size() > 8 ? QByteArray::number(data[i].size()) : data[i];
        texts << QString::number(addresses[i], 16) + QLatin1Char('=') + QString::fromLatin1(bytes);
    }
    return texts.join(QLatin1Char(' '));
}

} // namespace

QString TestParseHex::write(const char *name, const QByteArray &content)
{
    const QString path = folder.filePath(QLatin1String(name));
    QFile file(path);
    [&] { QVERIFY(file.open(QIODevice::WriteOnly) && file.write(content) == content.size()); }();
    return path;
}

void TestParseHex::initTestCase()
{
    ParseHex first; // of the whole program
    QCOMPARE(first.readData(hexRecord(0, "ab") + '\n'), ParseHex::accepted);
    QCOMPARE(blocksOf(first), QStringLiteral("0=ab"));
}

void TestParseHex::init()
{
    QCOMPARE(ParseHex().readData(upper("0000")), ParseHex::accepted);
}

void TestParseHex::fileIsJudged_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<unsigned>("result");
    QTest::addColumn<QString>("blocks");
    QTest::addColumn<int>("records");
    QTest::addColumn<int>("dropped");
    const auto file = [](const char *name, const QByteArray &content, unsigned result, const char *blocks,
                         int records = 0, int dropped = 0) {
        QTest::newRow(name) << content << result << QString::fromLatin1(blocks) << records << dropped;
    };
    const auto bad = [&file](const char *name, const QByteArray &line) { file(name, line + '\n', 1, ""); };
    const QByteArray one = hexRecord(0, "ab");
    const QByteArray two = hexRecord(1, "cd");
    const QByteArray damaged = ":0100000041BF\n";
    const QByteArray longest = hexRecord(0, QByteArray(58, 'x')); // 127 characters

    file("data in lower case", hexRecord(0x10, "jk").toLower() + '\n', 0, "10=jk", 1);
    file("data of no bytes", hexRecord(0x10, "") + '\n', 0, "10=", 1);
    file("more bytes than the count", ":0100000041FFBF\n", 0, "0=A", 1);
    file("lone last digit is a byte", one + "0\n", 0, "0=ab", 1);
    file("lone last digit counts", one + "1\n", 0, "", 0, 1);
    file("wrong checksum", one + '\n' + damaged + hexRecord(2, "ef") + '\n', 0, "0=ab 2=ef", 2, 1);
    file("ten characters", ":00000001F\n", 0, "", 0, 1);
    bad("nine characters", ":00000001");
    bad("no colon", "000000001FF");
    bad("not a digit", ":0000000G1FF");
    bad("behind the letters", ":000000g001FF");
    bad("before the letters", ":000000@001FF");
    bad("count takes the checksum for data", ":0200000041BD");
    bad("linear address with an offset", hexRecord(1, QByteArray(2, '\0'), 4));
    bad("linear address of one byte", hexRecord(0, QByteArray(1, '\0'), 4));
    bad("other type", hexRecord(0, QByteArray(2, '\0'), 2));

    file("flash", upper("003F") + hexRecord(0x1234, "ab") + '\n', 0, "3f1234=ab", 1);
    file("largest plain low byte", upper("017F") + one + '\n', 0, "17f0000=ab", 1);
    file("low byte 80 sets all above it", upper("0080") + one + '\n', 0, "ff800000=ab", 1);
    file("low byte FF carries", upper("01FF") + one + '\n', 0, "ff0000=ab", 1);

    file("empty", "", 0, "");
    file("CR LF", one + "\r\n" + two + "\r\n", 0, "0=abcd", 2);
    file("two CRs leave one", one + "\r\r\n", 1, "");
    file("last line without an end", one + '\n' + two, 0, "0=ab", 1);
    file("empty line", one + "\n\n", 1, "0=ab", 1);
    file("what came before a bad line is kept", one + "\nbroken\n" + two + '\n', 1, "0=ab", 1);
    file("goes on behind the end", one + "\n:00000001FF\n" + two + '\n', 0, "0=abcd", 2);
    file("128 characters", longest + "0\n", 0, "0=58", 1);
    file("128 characters, CR LF", longest + "0\r\n", 0, "0=58", 1);
    const QByteArray head =
        (hexRecord(0, "") + '\n').repeated(5448) + hexRecord(0, QByteArray(9, 'x')) + "\r\n";
    file("128 characters and CR before the cut", head + longest + "0\r\n", 0, "0=", 5450);
    file("128 characters without an end", one + '\n' + QByteArray(128, 'x'), 0, "0=ab", 1);
    file("128 characters and CR at the end", QByteArray(128, 'x') + '\r', 1, "");
    file("129 characters", hexRecord(0, QByteArray(59, 'x')) + '\n', 1, "");
    file("129 characters without an end", one + '\n' + QByteArray(129, 'x'), 1, "0=ab", 1);
    file("no line at all", QByteArray(300'000, 'x'), 1, "");

    file("bytes do not follow on", lines({{0, "abcd"}, {4, "ef"}}), 0, "0=abcd 4=ef", 2);
    file("back again", lines({{8, "ab"}, {0, "cd"}}), 0, "8=ab 0=cd", 2);
    file("same address", lines({{0, "ab"}, {0, "cd"}, {1, "ef"}}), 0, "0=abef", 3);
    file("follows the dropped record", lines({{0, "ab"}, {0, "cdef"}, {2, "gh"}}), 0, "0=abgh", 3);
    file("odd sizes are halved", lines({{0, "abc"}, {1, "de"}}), 0, "0=abcde", 2);
    file("behind an empty record of its address", lines({{0, ""}, {0, "ab"}}), 0, "0=", 2);
}

void TestParseHex::fileIsJudged()
{
    QFETCH(QByteArray, content);
    ParseHex reader;
    QCOMPARE(reader.readData(lines({{7, "xy"}}) + ":0100000041BF\n"), 0u); // nothing of this is left
    QTEST(reader.readFile(write("judged.hex", content)), "result");
    QTEST(blocksOf(reader), "blocks");
    QTEST(reader.records(), "records");
    QTEST(reader.droppedLines(), "dropped");
    qint64 size = 0;
    for (const QByteArray &block : reader.blocks().second) {
        size += block.size();
    }
    QCOMPARE(reader.dataBytes(), size);
}

// Longer than a file may have them.
void TestParseHex::longLinesAreUnderstood()
{
    for (const int size : {122, 123}) { // 255 and 257 characters
        const QByteArray line = hexRecord(0, QByteArray(size, 'x'));
        QCOMPARE(ParseHex().parseLine(line.constData(), static_cast<unsigned>(line.size())), size - 122u);
    }
}

// To look at a file leaves it as it was.
void TestParseHex::upperAddressOutlivesTheFile()
{
    ParseHex looked;
    QCOMPARE(looked.readAside(write("looked-at.hex", upper("003F") + hexRecord(0, "ab") + '\n')), 0u);
    ParseHex reader;
    QCOMPARE(reader.readData(hexRecord(0x20, "ab") + '\n'), 0u);
    QCOMPARE(blocksOf(reader), QStringLiteral("20=ab"));
    looked.passOn();
    QCOMPARE(reader.readData(hexRecord(0x20, "ab") + '\n'), 0u);
    QCOMPARE(blocksOf(reader), QStringLiteral("3f0020=ab"));
}

void TestParseHex::unreadablePathFails()
{
    ParseHex reader;
    QCOMPARE(reader.readData(hexRecord(7, "ab") + '\n'), 0u);
    QCOMPARE(reader.readFile(folder.filePath(QStringLiteral("there is no such file"))), 1u);
    QVERIFY(reader.records() == 0 && reader.blocks().first.isEmpty());
    QCOMPARE(reader.readFile(folder.path()), 1u);
}

// The reader takes 64 KiB at a time; the cut falls on every place of a line and its end, and
// once before the last byte.
void TestParseHex::linesMaySpanThePiecesOfTheReader()
{
    const QByteArray line = hexRecord(0x4000, QByteArray(8, 'x')) + "\r\n";
    for (int more = 0; more < 2 * line.size() - 1; ++more) {
        QByteArray content = hexRecord(0, QByteArray(1 + more, 'a')) + "\r\n";
        content += line.repeated(0x10000 / line.size() - 1) + hexRecord(0x8000, "end") + "\n";
        ParseHex reader;
        QCOMPARE(reader.readData(content), 0u);
        QCOMPARE(reader.records(), content.count('\n'));
        QVERIFY(blocksOf(reader).endsWith(QLatin1String(" 4000=xxxxxxxx 8000=end")));
    }
}

void TestParseHex::toolsFilesReadToTheToolsImage_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<quint32>("start");
    QTest::addColumn<int>("size");
    const auto row = [](const char *command, quint32 start, int size) {
        QTest::newRow(command) << QString::fromLatin1(command) << start << size;
    };
    const int all = 70'001; // more than one 64 KiB segment, and an odd end
    row("srec_cat %1 -binary -offset 0x3effff -o %2 -intel -obs=21 -line-termination=crlf", 0x3effff, all);
    row("srec_cat %1 -binary -offset 0x7e0000 -o %2 -intel -obs=58", 0x7e0000, all);
    row("srec_cat %1 -binary -offset 0x1234 -o %2 -intel -obs=16 -address-length=2", 0x1234, 50'000);
    row("objcopy -I binary -O ihex --change-section-address .data=0x3e8000 %1 %2", 0x3e8000, all);
}

// They count addresses in bytes. Both tools are there wherever this is built.
void TestParseHex::toolsFilesReadToTheToolsImage()
{
    QFETCH(QString, command);
    QFETCH(quint32, start);
    QFETCH(int, size);
    QRandomGenerator random(20240607);
    QByteArray image;
    while (image.size() < size) {
        image.append(static_cast<char>(random.bounded(256)));
    }
    const QString hex = folder.filePath(QStringLiteral("tool.hex"));
    QStringList arguments = command.arg(write("image.bin", image), hex).split(QLatin1Char(' '));
    QCOMPARE(QProcess::execute(arguments.takeFirst(), arguments), 0);
    ParseHex reader;
    QCOMPARE(reader.readFile(hex), 0u);
    QCOMPARE(reader.droppedLines(), 0);
    QByteArray memory(size, '\xff');
    const auto [addresses, data] = reader.blocks();
    for (int i = 0; i < addresses.size(); ++i) {
        memory.replace(static_cast<int>(addresses[i] - start), data[i].size(), data[i]);
    }
    QVERIFY(memory == image);
}

QTEST_GUILESS_MAIN(TestParseHex)
#include "tst_parsehex.moc"
