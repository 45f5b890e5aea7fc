#pragma once

#include "cable.h"
#include "instrumentspec.h"

#include <QSet>
#include <QVector>

// `count` instruments of mixed families without any fault, spread over the cables, at addresses that
// are not `taken`. Those that find no room in their cable's network have addresses from 10.64.0.0 on
// (10.65.0.0 on the second cable): the workstation cannot reach these, but it hears them.
QVector<InstrumentSpec> plainInstruments(int count, const QVector<Cable> &cables,
                                         const QSet<quint32> &taken = {});
