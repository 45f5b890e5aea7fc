#include "pacedbytes.h"

PacedBytes::PacedBytes(QObject *parent) : QObject(parent)
{
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &PacedBytes::passSome);
}

void PacedBytes::setPace(const Pace &pace)
{
    clear();
    m_pace = pace;
    m_timer.setInterval(pace.ms);
}

void PacedBytes::push(const QByteArray &bytes)
{
    if (m_pace.bytes == 0) {
        emit passed(bytes);
        return;
    }
    m_waiting += bytes;
    if (!m_timer.isActive()) {
        m_timer.start();
    }
}

void PacedBytes::clear()
{
    m_waiting.clear();
    m_timer.stop();
}

void PacedBytes::passSome()
{
    const QByteArray some = m_waiting.left(m_pace.bytes);
    m_waiting.remove(0, some.size());
    if (m_waiting.isEmpty()) {
        m_timer.stop();
    }
    emit passed(some);
}
