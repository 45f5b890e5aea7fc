#pragma once

#include "labprocess.h"

#include <QByteArray>
#include <QJsonObject>
#include <QString>

// Short hands for tests that give firmware to an instrument of the lab.
namespace updateroom {

constexpr int sectorSize = 64 * 1024;

// Of the instrument that is updated.
QString address();
QString mac();

constexpr const char *powerSupply =
    R"({"kind":"powerSupply","code":"1100","firmware":"2.1.09","module":"QPS"})";
constexpr const char *picoammeter = R"({"kind":"beamline","code":"2100","firmware":"1203","module":"QB4A"})";

// An instrument at that address, with its "update" key. A pause of a second ends its images, so
// that a sender who is held up does not, and it restarts fast.
QJsonObject instrument(const QByteArray &json, const QByteArray &update = "{}");

// The lab with only this instrument. The test fails when it does not start.
void startLab(LabProcess &lab, const QByteArray &json, const QByteArray &update = "{}");

// Firmware that begins with all that could be taken for a command.
QByteArray firmware(int size);

// The same in a file. The test fails when it cannot be written.
QByteArray firmwareFile(const QString &path, int size);

// What is stored in an instrument, through the lab's "dumpImage". The test fails when there is nothing.
QByteArray imageIn(LabProcess &lab, const QString &of = mac());

// True when the first "imageStored" and a dump tell of exactly this image.
bool storedIs(LabProcess &lab, const QByteArray &image);

} // namespace updateroom
