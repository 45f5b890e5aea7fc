#include "firmwarelog.h"

Q_LOGGING_CATEGORY(lcFirmware, "devicemanager.firmware", QtInfoMsg)
