#include "firmwarelog.h"

Q_LOGGING_CATEGORY(firmwareLog, "devicemanager.firmware", QtInfoMsg)
