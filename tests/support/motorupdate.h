#pragma once

#include "firmwareupgrade.h"
#include "motorbench.h"
#include "pacing.h"

#include <QByteArray>
#include <QJsonObject>
#include <QObject>
#include <QPair>
#include <QStringList>
#include <QTemporaryDir>
#include <QVector>

#include <functional>

// What the firmware page would have seen of one run.
struct UpdateRecord
{
    QStringList log;
    QVector<int> bar;      // where the page's progress bar stood
    QStringList end;       // "completed" or "failed", and "more" for whatever came behind
    QString lastStoppable; // the last line of the log at which the run could be stopped
    bool wasStopped = false;
};

// A motor driver in the virtual lab and the worker that updates it.
class MotorUpdate : public QObject
{
    Q_OBJECT

public:
    static constexpr int runTimeoutMs = 600000;

    // `motor` is what the scenario says of the motor driver besides its being quick and asking few
    // questions; 0 channelPrompts are all that a real one asks.
    void startLab(const QJsonObject &motor = {});
    // As slow as the real one.
    void startRealLab();

    // A firmware file of this name with blocks by word address; its path.
    QString file(const char *name, const QVector<QPair<quint32, QByteArray>> &blocks);

    // Blocks that fill several pages and leave holes.
    static QVector<QPair<quint32, QByteArray>> program();

    // What the flash holds after these blocks were written into it erased.
    static QByteArray flashWith(const QVector<QPair<quint32, QByteArray>> &blocks);

    // The flash of a DSP, "communication" or "control", as the lab has it now.
    QByteArray dump(const QString &dsp) { return lab.dump(dsp); }

    // One run to its end, for an instrument of this code. The worker does `act` before its next step when it
    // logs a line that begins with `line`.
    UpdateRecord run(const QString &path, const Pacing &pacing, const QString &line = {},
                     const std::function<void(QThread *worker)> &act = {},
                     const QString &code = QStringLiteral("4100"));

    // The lab's `state` of the motor driver: "baudrate", "pins" ...
    QJsonObject state();

    // A line command through the tunnel; the answer, empty when there is none.
    QByteArray ask(const QByteArray &command);

    motorbench::MotorLab lab;

private:
    QTemporaryDir folder;
};

// The quick pace for the lab, whose module is still restarting when its pins are asked for, and refuses.
Pacing labPacing();
