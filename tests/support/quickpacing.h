#pragma once

#include "pacing.h"

// An update in seconds: every wait of the real pace, shortened. Long enough for a loaded machine.
inline Pacing quickPacing()
{
    using std::chrono::milliseconds;
    Pacing pacing;
    pacing.menuConnect = milliseconds(3000);
    pacing.menuKey = milliseconds(1);
    pacing.menuSilence = milliseconds(200);
    pacing.menuStore = milliseconds(10);
    pacing.channelRestarts = 2;
    pacing.channelRestart = milliseconds(20);
    pacing.gpioConnect = milliseconds(3000);
    pacing.gpioAnswer = milliseconds(400);
    pacing.tunnelConnect = milliseconds(3000);
    pacing.tunnelSettle = milliseconds(50);
    pacing.written = milliseconds(3000);
    pacing.autobaud = milliseconds(400);
    pacing.bootFirstAnswer = milliseconds(100);
    pacing.bootAnswer = milliseconds(300);
    pacing.replyFirst = milliseconds(100);
    pacing.replyTenth = milliseconds(6);
    pacing.page = milliseconds(10);
    pacing.longestAnswer = std::chrono::minutes(5); // whoever counts on it hangs
    return pacing;
}
