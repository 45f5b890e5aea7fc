#pragma once

#include <QLoggingCategory>

// "devicemanager.discovery": what crosses the wire during a scan, at debug level and off by default.
// QT_LOGGING_RULES="devicemanager.discovery.debug=true" shows it.
Q_DECLARE_LOGGING_CATEGORY(discoveryLog)
