#include "imagerun.h"

#include "labprocess.h"
#include "labroom.h"
#include "quickpacing.h"
#include "updateroom.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>

namespace {

constexpr int runTimeoutMs = 60000;
constexpr int lookMs = 10;

Pacing imagePacing()
{
    Pacing pacing = quickPacing();
    pacing.commandAnswer = std::chrono::milliseconds(1500);
    pacing.eraseAnswer = std::chrono::milliseconds(1500);
    pacing.imageAnswer = std::chrono::milliseconds(2500);
    return pacing;
}

} // namespace

namespace imagerun {

Run run(const Order &order)
{
    Run seen;
    QElapsedTimer clock;
    clock.start();
    firmwareUpgrade worker(order.path, order.rows < 0 ? order.devices.size() : order.rows, order.selected,
                           order.devices, order.manualIp, nullptr, imagePacing());
    // A queued call from the worker to the loop is an order of events that the thread sanitizer sees.
    QEventLoop loop;
    QObject::connect(&worker, &firmwareUpgrade::signalPrintMessage, &loop,
                     [&](const QString &line, bool) { seen.log.append(line); });
    // On the worker's own thread, so that the request comes before its next step.
    QObject::connect(
        &worker, &firmwareUpgrade::signalPrintMessage, &worker,
        [&](const QString &line, bool) {
            if (worker.canBeStopped()) {
                seen.lastStoppable = line;
            }
            if (!order.stopAt.isEmpty() && line.startsWith(order.stopAt)) {
                worker.requestInterruption();
            }
        },
        Qt::DirectConnection);
    QTimer look;
    QObject::connect(&look, &QTimer::timeout, &loop, [&] {
        if (order.stopWhen()) {
            look.stop();
            worker.requestInterruption();
            seen.stopRequested = true;
        }
    });
    if (order.stopWhen) {
        look.start(lookMs);
    }
    QObject::connect(&worker, &firmwareUpgrade::signalProgressBarUpdate, &loop, [&](int value) {
        seen.progress.append(value);
        seen.progressMs.append(clock.elapsed());
    });
    QObject::connect(&worker, &firmwareUpgrade::signalRemoveSelectedDevice, &loop,
                     [&](int index) { seen.removed.append(index); });
    QObject::connect(&worker, &firmwareUpgrade::signalProcedureCompleted, &loop, [&] { ++seen.completed; });
    QObject::connect(&worker, &firmwareUpgrade::signalErrorDetected, &loop, [&] { ++seen.failed; });
    QObject::connect(&worker, &QThread::finished, &loop, [&] {
        seen.ended = true;
        loop.quit();
    });
    QTimer::singleShot(runTimeoutMs, &loop, &QEventLoop::quit);
    worker.start();
    loop.exec();
    seen.wasStopped = worker.wasStopped();
    return seen;
}

Device_t device(const QString &code)
{
    Device_t record;
    record[Code] = code;
    record[Ip] = updateroom::address();
    return record;
}

QStringList linesOf(const LabProcess &lab)
{
    QStringList lines;
    for (const QJsonObject &event : lab.events(QStringLiteral("lineReceived"))) {
        lines.append(labroom::field(event, "line"));
    }
    return lines;
}

} // namespace imagerun
