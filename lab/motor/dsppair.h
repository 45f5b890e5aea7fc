#pragma once

#include "dsp.h"

#include <QObject>

// The motor driver behind its module: two DSPs on one serial line and three pins. CP3 low holds both
// in reset. What they do when it rises follows from the other two at that moment: both high, both run
// and the Communication DSP has the line; CP2 low, the Communication DSP starts for programming;
// CP1 low, the Control DSP does; both low, neither gets anywhere. The DSP that is programmed has the
// line, the other one stays in reset.
//
// Events: "pins" with cp1, cp2, cp3 and state; "serialGarbled" with count and baudrate, bytes at a
// speed that whoever has the line does not understand; and those of Dsp.
class DspPair : public QObject
{
    Q_OBJECT

public:
    static constexpr int cp1 = 1;
    static constexpr int cp2 = 2;
    static constexpr int cp3 = 4;

    // Both are of this kind.
    DspPair(const DspSpec &spec, const EventLog &log);

    // `levels` is a sum of cp1 to cp3, those that are high. All are, to begin with.
    void setPins(int levels);

    void receive(const QByteArray &bytes, int baudrate);

    // The speed at which the one who has the line speaks; 0: none speaks.
    int baudrate() const { return m_onLine->baudrate(); }

    const Dsp &communication() const { return m_communication; }
    const Dsp &control() const { return m_control; }
    QString state() const;

signals:
    void sends(const QByteArray &bytes); // at baudrate()

private:
    void release();

    EventLog m_log;
    Dsp m_communication;
    Dsp m_control;
    Dsp *m_onLine = &m_communication;
    int m_pins = cp1 | cp2 | cp3;
    int m_started = cp1 | cp2 | cp3; // the pins when CP3 rose; without CP3 while it is low
};
