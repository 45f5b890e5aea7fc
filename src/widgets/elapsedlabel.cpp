#include "elapsedlabel.h"

namespace {

constexpr int tickMs = 1000;

} // namespace

ElapsedLabel::ElapsedLabel(QWidget *parent) : QLabel(parent)
{
    hide(); // an empty label would push its neighbours aside
    connect(&m_tick, &QTimer::timeout, this, &ElapsedLabel::showTime);
}

void ElapsedLabel::start()
{
    if (!m_tick.isActive()) {
        m_clock.start();
        m_tick.start(tickMs);
        showTime();
        show();
    }
}

void ElapsedLabel::stop()
{
    if (m_tick.isActive()) {
        m_tick.stop();
        setText(tr("Took %1").arg(clockText(m_clock.elapsed())));
    }
}

void ElapsedLabel::reset()
{
    if (!m_tick.isActive()) {
        clear();
        hide();
    }
}

void ElapsedLabel::showTime()
{
    setText(tr("Running for %1").arg(clockText(m_clock.elapsed())));
}

QString ElapsedLabel::clockText(qint64 ms)
{
    const qint64 seconds = ms / 1000;
    const auto twoDigits = [](qint64 number) {
        return QStringLiteral("%1").arg(number, 2, 10, QLatin1Char('0'));
    };
    const qint64 minutes = seconds / 60;
    if (minutes < 60) {
        return QStringLiteral("%1:%2").arg(minutes).arg(twoDigits(seconds % 60));
    }
    return QStringLiteral("%1:%2:%3").arg(minutes / 60).arg(twoDigits(minutes % 60), twoDigits(seconds % 60));
}
