#pragma once

#include "instrumentspec.h"

// What an instrument says of its firmware, whatever its kind.

// "QPS1100-10-100", as its discovery reply has it.
QString moduleName(const InstrumentTexts &texts);

// As its discovery reply carries it: "2.1.04", or the four characters "1203".
QString firmwareOf(const InstrumentTexts &texts);

// As an engineer reads it: "2.1.04", "1.2.03".
QString firmwareVersion(const InstrumentTexts &texts);

// The same instrument with other firmware, in the form of firmwareOf().
InstrumentTexts withFirmware(InstrumentTexts texts, const QString &firmware);

// The version that follows: the number at the end counted up, at the same width.
QString nextFirmware(const QString &firmware);

// True when a discovery reply has room for that firmware text.
bool fitsFirmware(const NetworkIdentity &identity, const InstrumentTexts &texts, const QString &firmware);
