#include "motorupdate.h"

#include "hextext.h"
#include "labroom.h"
#include "quickpacing.h"

#include <QEventLoop>
#include <QFile>
#include <QRandomGenerator>
#include <QTcpSocket>
#include <QTest>
#include <QTimer>

namespace {

const char mac[] = "00:20:4A:AD:64:70";
constexpr quint32 flashBegin = 0x3e8000;
constexpr int flashBytes = 2 * 0x11000;
constexpr int patienceMs = 10000;

QJsonObject command(const char *name)
{
    return {{QStringLiteral("command"), QLatin1String(name)}, {QStringLiteral("mac"), QLatin1String(mac)}};
}

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
    pacing.channelRestarts = 10;
    pacing.channelRestart = std::chrono::milliseconds(50);
    return pacing;
}

QString MotorUpdate::address()
{
    return QStringLiteral("192.168.0.60");
}

bool MotorUpdate::startLab(const QJsonObject &motor)
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
    return start(quick, 100);
}

bool MotorUpdate::startRealLab()
{
    return start(labroom::object(R"({"requireBootloaderCode":false})"), 2000);
}

bool MotorUpdate::start(const QJsonObject &motor, int restartMs)
{
    QJsonObject instrument = labroom::module(mac, address().toLatin1().constData());
    instrument.insert(QStringLiteral("kind"), QStringLiteral("motorDriver"));
    instrument.insert(QStringLiteral("restartMs"), restartMs);
    instrument.insert(QStringLiteral("motor"), motor);
    return lab.start(labroom::scenarioOf({instrument}));
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
    QByteArray flash(flashBytes, '\xff');
    for (const auto &[address, data] : blocks) {
        flash.replace(2 * static_cast<int>(address - flashBegin), data.size(), data);
    }
    return flash;
}

QByteArray MotorUpdate::dump(const QString &dsp)
{
    const QString path = folder.filePath(QStringLiteral("flash-%1").arg(++dumps));
    QJsonObject request = command("dumpFlash");
    request.insert(QStringLiteral("dsp"), dsp);
    request.insert(QStringLiteral("path"), path);
    const int before = lab.events(QStringLiteral("flashDumped")).size();
    lab.command(request);
    QByteArray flash;
    if (lab.waitForEvent(QStringLiteral("flashDumped"), before + 1)) {
        QFile file(path);
        file.open(QIODevice::ReadOnly);
        flash = file.readAll();
    }
    // Two dumps that failed are equal, and would pass for a flash that nobody touched.
    [&flash] { QCOMPARE(flash.size(), flashBytes); }();
    return flash;
}

QJsonObject MotorUpdate::state()
{
    const int before = lab.events(QStringLiteral("state")).size();
    lab.command(command("state"));
    lab.waitForEvent(QStringLiteral("state"), before + 1);
    return lab.events(QStringLiteral("state")).last().value(QStringLiteral("motor")).toObject();
}

QByteArray MotorUpdate::ask(const QByteArray &line)
{
    QTcpSocket socket;
    socket.connectToHost(address(), 10001);
    if (!socket.waitForConnected(patienceMs)) {
        return QByteArray();
    }
    socket.write(line + "\r\n");
    QByteArray answer;
    while (!answer.endsWith('\n') && socket.waitForReadyRead(patienceMs)) {
        answer += socket.readAll();
    }
    return answer;
}

UpdateRecord MotorUpdate::run(const QString &path, const Pacing &pacing, const QString &code,
                              const QString &interruptAt)
{
    Device_t device;
    device[DeviceField::Code] = code;
    device[DeviceField::Ip] = address();
    firmwareUpgrade worker(path, 1, {true}, {device}, QString(), nullptr, pacing);

    UpdateRecord record;
    QEventLoop loop;
    connect(&worker, &firmwareUpgrade::signalPrintMessage, &loop, [&](const QString &message) {
        record.log << message;
        record.last = QStringLiteral("message");
        if (!interruptAt.isEmpty() && message.startsWith(interruptAt)) {
            worker.requestInterruption();
        }
    });
    connect(&worker, &firmwareUpgrade::signalProgressBarUpdate, &loop, [&record](int value) {
        record.progress << value;
        record.bar << barAfter(record.bar.isEmpty() ? 0 : record.bar.last(), value);
        record.last = QStringLiteral("progress");
    });
    connect(&worker, &firmwareUpgrade::signalRemoveSelectedDevice, &loop,
            [&record](int index) { record.removed << index; });
    connect(&worker, &firmwareUpgrade::signalErrorDetected, &loop, [&record] {
        ++record.failed;
        record.last = QStringLiteral("failed");
    });
    connect(&worker, &firmwareUpgrade::signalProcedureCompleted, &loop, [&record] {
        ++record.completed;
        record.last = QStringLiteral("completed");
    });
    connect(&worker, &QThread::finished, &loop, &QEventLoop::quit);
    QTimer::singleShot(runTimeoutMs, &loop, &QEventLoop::quit);

    QElapsedTimer clock;
    clock.start();
    worker.start();
    loop.exec();
    record.milliseconds = clock.elapsed();
    return record;
}
