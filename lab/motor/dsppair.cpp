#include "dsppair.h"

DspPair::DspPair(const DspSpec &spec, const EventLog &log)
    : m_log(log),
      m_communication(QStringLiteral("communication"), spec, log),
      m_control(QStringLiteral("control"), spec, log)
{
    for (Dsp *dsp : {&m_communication, &m_control}) {
        connect(dsp, &Dsp::sends, this, &DspPair::sends);
    }
}

void DspPair::setPins(int levels)
{
    if (levels == m_pins) {
        return;
    }
    const bool wasReset = (m_pins & cp3) == 0;
    const bool isReset = (levels & cp3) == 0;
    m_pins = levels;
    if (isReset || wasReset) {
        m_started = levels;
    }
    m_log.report("pins", {{"cp1", (levels & cp1) != 0},
                          {"cp2", (levels & cp2) != 0},
                          {"cp3", (levels & cp3) != 0},
                          {"state", state()}});
    if (isReset && !wasReset) {
        m_communication.hold();
        m_control.hold();
    } else if (wasReset && !isReset) {
        release();
    }
}

void DspPair::release()
{
    m_onLine = &m_communication;
    switch (m_started & (cp1 | cp2)) {
    case cp1 | cp2:
        m_communication.run();
        m_control.run();
        break;
    case cp1:
        m_communication.runForProgramming();
        break;
    case cp2:
        m_onLine = &m_control;
        m_control.runForProgramming();
        break;
    default:
        break;
    }
}

void DspPair::receive(const QByteArray &bytes, int baudrate)
{
    if (baudrate == m_onLine->baudrate()) {
        m_onLine->receive(bytes);
    } else {
        m_log.report("serialGarbled", {{"count", bytes.size()}, {"baudrate", baudrate}});
    }
}

QString DspPair::state() const
{
    switch (m_started) {
    case cp1 | cp2 | cp3:
        return QStringLiteral("normal");
    case cp1 | cp3:
        return QStringLiteral("programCommunication");
    case cp2 | cp3:
        return QStringLiteral("programControl");
    case cp3:
        return QStringLiteral("undefined");
    default:
        return QStringLiteral("reset");
    }
}
