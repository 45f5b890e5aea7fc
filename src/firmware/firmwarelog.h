#pragma once

#include <QLoggingCategory>

// QT_LOGGING_RULES="devicemanager.firmware.debug=true" shows every byte that an update exchanges.
Q_DECLARE_LOGGING_CATEGORY(firmwareLog)
