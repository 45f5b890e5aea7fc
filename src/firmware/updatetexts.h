#pragma once

#include <QString>

// Log lines of more than one part of an update.
namespace updatetexts {

// Wherever a run ends because it was asked to.
inline QString timedOut()
{
    return QStringLiteral("ERROR: Update timed out!");
}

inline QString connectionFailed()
{
    return QStringLiteral("ERROR: Connection Failed!!");
}

inline QString eraseFailed()
{
    return QStringLiteral("ERROR: Flash Erase failed!");
}

inline QString writingFailed()
{
    return QStringLiteral("ERROR: writing failed!");
}

inline QString invalidFirmware()
{
    return QStringLiteral("ERROR: Please select a valid firmware!");
}

} // namespace updatetexts
