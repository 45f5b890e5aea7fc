#include "parsehex.h"
#include "ratioreporter.h"

#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>
#include <cstdio>
#include <memory>

// The firmware reader against srec_cat, a converter that everyone trusts, on one file of 16 MiB in
// one run. Both begin with the file on the disk: ours ends with the blocks in memory, srec_cat with
// the binary image written away. The last line is how many times faster ours is.

namespace {

constexpr qint64 fileSize = qint64(16) * 1024 * 1024;

QByteArray record(quint8 type, quint32 offset, const QByteArray &data)
{
    QByteArray bytes;
    bytes.append(static_cast<char>(data.size()));
    bytes.append(static_cast<char>(offset >> 8 & 0xff));
    bytes.append(static_cast<char>(offset & 0xff));
    bytes.append(static_cast<char>(type));
    bytes.append(data);
    unsigned sum = 0;
    for (const char byte : qAsConst(bytes)) {
        sum += static_cast<unsigned char>(byte);
    }
    bytes.append(static_cast<char>(0x100 - (sum & 0xff)));
    return ':' + bytes.toHex().toUpper() + '\n';
}

// 16 bytes a line, as most linkers write it, with byte addresses so that srec_cat agrees.
bool makeFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        return false;
    }
    quint32 seed = 1;
    for (quint32 address = 0; file.pos() < fileSize; address += 16) {
        if (address % 0x10000 == 0) {
            const char upper[]{static_cast<char>(address >> 24), static_cast<char>(address >> 16)};
            file.write(record(4, 0, QByteArray(upper, 2)));
        }
        QByteArray data;
        while (data.size() < 16) {
            seed = seed * 1664525 + 1013904223;
            data.append(static_cast<char>(seed >> 24));
        }
        file.write(record(0, address & 0xffff, data));
    }
    return file.write(":00000001FF\n") > 0;
}

void readWithParseHex(benchmark::State &state, const QString &hexFile)
{
    while (state.KeepRunning()) {
        ParseHex reader;
        if (reader.readFile(hexFile) != ParseHex::accepted) {
            state.SkipWithError("the file does not read");
        }
        benchmark::DoNotOptimize(reader.blocks());
    }
    state.SetBytesProcessed(state.iterations() * fileSize);
}

void readWithSrecCat(benchmark::State &state, const QString &hexFile, const QString &binaryFile)
{
    const QStringList arguments{hexFile, QStringLiteral("-intel"), QStringLiteral("-o"), binaryFile,
                                QStringLiteral("-binary")};
    while (state.KeepRunning()) {
        if (QProcess::execute(QStringLiteral("srec_cat"), arguments) != 0) {
            state.SkipWithError("srec_cat failed");
        }
    }
    state.SetBytesProcessed(state.iterations() * fileSize);
}

} // namespace

int main(int argc, char **argv)
{
    const QTemporaryDir folder;
    const QString hexFile = folder.filePath(QStringLiteral("firmware.hex"));
    const QString binaryFile = folder.filePath(QStringLiteral("firmware.bin"));
    if (!makeFile(hexFile) || QStandardPaths::findExecutable(QStringLiteral("srec_cat")).isEmpty()) {
        std::fputs("needs a temporary folder and srec_cat (script/bootstrap)\n", stderr);
        return 1;
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RegisterBenchmark("ParseHex", readWithParseHex, hexFile)
        ->UseRealTime()
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("srec_cat", readWithSrecCat, hexFile, binaryFile)
        ->UseRealTime()
        ->Unit(benchmark::kMillisecond);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    if (const double times = reporter.timesFaster("ParseHex", "srec_cat")) {
        std::printf("ParseHex reads %.1f times as fast as srec_cat\n", times);
    }
    return 0;
}
