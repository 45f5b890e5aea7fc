// Filling the device table, dressed as in the program: the cost per row at growing sizes, which must
// stay about the same. Run it on the offscreen platform: QT_QPA_PLATFORM=offscreen.

#include "devicetable.h"
#include "textresource.h"

#include <QApplication>

#include <benchmark/benchmark.h>

namespace {

QList<Device_t> manyDevices(int count)
{
    QList<Device_t> devices;
    for (int i = 0; i < count; ++i) {
        Device_t device;
        device[Code] = i % 2 == 0 ? QStringLiteral("1100") : QStringLiteral("2100");
        device[Id] = QStringLiteral("ID-%1").arg(i);
        device[Family] = QStringLiteral("Group");
        device[Ip] = QStringLiteral("10.%1.%2.%3").arg(i / 65536).arg(i / 256 % 256).arg(i % 256);
        device[Fw] = QStringLiteral("1.2.03");
        devices.append(device);
    }
    return devices;
}

void fillDeviceTable(benchmark::State &state)
{
    const QList<Device_t> devices = manyDevices(static_cast<int>(state.range(0)));
    DeviceTable table;
    table.setColumnCount(6);
    table.prepareColumns();
    table.show();
    table.fill({devices.first()}); // the pictures are loaded once per run of the program
    while (state.KeepRunning()) {
        table.fill(devices);
    }
    state.counters["rows/s"] = benchmark::Counter(static_cast<double>(state.range(0)),
                                                  benchmark::Counter::kIsIterationInvariantRate);
    state.counters["time/row"] =
        benchmark::Counter(static_cast<double>(state.range(0)),
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

BENCHMARK(fillDeviceTable)->Arg(1000)->Arg(5000)->Arg(20000)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char *argv[])
{
    const QApplication application(argc, argv);
    qApp->setStyleSheet(textResource(QStringLiteral(":/files/resources/styleSheet.qss")));
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
