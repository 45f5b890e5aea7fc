#pragma once

#include <QLoggingCategory>

// "devicemanager.netconfig": the settings that are sent, at debug level and off by default.
// QT_LOGGING_RULES="devicemanager.netconfig.debug=true" shows them.
Q_DECLARE_LOGGING_CATEGORY(netconfigLog)
