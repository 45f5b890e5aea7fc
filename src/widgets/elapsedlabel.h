#pragma once

#include <QElapsedTimer>
#include <QLabel>
#include <QTimer>

// Says for how long something has been running, and afterwards how long it took, so that a long update
// is seen to be alive even while its progress stands still. Hidden before the first start.
class ElapsedLabel : public QLabel
{
    Q_OBJECT

public:
    explicit ElapsedLabel(QWidget *parent = nullptr);

    // Counts from now; a clock that is running goes on.
    void start();
    // Keeps showing the time that it took. Does nothing unless it is running.
    void stop();
    // As before the first start, unless it is running.
    void reset();

    // "0:07", "12:40", "1:02:03"
    static QString clockText(qint64 ms);

private:
    void showTime();

    QElapsedTimer m_clock;
    QTimer m_tick;
};
