#pragma once

#include "networkconfigurationfile.h"

#include <QString>

// What came of a file, in a sentence or two.
QString uploadSummary(const NetworkConfiguration &configuration);

// Which lines of an uploaded file reach no instrument and why, to be read by the user; empty when there
// is nothing to tell.
QString uploadDetails(const NetworkConfiguration &configuration);
