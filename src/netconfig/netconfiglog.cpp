#include "netconfiglog.h"

Q_LOGGING_CATEGORY(netconfigLog, "devicemanager.netconfig", QtInfoMsg)
