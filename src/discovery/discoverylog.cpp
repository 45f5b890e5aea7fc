#include "discoverylog.h"

Q_LOGGING_CATEGORY(discoveryLog, "devicemanager.discovery", QtInfoMsg)
