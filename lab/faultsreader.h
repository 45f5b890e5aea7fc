#pragma once

#include "faults.h"

#include <QString>

class JsonReader;

// Reads a scenario's "faults" object of an instrument of this kind.
Faults readFaults(JsonReader &reader, const QString &kind);
