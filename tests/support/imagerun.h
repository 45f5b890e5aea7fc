#pragma once

#include "firmwareupgrade.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <QVector>

#include <functional>

class LabProcess;

// The worker's runs with instruments of the lab that take an image, as the firmware page would see them.
namespace imagerun {

struct Run
{
    QStringList log;
    QVector<int> progress;
    QVector<qint64> progressMs; // when, counted from the start
    QVector<int> removed;
    int completed = 0;
    int failed = 0;
    bool ended = false;
    bool stopRequested = false; // by stopWhen, while it ran
    QString lastStoppable;      // the last line of the log at which the run could be stopped
    bool wasStopped = false;
};

struct Order
{
    QList<bool> selected;
    QList<Device_t> devices;
    QString path;
    QString manualIp = {};
    QString stopAt = {};                 // the thread is asked to stop at the log line that begins so
    int rows = -1;                       // of the table; as many as there are devices
    std::function<bool()> stopWhen = {}; // or as soon as this is true
};

// One run to its end.
Run run(const Order &order);

// A device of the instrument room's address.
Device_t device(const QString &code);

// The commands that instruments of the lab have received.
QStringList linesOf(const LabProcess &lab);

} // namespace imagerun
