#pragma once

#include "networkconfigurationfile.h"

#include <QString>

// Which lines of an uploaded file reach no instrument and why, to be read by the user; empty when there
// is nothing to tell.
QString uploadDetails(const NetworkConfiguration &configuration);
