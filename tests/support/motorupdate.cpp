#include "motorupdate.h"

#include "hextext.h"
#include "labroom.h"
#include "quickpacing.h"

#include <QEventLoop>
#include <QFile>
#include <QRandomGenerator>
#include <QTimer>

namespace {

constexpr quint32 flashBegin = 0x3e8000;

// The rule of the page's progress bar.
int barAfter(int bar, int value)
{
    static const QVector<int> positions{0, 50, 70, 80, 95, 100};
    return positions.contains(value) ? value : (bar + value) % 101;
}

} // namespace

Pacing labPacing()
{
    Pacing pacing = quickPacing();
    pacing.gpioConnect = std::chrono::seconds(20);
    return pacing;
}

void MotorUpdate::startLab(const QJsonObject &motor)
{
    QJsonObject quick = labroom::object(R"({"eraseMs":600,"pageWriteMs":0,"storeMs":0,"pacedLine":false,
                                            "requireBootloaderCode":false})");
    for (auto key = motor.constBegin(); key != motor.constEnd(); ++key) {
        quick.insert(key.key(), *key);
    }
    // A menu of a few questions, where the test does not care.
    QJsonObject faults = quick.value(QStringLiteral("faults")).toObject();
    if (!faults.contains(QStringLiteral("channelPrompts"))) {
        faults.insert(QStringLiteral("channelPrompts"), 4);
    }
    quick.insert(QStringLiteral("faults"), faults);
    labroom::play(lab, {motorbench::driver(quick, 500)});
}

void MotorUpdate::startRealLab()
{
    labroom::play(lab, {motorbench::driver(labroom::object(R"({"requireBootloaderCode":false})"), 2000)});
}

QString MotorUpdate::file(const char *name, const QVector<QPair<quint32, QByteArray>> &blocks)
{
    QString path = folder.filePath(QLatin1String(name));
    QFile file(path);
    file.open(QIODevice::WriteOnly);
    file.write(hexText(blocks));
    return path;
}

QVector<QPair<quint32, QByteArray>> MotorUpdate::program()
{
    QRandomGenerator random(4100);
    QByteArray bytes;
    for (int i = 0; i < 2400; ++i) {
        bytes.append(static_cast<char>(random.bounded(256)));
    }
    return {{0x3e8000, bytes.left(1200)}, {0x3f0000, bytes.mid(1200, 600)}, {0x3f7f00, bytes.right(600)}};
}

QByteArray MotorUpdate::flashWith(const QVector<QPair<quint32, QByteArray>> &blocks)
{
    QByteArray flash(motorbench::flashBytes, '\xff');
    for (const auto &[address, data] : blocks) {
        flash.replace(2 * static_cast<int>(address - flashBegin), data.size(), data);
    }
    return flash;
}

QJsonObject MotorUpdate::state()
{
    const int before = lab.events(QStringLiteral("state")).size();
    lab.order("state");
    lab.waitForEvent(QStringLiteral("state"), before + 1);
    return lab.events(QStringLiteral("state")).last().value(QStringLiteral("motor")).toObject();
}

QByteArray MotorUpdate::ask(const QByteArray &line)
{
    return motorbench::Client(motorbench::tunnelPort).exchange(line + "\r\n", "\n");
}

UpdateRecord MotorUpdate::run(const QString &path, const Pacing &pacing, const QString &line,
                              const std::function<void(QThread *worker)> &act, const QString &code)
{
    Device_t device;
    device[DeviceField::Code] = code;
    device[DeviceField::Ip] = QLatin1String(motorbench::address);
    firmwareUpgrade worker(path, 1, {true}, {device}, QString(), nullptr, pacing);

    UpdateRecord record;
    QEventLoop loop;
    const auto notAfterItsEnd = [&record] {
        record.end += record.end.isEmpty() ? QStringList() : QStringList{QStringLiteral("more")};
    };
    connect(&worker, &firmwareUpgrade::signalPrintMessage, &loop, [&](const QString &message) {
        notAfterItsEnd();
        record.log << message;
    });
    connect(
        &worker, &firmwareUpgrade::signalPrintMessage, &worker,
        [&](const QString &message) {
            if (worker.canBeStopped()) {
                record.lastStoppable = message;
            }
            if (!line.isEmpty() && message.startsWith(line)) {
                act(&worker);
            }
        },
        Qt::DirectConnection);
    connect(&worker, &firmwareUpgrade::signalProgressBarUpdate, &loop, [&](int value) {
        notAfterItsEnd();
        record.bar << barAfter(record.bar.isEmpty() ? 0 : record.bar.last(), value);
    });
    connect(&worker, &firmwareUpgrade::signalErrorDetected, &loop,
            [&record] { record.end << QStringLiteral("failed"); });
    connect(&worker, &firmwareUpgrade::signalProcedureCompleted, &loop,
            [&record] { record.end << QStringLiteral("completed"); });
    connect(&worker, &QThread::finished, &loop, &QEventLoop::quit);
    QTimer::singleShot(runTimeoutMs, &loop, &QEventLoop::quit);

    worker.start();
    loop.exec();
    record.wasStopped = worker.wasStopped();
    return record;
}
