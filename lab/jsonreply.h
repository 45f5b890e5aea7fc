#pragma once

#include "networkidentity.h"

#include <QByteArray>
#include <QJsonObject>

// What newer instruments, and power supplies in recovery mode, answer to "Quorvex Dev?": the twelve
// characters "Quorvex MS2:" and one JSON object. The instrument tells its own group and description
// ("FAMILY", "DEVICE"); here they are the catalogue's unless the scenario gives others.
struct JsonTexts
{
    // More keys, or other values for those that every instrument has; null takes a key away.
    QJsonObject keys;
};

QByteArray encodeReply(const NetworkIdentity &identity, const JsonTexts &texts);
