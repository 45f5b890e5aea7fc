#pragma once

#include "clientport.h"

#include <QByteArray>
#include <QObject>

// The module's three configurable pins and their control port, TCP 30704; MotorDriver owns it.
// A command is nine bytes, in any number of segments: command, mask and value, both 32 bits with the low
// byte first; bit 0 is CP1. The answer is the command and the value of all pins after it, whatever the mask:
//   10 get functions   11 get directions (1: output)   12 get active levels (1: active low)
//   13 get states (1: active)   19 set directions   1A set active levels   1B set states
// Any other command is answered with the single byte FF. An input is pulled high; an output that was
// never set is inactive. What is set here lasts until the module restarts.
//
// Event "gpioCommand" with bytes and answer.
class GpioPort : public QObject
{
    Q_OBJECT

public:
    // `wrongAnswerAt`: which command of a connection, from 1 on, is not obeyed and answered wrong; 0: none.
    GpioPort(int wrongAnswerAt, const EventLog &log);

    bool open(quint32 address) { return m_port.open(address, 30704); }
    void restart(); // drops the client, and forgets

    // Which pins are high, bit 0 is CP1.
    int levels() const;

signals:
    void changed(); // the pins may have

private:
    struct Pins
    {
        int outputs = 0;
        int activeLow = 0;
        int active = 0; // of those that are outputs
    };

    void receive(const QByteArray &bytes);
    QByteArray obey(const QByteArray &command);

    EventLog m_log;
    ClientPort m_port;
    int m_wrongAnswerAt;
    Pins m_pins;
    QByteArray m_received; // of a command that is not whole
    int m_commands = 0;    // of this client
};
