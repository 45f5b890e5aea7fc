#pragma once

#include "windowfixture.h"

// For tests that name the window within the room.
class FirmwareRoom : public WindowFixture
{
public:
    static QJsonObject instrument(const char *kind, const char *code, int number)
    {
        return labInstrument(kind, code, number);
    }

    WindowFixture &window = *this;
};
