#pragma once

#include <QString>

// The instrument catalogue: product code to family, group, picture and description. It is the
// built-in file ":/files/resources/devices.xml"; the first call reads it into an index, which never
// changes afterwards, so every function here may be called from any thread.
//
// Codes are compared exactly: "1f80" is not "1F80".
namespace devicecatalogue {

// The children of a `device` element, in the file's order.
enum Entry { IdEntry, FamilyEntry, GroupEntry, ImageEntry, DescEntry };

constexpr int entryCount = 5;

// The text of child `index` (0 to 4) of the entry whose `id` is `code`; empty when there is none.
QString lookup(const QString &code, int index);

QString id(const QString &code);
QString family(const QString &code);
QString group(const QString &code);
QString image(const QString &code);
QString desc(const QString &code);

// True when the code is in the catalogue.
bool contains(const QString &code);

// Family tests: is this code's family that of 1100, 2100, 3100? An unknown code is none of them.
bool isPowerSupply(const QString &code);
bool isBeamline(const QString &code);
bool isCurrentTransducer(const QString &code);

// Code tests.
bool isSerialServer(const QString &code); // a serial server or the motor driver behind one: 4100, 4200
bool is4100(const QString &code);         // a bare XPort module
bool is1F80(const QString &code);         // a power supply in recovery mode
bool is1400(const QString &code);
bool is2180(const QString &code); // a beamline instrument in recovery mode
bool is1600(const QString &code); // a power supply that answers like a beamline instrument
bool is6100(const QString &code);
bool is1900(const QString &code); // sold under several brands

// Resource path of the picture: the catalogue's, or for code 1900 that of one of the four brands.
QString deviceIconPath(const QString &code, const QString &brand);

} // namespace devicecatalogue
