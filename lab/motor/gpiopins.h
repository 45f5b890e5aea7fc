#pragma once

#include <QByteArray>

// The module's three configurable pins as its control port shows them. Pure, owned by MotorDriver.
// A command is nine bytes: command, mask and value, both 32 bits with the low byte first; bit 0 is
// CP1. The answer is the command and the value of all pins after it, whatever the mask:
//   10 get functions   11 get directions (1: output)   12 get active levels (1: active low)
//   13 get states (1: active)   19 set directions   1A set active levels   1B set states
// Any other command is answered with the single byte FF. An input is pulled high; an output that was
// never set is inactive. What is set here lasts until the module restarts.
class GpioPins
{
public:
    static constexpr int commandBytes = 9;

    // `command` has commandBytes.
    QByteArray obey(const QByteArray &command);

    // Which pins are high, bit 0 is CP1.
    int levels() const;

    void restart() { *this = {}; }

private:
    int m_outputs = 0;
    int m_activeLow = 0;
    int m_active = 0; // of those that are outputs
};
