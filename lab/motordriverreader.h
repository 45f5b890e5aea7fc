#pragma once

#include "motordriver.h"

class JsonReader;

// Reads the "motor" object of a scenario's motor driver. docs/virtual-lab.md lists its keys.
MotorDriverSpec readMotorDriverSpec(JsonReader &reader);
