#pragma once

#include "cable.h"
#include "instrumentspec.h"

#include <QByteArray>
#include <QString>
#include <QVector>

// A room full of instruments, as a scenario file describes it:
//   { "title": "...", "seed": 1, "instruments": [ {...}, ... ] }
// docs/virtual-lab.md lists the keys of an instrument. "count" in one multiplies it, with MAC and
// address counted up.
struct Scenario
{
    QVector<InstrumentSpec> instruments;
    QString error; // the first thing wrong with the file; empty when it can be played
};

Scenario readScenario(const QByteArray &json, const QVector<Cable> &cables);
