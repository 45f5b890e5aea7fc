#include "hextext.h"
#include "parsehex.h"

#include <QFile>
#include <QMap>
#include <QProcess>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

// The firmware reader against hand-made lines, and against files that srec_cat and objcopy write:
// what those tools read back from their own files is what the reader must see, apart from the
// places where it knowingly differs.
class TestParseHex : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();

    void lineIsJudged_data();
    void lineIsJudged();
    void upperAddressIsSignExtended_data();
    void upperAddressIsSignExtended();
    void upperAddressOutlivesTheFile();
    void lookingLeavesTheUpperAddressAlone();

    void fileIsJudged_data();
    void fileIsJudged();
    void droppedLinesAreCounted();
    void failedReadKeepsWhatCameBefore();
    void unreadablePathFails();
    void linesMaySpanThePiecesOfTheReader();

    void recordsBecomeBlocks_data();
    void recordsBecomeBlocks();

    void toolsFilesReadToTheToolsImage_data();
    void toolsFilesReadToTheToolsImage();

private:
    QString path(const char *name) const { return folder.filePath(QLatin1String(name)); }

    QTemporaryDir folder;
    QByteArray image;
};

namespace {

const QByteArray upperZero = ":020000040000FA\n";
const QByteArray endOfFile = ":00000001FF\n";

void write(const QString &path, const QByteArray &content)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(content), qint64(content.size()));
}

QByteArray read(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Runs a tool that script/bootstrap installs; these tests never skip for want of it.
void run(const char *tool, const QStringList &arguments)
{
    const QString program = QStandardPaths::findExecutable(QLatin1String(tool));
    QVERIFY2(!program.isEmpty(), tool);
    QProcess process;
    process.start(program, arguments);
    QVERIFY(process.waitForFinished());
    QVERIFY2(process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0,
             process.readAllStandardError().constData());
}

QStringList words(const char *arguments)
{
    return QString::fromLatin1(arguments).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

// The memory that blocks with byte addresses describe, from `start` on, holes filled with FF.
QByteArray memory(const ParseHex &reader, quint32 start, int size)
{
    QByteArray bytes(size, '\xff');
    const auto [addresses, data] = reader.blocks();
    for (int i = 0; i < addresses.size(); ++i) {
        const int at = static_cast<int>(addresses[i] - start);
        if (at < 0 || at + data[i].size() > size) {
            return QByteArray("block outside the image");
        }
        bytes.replace(at, data[i].size(), data[i]);
    }
    return bytes;
}

} // namespace

void TestParseHex::initTestCase()
{
    QVERIFY(folder.isValid());
    QRandomGenerator random(20240607);
    for (int i = 0; i < 70'001; ++i) { // more than one 64 KiB segment, and an odd end
        image.append(static_cast<char>(random.bounded(256)));
    }
    write(path("image.bin"), image);
}

void TestParseHex::init()
{
    ParseHex reader;
    QCOMPARE(reader.readData(upperZero), ParseHex::accepted);
}

void TestParseHex::lineIsJudged_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<unsigned>("result");
    QTest::addColumn<int>("records");
    QTest::newRow("data") << hexRecord(0x10, "ab") << 0u << 1;
    QTest::newRow("data in lower case") << hexRecord(0x10, "\xab\xcd").toLower() << 0u << 1;
    QTest::newRow("data of no bytes") << hexRecord(0x10, "") << 0u << 1;
    QTest::newRow("end of file") << hexRecord(0, "", 1) << 0u << 0;
    QTest::newRow("more bytes than the count") << QByteArray(":0100000041FFBF") << 0u << 1;
    QTest::newRow("wrong checksum") << QByteArray(":0100000041BF") << 2u << 0;
    QTest::newRow("empty") << QByteArray() << 1u << 0;
    QTest::newRow("nine characters") << QByteArray(":00000001") << 1u << 0;
    QTest::newRow("ten characters") << QByteArray(":00000001F") << 2u << 0;
    QTest::newRow("lone last digit is a byte") << hexRecord(0x10, "ab") + '0' << 0u << 1;
    QTest::newRow("lone last digit counts") << hexRecord(0x10, "ab") + '1' << 2u << 0;
    QTest::newRow("lone last character") << hexRecord(0x10, "ab") + ' ' << 1u << 0;
    QTest::newRow("no colon") << QByteArray("000000001FF") << 1u << 0;
    QTest::newRow("blank in front") << QByteArray(" :00000001FF") << 1u << 0;
    QTest::newRow("blank behind") << QByteArray(":00000001FF  ") << 1u << 0;
    QTest::newRow("not a digit") << QByteArray(":0000000G1FF") << 1u << 0;
    QTest::newRow("sign") << QByteArray(":000000+1FF") << 1u << 0;
    QTest::newRow("zero byte") << QByteArray(":00000001\0\0", 11) << 1u << 0;
    QTest::newRow("count beyond the line") << QByteArray(":FF0000000100") << 1u << 0;
    QTest::newRow("count takes the checksum for data") << QByteArray(":0200000041BD") << 1u << 0;
    QTest::newRow("linear address with an offset") << hexRecord(1, QByteArray(2, '\0'), 4) << 1u << 0;
    QTest::newRow("linear address of one byte") << hexRecord(0, QByteArray(1, '\0'), 4) << 1u << 0;
    QTest::newRow("segment address") << hexRecord(0, QByteArray(2, '\0'), 2) << 1u << 0;
    QTest::newRow("segment start") << hexRecord(0, QByteArray(4, '\0'), 3) << 1u << 0;
    QTest::newRow("linear start") << hexRecord(0, QByteArray(4, '\0'), 5) << 1u << 0;
    QTest::newRow("255 characters") << hexRecord(0, QByteArray(122, 'x')) << 0u << 1;
    QTest::newRow("256 characters and more") << hexRecord(0, QByteArray(123, 'x')) << 1u << 0;
}

void TestParseHex::lineIsJudged()
{
    QFETCH(QByteArray, line);
    ParseHex reader;
    QTEST(reader.parseLine(line.constData(), static_cast<unsigned>(line.size())), "result");
    QTEST(reader.records(), "records");
}

void TestParseHex::upperAddressIsSignExtended_data()
{
    QTest::addColumn<QByteArray>("upper");
    QTest::addColumn<quint32>("address");
    QTest::newRow("flash") << QByteArray("\x00\x3f", 2) << 0x003f1234u;
    QTest::newRow("largest plain low byte") << QByteArray("\x01\x7f", 2) << 0x017f1234u;
    QTest::newRow("low byte 80") << QByteArray("\x00\x80", 2) << 0xff801234u;
    QTest::newRow("low byte FF carries") << QByteArray("\x01\xff", 2) << 0x00ff1234u;
    QTest::newRow("high byte 80") << QByteArray("\x80\x01", 2) << 0x80011234u;
}

void TestParseHex::upperAddressIsSignExtended()
{
    QFETCH(QByteArray, upper);
    QFETCH(quint32, address);
    ParseHex reader;
    QCOMPARE(reader.readData(hexRecord(0, upper, 4) + '\n' + hexRecord(0x1234, "ab") + '\n'), 0u);
    QCOMPARE(reader.blocks().first, QVector<quint32>{address});
}

void TestParseHex::upperAddressOutlivesTheFile()
{
    ParseHex first;
    QCOMPARE(first.readData(hexRecord(0, QByteArray("\x00\x3e", 2), 4) + '\n'), 0u);
    ParseHex second;
    QCOMPARE(second.readData(hexRecord(0x8000, "ab") + '\n'), 0u);
    QCOMPARE(second.blocks().first, QVector<quint32>{0x3e8000});
}

void TestParseHex::lookingLeavesTheUpperAddressAlone()
{
    write(path("looked-at.hex"),
          hexRecord(0, QByteArray("\x00\x3f", 2), 4) + '\n' + hexRecord(0, "ab") + '\n');
    ParseHex looked;
    QCOMPARE(looked.readAside(path("looked-at.hex")), 0u);
    ParseHex reader;
    QCOMPARE(reader.readData(hexRecord(0x20, "ab") + '\n'), 0u);
    QCOMPARE(reader.blocks().first, QVector<quint32>{0x20});
    looked.passOn();
    QCOMPARE(reader.readData(hexRecord(0x20, "ab") + '\n'), 0u);
    QCOMPARE(reader.blocks().first, QVector<quint32>{0x3f0020});
}

void TestParseHex::fileIsJudged_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<unsigned>("result");
    QTest::addColumn<int>("records");
    const QByteArray one = hexRecord(0, "ab");
    const QByteArray two = hexRecord(1, "cd");
    const QByteArray longest = hexRecord(0, QByteArray(58, 'x')); // 127 characters
    QTest::newRow("empty") << QByteArray() << 0u << 0;
    QTest::newRow("LF") << one + '\n' + two + '\n' << 0u << 2;
    QTest::newRow("CR LF") << one + "\r\n" + two + "\r\n" << 0u << 2;
    QTest::newRow("CR alone is a character") << one + '\r' + two + '\n' << 1u << 0;
    QTest::newRow("two CRs leave one") << one + "\r\r\n" << 1u << 0;
    QTest::newRow("last line without an end") << one + '\n' + two << 0u << 1;
    QTest::newRow("last line is rubbish without an end") << one + "\nrubbish" << 0u << 1;
    QTest::newRow("empty line") << one + "\n\n" << 1u << 1;
    QTest::newRow("empty CR LF line") << one + "\r\n\r\n" << 1u << 1;
    QTest::newRow("goes on behind the end") << one + '\n' + endOfFile + two + '\n' << 0u << 2;
    QTest::newRow("127 characters, CR LF") << longest + "\r\n" << 0u << 1;
    QTest::newRow("128 characters") << longest + "0\n" << 0u << 1;
    QTest::newRow("128 characters, CR LF") << longest + "0\r\n" << 0u << 1;
    QTest::newRow("128 characters without an end") << one + '\n' + QByteArray(128, 'x') << 0u << 1;
    QTest::newRow("128 characters and CR at the end") << QByteArray(128, 'x') + '\r' << 1u << 0;
    QTest::newRow("129 characters") << hexRecord(0, QByteArray(59, 'x')) + '\n' << 1u << 0;
    QTest::newRow("129 characters, CR LF") << hexRecord(0, QByteArray(59, 'x')) + "\r\n" << 1u << 0;
    QTest::newRow("no line at all") << QByteArray(300'000, 'x') << 1u << 0;
    QTest::newRow("129 characters without an end") << one + '\n' + QByteArray(129, 'x') << 1u << 1;
}

void TestParseHex::fileIsJudged()
{
    QFETCH(QByteArray, content);
    write(path("judged.hex"), content);
    ParseHex reader;
    QTEST(reader.readFile(path("judged.hex")), "result");
    QTEST(reader.records(), "records");
}

void TestParseHex::droppedLinesAreCounted()
{
    QByteArray damaged = hexRecord(1, "cd");
    damaged[9] = damaged[9] == '0' ? '1' : '0';
    ParseHex reader;
    const QByteArray content = hexRecord(0, "ab") + '\n' + damaged + '\n' + hexRecord(2, "ef") + '\n';
    QCOMPARE(reader.readData(content), 0u);
    QCOMPARE(reader.droppedLines(), 1);
    QCOMPARE(reader.blocks().first, (QVector<quint32>{0, 2}));
    QCOMPARE(reader.readData(endOfFile), 0u);
    QCOMPARE(reader.droppedLines(), 0);
}

void TestParseHex::failedReadKeepsWhatCameBefore()
{
    ParseHex reader;
    QCOMPARE(reader.readData(hexRecord(7, "ab") + "\nbroken\n" + hexRecord(8, "cd") + '\n'), 1u);
    QCOMPARE(reader.blocks().first, QVector<quint32>{7});
    QCOMPARE(reader.blocks().second, QVector<QByteArray>{"ab"});
}

void TestParseHex::unreadablePathFails()
{
    ParseHex reader;
    QCOMPARE(reader.readData(hexRecord(7, "ab") + '\n'), 0u);
    QCOMPARE(reader.readFile(path("there is no such file")), 1u);
    QCOMPARE(reader.records(), 0);
    QVERIFY(reader.blocks().first.isEmpty());
    QCOMPARE(reader.readFile(folder.path()), 1u);
}

// The reader takes 64 KiB at a time; every way of cutting a line (and its CR LF) must come up.
void TestParseHex::linesMaySpanThePiecesOfTheReader()
{
    QByteArray content;
    QByteArray expected;
    for (int i = 0; content.size() < 600'000; ++i) {
        const QByteArray data = QByteArray::number(i).rightJustified(6, '0').repeated(1 + i % 9);
        content += hexRecord(static_cast<quint16>(2 * i), data) + (i % 3 == 0 ? "\n" : "\r\n");
        expected += data;
    }
    write(path("long.hex"), content);
    ParseHex reader;
    QCOMPARE(reader.readFile(path("long.hex")), 0u);
    QByteArray all;
    const QVector<QByteArray> blocks = reader.blocks().second;
    for (const QByteArray &block : blocks) {
        all += block;
    }
    QVERIFY(all == expected);
}

void TestParseHex::recordsBecomeBlocks_data()
{
    using Numbers = QVector<quint32>;
    using Bytes = QVector<QByteArray>;
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<Numbers>("addresses");
    QTest::addColumn<Bytes>("data");
    const QByteArray a(16, 'a');
    const QByteArray b(16, 'b');
    const QByteArray c(8, 'c');
    const auto lines = [](const QVector<QPair<int, QByteArray>> &records) {
        QByteArray content;
        for (const auto &[offset, data] : records) {
            content += hexRecord(static_cast<quint16>(offset), data) + '\n';
        }
        return content;
    };
    QTest::newRow("none") << QByteArray() << Numbers{} << Bytes{};
    QTest::newRow("one") << lines({{4, a}}) << Numbers{4} << Bytes{a};
    QTest::newRow("words follow on") << lines({{0, a}, {8, b}}) << Numbers{0} << Bytes{a + b};
    QTest::newRow("bytes do not") << lines({{0, a}, {16, b}}) << Numbers{0, 16} << Bytes{a, b};
    QTest::newRow("back again") << lines({{8, a}, {0, b}}) << Numbers{8, 0} << Bytes{a, b};
    QTest::newRow("same address") << lines({{0, a}, {0, b}, {8, c}}) << Numbers{0} << Bytes{a + c};
    QTest::newRow("follows the dropped record")
        << lines({{0, a}, {0, c}, {4, b}}) << Numbers{0} << Bytes{a + b};
    QTest::newRow("odd sizes are halved") << lines({{0, "abc"}, {1, b}}) << Numbers{0} << Bytes{"abc" + b};
}

void TestParseHex::recordsBecomeBlocks()
{
    QFETCH(QByteArray, content);
    ParseHex reader;
    QCOMPARE(reader.readData(content), 0u);
    const auto blocks = reader.blocks();
    QTEST(blocks.first, "addresses");
    QTEST(blocks.second, "data");
}

void TestParseHex::toolsFilesReadToTheToolsImage_data()
{
    QTest::addColumn<QString>("tool");
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("start");
    QTest::addColumn<int>("size");
    const auto srecCat = [](const char *name, int start, int size, const char *options) {
        QTest::newRow(name) << QStringLiteral("srec_cat") << words(options) << start << size;
    };
    const int all = 70'001;
    srecCat("srec_cat, 16 bytes a line", 0x3e8000, all, "-obs=16");
    srecCat("srec_cat, 21 bytes a line, CR LF", 0x3effff, all, "-obs=21 -line-termination=crlf");
    srecCat("srec_cat, 58 bytes a line, CR LF", 0x7e0000, all, "-obs=58 -line-termination=crlf");
    srecCat("srec_cat, no type 04", 0x1234, 50'000, "-obs=16 -address-length=2");
    QTest::newRow("objcopy") << QStringLiteral("objcopy") << QStringList() << 0x3e8000 << all;
    QTest::newRow("objcopy, no type 04") << QStringLiteral("objcopy") << QStringList() << 0 << 50'000;
}

void TestParseHex::toolsFilesReadToTheToolsImage()
{
    QFETCH(QString, tool);
    QFETCH(QStringList, arguments);
    QFETCH(int, start);
    QFETCH(int, size);
    const QString hex = path("tool.hex");
    const QString back = path("back.bin");
    write(path("part.bin"), image.left(size));
    if (tool == QLatin1String("objcopy")) {
        run("objcopy", words("-I binary -O ihex --change-section-address") +
                           QStringList{QStringLiteral(".data=%1").arg(start), path("part.bin"), hex});
        run("objcopy", words("-I ihex -O binary") + QStringList{hex, back});
        QVERIFY(read(hex).contains("\r\n"));
    } else {
        run("srec_cat",
            QStringList{path("part.bin")} + words("-binary -offset") +
                QStringList{QString::number(start), QStringLiteral("-o"), hex, QStringLiteral("-intel")} +
                arguments);
        run("srec_cat",
            QStringList{hex} + words("-intel -offset") +
                QStringList{QString::number(-start), QStringLiteral("-o"), back, QStringLiteral("-binary")});
    }
    ParseHex reader;
    QCOMPARE(reader.readFile(hex), 0u);
    QCOMPARE(reader.droppedLines(), 0);
    const QByteArray expected = read(back);
    QCOMPARE(expected.size(), size);
    QVERIFY(memory(reader, static_cast<quint32>(start), size) == expected);
}

QTEST_GUILESS_MAIN(TestParseHex)
#include "tst_parsehex.moc"
