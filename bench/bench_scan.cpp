// Whole scans of the virtual lab: how many of a rack that answers at once are lost, and how long a
// scan takes against the 80 steps that it waits. Run it inside script/lab-net.

#include "client.h"
#include "labprocess.h"

#include <QCoreApplication>
#include <QElapsedTimer>

#include <benchmark/benchmark.h>

namespace {

QList<interfaces_t> bothInterfaces()
{
    const QString netmask = QStringLiteral("255.255.255.0");
    return {{QStringLiteral("wst0"), QStringLiteral("192.168.0.100"), netmask, true},
            {QStringLiteral("wst1"), QStringLiteral("10.20.30.100"), netmask, true}};
}

void scan(benchmark::State &state)
{
    const auto instruments = static_cast<int>(state.range(0));
    const auto scanTime = static_cast<int>(state.range(1));
    LabProcess lab;
    if (!lab.startCount(instruments)) {
        state.SkipWithError(qPrintable(QStringLiteral("run me inside script/lab-net. ") + lab.errorText()));
        return;
    }
    Client client;
    client.setScanTime(scanTime);
    qint64 lost = 0;
    qint64 elapsed = 0;
    while (state.KeepRunning()) {
        QElapsedTimer clock;
        clock.start();
        lost += instruments - client.scan(bothInterfaces()).size();
        elapsed += clock.elapsed();
        client.clearDevices();
    }
    constexpr int steps = 80;
    const int waited = steps * (scanTime / steps);
    state.counters["lost"] = static_cast<double>(lost);
    state.counters["took/waited"] =
        static_cast<double>(elapsed) / static_cast<double>(state.iterations() * waited);
}

// Figures of one run are as good as those of many: the scan waits most of the time.
BENCHMARK(scan)
    ->ArgNames({"instruments", "ms"})
    ->Args({100, 1000})
    ->Args({5000, 2000})
    ->Iterations(3)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
