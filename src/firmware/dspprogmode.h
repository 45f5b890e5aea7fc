#pragma once

#include "pacing.h"
#include "waits.h"
#include "xportports.h"

#include <QObject>
#include <QString>
#include <QTcpSocket>

#include <array>

// One command to the module's GPIO port and the answer that says it was obeyed. The command is a byte,
// a mask and a value of 32 bits each, the answer that byte and a value, all least significant byte
// first; bit 0 is pin CP1, bit 1 CP2, bit 2 CP3.
struct GpioStep
{
    std::array<quint8, 9> command;
    std::array<quint8, 5> answer;
    const char *label;
};

// Brings the two DSPs of a motor driver into a state by way of the module's pins, which hold them in
// reset and choose how they start, and loads the boot loader into the one that starts in programming
// mode. Owned by the update's programming run; blocks the thread it is used from.
class dspProgMode : public QObject
{
    Q_OBJECT

public:
    enum State { Normal, ProgramCommunication, ProgramControl };

    explicit dspProgMode(QObject *parent = nullptr, Interruption interruption = Interruption::Honoured,
                         const Pacing &pacing = {}, const XPortPorts &ports = {},
                         const QString &bootloader = defaultBootloader());

    // The image that comes with the hardware: Intel HEX text, sent as it stands.
    static QString defaultBootloader();

    // Takes the instrument's address and runs the table that ends in this state. Any number that is
    // no State leaves the last step as it was.
    void setState(int state, const QString &host);

    // Pins to outputs, active high, all low (both DSPs in reset), then the state. A wrong answer is
    // an error but the rest of the steps is sent all the same.
    void runGpioTable();

    // To the DSP that setState() has put into programming mode.
    void loadBootloader();

signals:
    void signalIncreaseProgressBar();
    void signalError(QString message);

private:
    void runStep(const GpioStep &entry);
    bool autobaud();
    void sendBootloader(const QByteArray &text);
    void drainAnswers();
    void step();
    bool stopped();
    void fail(const QString &message);

    QTcpSocket m_socket;
    QString m_address = QStringLiteral("192.168.10.10");

    std::array<GpioStep, 4> m_table;
    Interruption m_interruption;
    Pacing m_pacing;
    XPortPorts m_ports;
    QString m_bootloaderPath;
};
