#include "dsppair.h"

DspPair::DspPair(const DspPairSpec &spec, QObject *parent)
    : QObject(parent),
      m_communication(QStringLiteral("communication"), spec.communication),
      m_control(QStringLiteral("control"), spec.control)
{
    m_communication.run();
    m_control.run();
    listenTo(m_communication);
    listenTo(m_control);
}

void DspPair::listenTo(const Dsp &dsp)
{
    connect(&dsp, &Dsp::happened, this, &DspPair::happened);
    connect(&dsp, &Dsp::sends, this, &DspPair::sends);
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
    emit happened(QStringLiteral("pins"), {{QStringLiteral("cp1"), (levels & cp1) != 0},
                                           {QStringLiteral("cp2"), (levels & cp2) != 0},
                                           {QStringLiteral("cp3"), (levels & cp3) != 0},
                                           {QStringLiteral("state"), state()}});
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
        emit happened(QStringLiteral("serialGarbled"),
                      {{QStringLiteral("count"), bytes.size()}, {QStringLiteral("baudrate"), baudrate}});
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
