#pragma once

#include <QByteArray>
#include <QPair>
#include <QVector>

// Intel HEX text, written apart from the reader that it tests.

// One record without its line end.
QByteArray hexRecord(quint16 offset, const QByteArray &data, quint8 type = 0);

// A whole file of blocks (address in 16-bit words, bytes), 32 bytes a line, as a DSP's linker writes
// it: each block behind a linear-address record where the upper half of the address changes.
QByteArray hexText(const QVector<QPair<quint32, QByteArray>> &blocks);
