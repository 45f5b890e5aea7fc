#include "dsppair.h"

#include <QSignalSpy>
#include <QTest>

// The virtual motor driver from the serial line down: pins, boot ROM, flash program and flash.
class TestDspFlash : public QObject
{
    Q_OBJECT

private slots:
    void eraseKeepsToItsSectors_data();
    void eraseKeepsToItsSectors();
    void pinsDecideWhenResetEnds_data();
    void pinsDecideWhenResetEnds();
    void normalModeAnswersLinesAtItsOwnSpeed();
    void bootRomWaitsForItsLetter_data();
    void bootRomWaitsForItsLetter();
    void imageDecidesWhetherAFlashProgramRuns_data();
    void imageDecidesWhetherAFlashProgramRuns();
    void pageLandsWordForWord();
    void pageOverOldWordsIsRefusedAndSpoilt();
    void malformedPacketsAreReportedAndLeaveTheFlash_data();
    void malformedPacketsAreReportedAndLeaveTheFlash();
    void bytesDuringWorkAreLost();
    void resetDuringAnEraseLeavesItHalfDone();
};

namespace {

constexpr int allHigh = DspPair::cp1 | DspPair::cp2 | DspPair::cp3;
constexpr int programCommunication = DspPair::cp1 | DspPair::cp3;
constexpr int programControl = DspPair::cp2 | DspPair::cp3;
const QByteArray image = ":0400000001020304F2\r\n:00000001FF\r\n";

DspPairSpec fastSpec()
{
    DspPairSpec spec;
    for (DspSpec *dsp : {&spec.communication, &spec.control}) {
        dsp->kernel.eraseMs = 0;
        dsp->kernel.pageWriteMs = 0;
    }
    return spec;
}

// A pair with everything it said and did.
struct Bench
{
    DspPair dsps;
    QSignalSpy said{&dsps, &DspPair::sends};
    QSignalSpy happened{&dsps, &DspPair::happened};

    explicit Bench(const DspPairSpec &spec) : dsps(spec) {}

    QByteArray takeSaid()
    {
        QByteArray all;
        while (!said.isEmpty()) {
            all += said.takeFirst().at(0).toByteArray();
        }
        return all;
    }

    // Sent at 38400 baud; what came back.
    QByteArray exchange(const QByteArray &bytes)
    {
        dsps.receive(bytes, 38400);
        return takeSaid();
    }

    void startFlashProgram()
    {
        dsps.setPins(0);
        dsps.setPins(programCommunication);
        QCOMPARE(exchange("a" + image), "a" + image.left(image.size() - 2));
        happened.clear();
    }

    QJsonObject last(const char *event) const
    {
        for (int i = happened.size() - 1; i >= 0; --i) {
            if (happened.at(i).at(0).toString() == QLatin1String(event)) {
                return happened.at(i).at(1).toJsonObject();
            }
        }
        return {};
    }
};

QByteArray packet(const char *hex)
{
    return QByteArray::fromHex(hex);
}

QByteArray wordAt(const DspFlash &flash, quint32 address)
{
    return flash.dump().mid(2 * int(address - DspFlash::begin), 2).toHex();
}

const QByteArray eraseAll = packet("0C 0E 0E 01 0B 0E");
const QByteArray endOfPage = packet("0C 0E 0B 00 0E");

} // namespace

void TestDspFlash::eraseKeepsToItsSectors_data()
{
    QTest::addColumn<QByteArray>("sectors");
    QTest::addColumn<quint32>("first");
    QTest::addColumn<quint32>("last");
    QTest::newRow("D") << QByteArray("D") << 0x3E8000U << 0x3EBFFFU;
    QTest::newRow("C") << QByteArray("C") << 0x3EC000U << 0x3EFFFFU;
    QTest::newRow("B") << QByteArray("B") << 0x3F0000U << 0x3F3FFFU;
    QTest::newRow("A and what follows") << QByteArray("A") << 0x3F4000U << 0x3F8FFFU;
}

void TestDspFlash::eraseKeepsToItsSectors()
{
    QFETCH(QByteArray, sectors);
    QFETCH(quint32, first);
    QFETCH(quint32, last);
    const QByteArray before = DspFlash().dump();
    DspFlash flash;
    flash.erase(sectors);
    const int begin = 2 * int(first - DspFlash::begin);
    const int length = 2 * int(last - first + 1);
    QByteArray expected = before;
    expected.replace(begin, length, QByteArray(length, '\xFF'));
    QVERIFY(expected != before);
    QCOMPARE(flash.dump(), expected);
}

void TestDspFlash::pinsDecideWhenResetEnds_data()
{
    QTest::addColumn<int>("pins");
    QTest::addColumn<QString>("communication");
    QTest::addColumn<QString>("control");
    const auto row = [](const char *name, int pins, const char *communication, const char *control) {
        QTest::newRow(name) << pins << QString::fromLatin1(communication) << QString::fromLatin1(control);
    };
    row("all high", allHigh, "normal", "normal");
    row("CP2 low", programCommunication, "programming", "reset");
    row("CP1 low", programControl, "reset", "programming");
    row("CP3 stays low", DspPair::cp1 | DspPair::cp2, "reset", "reset");
    row("CP1 and CP2 low", DspPair::cp3, "reset", "reset");
}

void TestDspFlash::pinsDecideWhenResetEnds()
{
    QFETCH(int, pins);
    Bench bench(fastSpec());
    const auto isState = [&bench](const Dsp &dsp, const QString &state) {
        return dsp.state().value(QStringLiteral("state")).toString() == state;
    };
    bench.dsps.setPins(programControl); // without a reset nothing starts anew
    QVERIFY(isState(bench.dsps.control(), QStringLiteral("normal")));
    QCOMPARE(bench.dsps.state(), QStringLiteral("normal"));
    bench.dsps.setPins(0);
    QVERIFY(isState(bench.dsps.communication(), QStringLiteral("reset")));
    bench.dsps.setPins(pins);
    QTEST(bench.dsps.communication().state().value(QStringLiteral("state")).toString(), "communication");
    QTEST(bench.dsps.control().state().value(QStringLiteral("state")).toString(), "control");
}

void TestDspFlash::normalModeAnswersLinesAtItsOwnSpeed()
{
    Bench bench(fastSpec());
    bench.dsps.receive("MVER\r\nMRG:2", 921600);
    QCOMPARE(bench.takeSaid(), QByteArray("#MVER:ROVAN-MOTOR:x:1.07\r\n"));
    bench.dsps.receive("2\r\nMRG:23\r\n", 921600);
    QCOMPARE(bench.takeSaid(), QByteArray("21Y08W0131\r\n#NAK\r\n"));
    QCOMPARE(bench.exchange("MVER\r\n"), QByteArray());
    QCOMPARE(bench.last("serialGarbled").value(QStringLiteral("baudrate")).toInt(), 38400);
    bench.dsps.setPins(0);
    bench.dsps.receive("MVER\r\n", 921600);
    QCOMPARE(bench.takeSaid(), QByteArray());
}

void TestDspFlash::bootRomWaitsForItsLetter_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("baudrate");
    QTest::addColumn<QByteArray>("echo");
    QTest::newRow("a") << QByteArray("a") << 38400 << QByteArray("a");
    QTest::newRow("A after others") << QByteArray("xyA") << 38400 << QByteArray("A");
    QTest::newRow("another letter") << QByteArray("b") << 38400 << QByteArray();
    QTest::newRow("too fast") << QByteArray("a") << 921600 << QByteArray();
}

void TestDspFlash::bootRomWaitsForItsLetter()
{
    QFETCH(QByteArray, bytes);
    QFETCH(int, baudrate);
    Bench bench(fastSpec());
    bench.dsps.setPins(0);
    bench.dsps.setPins(programControl);
    bench.dsps.receive(bytes, baudrate);
    QTEST(bench.takeSaid(), "echo");
}

void TestDspFlash::imageDecidesWhetherAFlashProgramRuns_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<bool>("requireCode");
    QTest::addColumn<bool>("running");
    const QByteArray empty = ":00000001FF\n";
    QTest::newRow("with code") << image << true << true;
    QTest::newRow("no line end") << QByteArray(":0400000001020304F2\n:00000001FF") << true << true;
    QTest::newRow("without code") << empty << true << false;
    QTest::newRow("without code, none asked for") << empty << false << true;
    QTest::newRow("wrong checksum") << QByteArray(":0400000001020304F3\n:00000001FF\n") << false << false;
    QTest::newRow("no hex") << QByteArray("hello\n") << false << false;
    QTest::newRow("not yet whole") << QByteArray(":0400000001020304F2\n:000000") << true << false;
}

void TestDspFlash::imageDecidesWhetherAFlashProgramRuns()
{
    QFETCH(QByteArray, text);
    QFETCH(bool, requireCode);
    QFETCH(bool, running);
    DspPairSpec spec = fastSpec();
    spec.communication.requireBootloaderCode = requireCode;
    Bench bench(spec);
    const QByteArray before = bench.dsps.communication().flash().dump();
    bench.dsps.setPins(0);
    bench.dsps.setPins(programCommunication);
    bench.exchange("a" + text);
    QCOMPARE(bench.exchange(eraseAll).contains("ACK\n"), running);
    QCOMPARE(bench.dsps.communication().flash().dump() != before, running);
}

void TestDspFlash::pageLandsWordForWord()
{
    Bench bench(fastSpec());
    bench.startFlashProgram();
    QCOMPARE(bench.exchange(eraseAll), QByteArray("ACK\n"));
    QVERIFY(bench.dsps.communication().flash().isBlank());
    QByteArray bytes; // a page and its packets, each data byte different from its neighbours
    QByteArray packets = packet("0C 0E 0A 04 00 3F 7F 00 0E");
    for (int i = 0; i < 512; ++i) {
        packets += i % 32 == 0 ? packet("0C 0E 0C 20") : QByteArray();
        bytes += char(i * 7 + i / 256);
        packets += bytes.back();
        packets += i % 32 == 31 ? packet("0E") : QByteArray();
    }
    packets += endOfPage;
    QByteArray answer; // one byte at a time, as a slow line may bring it
    for (const char byte : packets) {
        answer += bench.exchange(QByteArray(1, byte));
    }
    QCOMPARE(answer, QByteArray("ACK\n"));
    QByteArray expected(2 * int(DspFlash::end - DspFlash::begin), '\xFF');
    expected.replace(2 * (0x3F7F00 - 0x3E8000), 512, bytes);
    QCOMPARE(bench.dsps.communication().flash().dump(), expected);
    QCOMPARE(bench.dsps.control().flash().dump(), DspFlash().dump());
    const QJsonObject page = bench.last("pageWritten");
    QCOMPARE(page.value(QStringLiteral("dsp")).toString(), QStringLiteral("communication"));
    QCOMPARE(page.value(QStringLiteral("address")).toString(), QStringLiteral("3F7F00"));
    QCOMPARE(page.value(QStringLiteral("words")).toInt(), 256);

    // The same words compare equal, others do not; comparing writes nothing.
    packets.replace(endOfPage, packet("0C 0E 0D 00 0E"));
    QCOMPARE(bench.exchange(packets), QByteArray("ACK\n"));
    packets[20] = char(packets.at(20) ^ 1);
    QCOMPARE(bench.exchange(packets), QByteArray("NAK\n"));
    QCOMPARE(bench.dsps.communication().flash().dump(), expected);
}

void TestDspFlash::pageOverOldWordsIsRefusedAndSpoilt()
{
    Bench bench(fastSpec());
    bench.startFlashProgram();
    const QByteArray old = wordAt(bench.dsps.communication().flash(), 0x3E8000);
    QCOMPARE(old, QByteArray("daa5"));
    QCOMPARE(bench.exchange(packet("0C0E0A04003E80000E 0C0E0C0212340E") + endOfPage), QByteArray("NAK\n"));
    QCOMPARE(wordAt(bench.dsps.communication().flash(), 0x3E8000), QByteArray("1224"));
    QCOMPARE(bench.last("pageWritten").value(QStringLiteral("notErased")).toInt(), 1);
}

void TestDspFlash::malformedPacketsAreReportedAndLeaveTheFlash_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("erase of something else") << packet("0C0E0E01FF0E");
    QTest::newRow("no end") << packet("0C0E0E010B0D");
    QTest::newRow("unknown command") << packet("0C0E10000E");
    QTest::newRow("too much data") << packet("0C0E0A04003E80000E 0C0E0C21");
    QTest::newRow("data without an address") << packet("0C0E0C0212340E") + endOfPage;
    QTest::newRow("below the flash") << packet("0C0E0A04003E7FFF0E 0C0E0C0212340E") + endOfPage;
    QTest::newRow("above the flash") << packet("0C0E0A04003F90000E 0C0E0C0212340E") + endOfPage;
    QTest::newRow("page without data") << packet("0C0E0A04003E80000E") + endOfPage;
    QTest::newRow("no header") << QByteArray("MVER\r\n");
}

void TestDspFlash::malformedPacketsAreReportedAndLeaveTheFlash()
{
    QFETCH(QByteArray, bytes);
    Bench bench(fastSpec());
    bench.startFlashProgram();
    const QByteArray before = bench.dsps.communication().flash().dump();
    QVERIFY(!bench.exchange(bytes).contains("ACK"));
    QCOMPARE(bench.dsps.communication().flash().dump(), before);
    QVERIFY(bench.last("packetRejected").contains(QStringLiteral("reason")) ||
            bench.last("eraseRefused").contains(QStringLiteral("argument")));
    // And the next good packet is understood, whatever was left over.
    QVERIFY(bench.exchange(eraseAll + eraseAll).endsWith("ACK\n"));
}

void TestDspFlash::bytesDuringWorkAreLost()
{
    DspPairSpec spec = fastSpec();
    spec.communication.kernel.pageWriteMs = 50;
    Bench bench(spec);
    bench.startFlashProgram();
    bench.exchange(eraseAll);
    bench.exchange(packet("0C0E0A04003E80000E 0C0E0C0212340E") + endOfPage);
    bench.exchange(packet("0C0E0A04003E81000E"));
    QTRY_VERIFY(!bench.said.isEmpty());
    QCOMPARE(bench.takeSaid(), QByteArray("ACK\n"));
    QCOMPARE(bench.last("bytesLost").value(QStringLiteral("count")).toInt(), 9);
    QCOMPARE(bench.exchange(packet("0C0E0C0256780E")), QByteArray("NAK\n")); // that address never came
    QCOMPARE(wordAt(bench.dsps.communication().flash(), 0x3E8000), QByteArray("1234"));
    QCOMPARE(wordAt(bench.dsps.communication().flash(), 0x3E8100), QByteArray("ffff"));
}

void TestDspFlash::resetDuringAnEraseLeavesItHalfDone()
{
    DspPairSpec spec = fastSpec();
    spec.communication.kernel.eraseMs = 10;
    spec.communication.kernel.erasedSectors = "A";
    Bench bench(spec);
    bench.startFlashProgram();
    bench.exchange(eraseAll);
    bench.dsps.setPins(0);
    bench.dsps.setPins(allHigh);
    QCOMPARE(bench.takeSaid(), QByteArray());
    QCOMPARE(wordAt(bench.dsps.communication().flash(), 0x3F4000), QByteArray("0000"));
    QCOMPARE(wordAt(bench.dsps.communication().flash(), 0x3E8000), QByteArray("daa5"));
}

QTEST_GUILESS_MAIN(TestDspFlash)
#include "tst_dspflash.moc"
