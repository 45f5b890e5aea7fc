#pragma once

#include <QByteArray>
#include <QObject>
#include <QTimer>

// How fast bytes pass: so many at a time, so far apart. 0 bytes: all at once.
struct Pace
{
    int bytes = 0;
    int ms = 0;

    // Of a serial line: ten bits a byte.
    static Pace ofBaudrate(int baudrate) { return {baudrate / 10 * 5 / 1000, 5}; }
};

// Bytes on their way, in order, no faster than the pace allows. Serial lines are made of it, and
// connections that deliver what they have in pieces.
class PacedBytes : public QObject
{
    Q_OBJECT

public:
    explicit PacedBytes(QObject *parent = nullptr);

    void setPace(const Pace &pace);
    void push(const QByteArray &bytes);
    void clear();

signals:
    void passed(const QByteArray &bytes);

private:
    void passSome();

    Pace m_pace;
    QByteArray m_waiting;
    QTimer m_timer;
};
