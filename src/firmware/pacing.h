#pragma once

#include <chrono>

// The waits that a motor driver's module and DSPs impose on an update, and the bounds of everything
// that may never come. The defaults are what the hardware needs; a test passes shorter ones.
struct Pacing
{
    using milliseconds = std::chrono::milliseconds;

    // Setup menu of the module, TCP 9999.
    milliseconds menuConnect{4000};
    milliseconds menuKey{100};      // before each line that is typed
    milliseconds menuSilence{1000}; // an answer is over after this much silence
    milliseconds menuStore{1000};   // the module stores its settings

    // The serial line starts again with its new speed: so many times so long.
    int channelRestarts = 10;
    milliseconds channelRestart{1000};
    milliseconds channelEvents{100}; // for pending events, each time

    // GPIO port, TCP 30704.
    milliseconds gpioConnect{5000};
    std::chrono::microseconds gpioStep{100}; // before each command
    milliseconds gpioAnswer{1000};

    // Serial tunnel, TCP 10001.
    milliseconds tunnelConnect{5000};
    milliseconds tunnelSettle{1000}; // after connecting
    milliseconds written{30000};     // for bytes to leave this computer

    // Boot loader of a DSP in programming mode.
    milliseconds autobaud{3000};
    milliseconds bootFirstAnswer{1000};
    milliseconds bootAnswer{5000}; // the loader has no more to say after this much silence

    // Flash programming.
    milliseconds replyFirst{1000}; // the first wait of a reply, whose outcome does not count
    milliseconds replyTenth{100};  // unit of the waits that follow
    milliseconds page{1000};       // the flash writes a page

    // Instruments that take their firmware on their own port.
    milliseconds versionConnect{500};
    milliseconds versionAnswer{2000};    // from the query to the end of the answer
    milliseconds commandAnswer{5000};    // to a command that changes nothing
    milliseconds eraseAnswer{10000};     // for one sector, or for the memory to take the image
    milliseconds sendingGrace{60000};    // for the sending of an image, besides its bytes' share
    int slowestBytesPerSecond = 1024;    // over a whole image; a serial line of 38400 baud takes 3840
    milliseconds imageAnswer{30000};     // silence behind the image
    milliseconds longestVerdict{600000}; // however much is said meanwhile

    // No device talks for so long without a pause; whoever does is not listened to any longer.
    milliseconds longestAnswer{60000};
};
