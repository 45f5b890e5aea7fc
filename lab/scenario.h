#pragma once

#include "hostaddresses.h"
#include "instrumentspec.h"

#include <QByteArray>
#include <QSet>
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

// `count` instruments of mixed families without any fault, spread over the cables, at addresses that
// are not `taken`. Those that find no room in their cable's network have addresses from 10.64.0.0 on
// (10.65.0.0 on the second cable): the workstation cannot reach these, but it hears them.
QVector<InstrumentSpec> plainInstruments(int count, const QVector<Cable> &cables,
                                         const QSet<quint32> &taken = {});
