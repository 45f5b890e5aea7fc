#pragma once

#include "flashkernel.h"

#include <QByteArray>
#include <QMap>
#include <QObject>
#include <QString>

#include <memory>

struct DspSpec
{
    FlashKernelSpec kernel;
    QMap<QString, QString> answers{{QStringLiteral("MVER"), QStringLiteral("#MVER:ROVAN-MOTOR:x:1.07")},
                                   {QStringLiteral("MRG:22"), QStringLiteral("21Y08W0131")}};
    bool autobaud = true;              // false: the boot ROM never locks
    bool requireBootloaderCode = true; // an image without a data record runs nothing
};

// One of the two DSPs of the motor driver. Owned by DspPair, which holds it in reset, lets it go and
// passes on what comes over the serial line. Running normally it answers lines: a command, CR, LF.
// A DSP whose flash is blank has no program to run and stays silent. Started for programming, its
// boot ROM waits for an "a" or "A", echoes it once it has the line's speed, takes the boot loader
// image and echoes that byte for byte, and then leaves the line to the flash program of the image.
//
// Events, each with the field "dsp": "dspState" with state; "lineReceived" with line; "autobaud";
// "bootloaderLoaded" with records and running; "bootloaderBroken"; and those of FlashKernel.
class Dsp : public QObject
{
    Q_OBJECT

public:
    Dsp(const QString &name, const DspSpec &spec, const EventLog &log);

    void hold();              // in reset
    void run();               // out of it, into the program in its flash
    void runForProgramming(); // out of it, into the boot ROM

    int baudrate() const; // at which it listens now; 0 when it does not
    void receive(const QByteArray &bytes);

    const QString &name() const { return m_name; }
    const DspFlash &flash() const { return m_flash; }

signals:
    void sends(const QByteArray &bytes);

private:
    enum class State { Reset, Normal, Autobaud, Loading, Kernel, Lost };

    void enter(State state);
    void takeLine(char character);
    void lock(char character);
    void load(char character);
    void endLoading(bool running, const char *event);

    QString m_name;
    DspSpec m_spec;
    EventLog m_log;
    DspFlash m_flash;
    State m_state = State::Normal;
    QByteArray m_line; // what has come of one; of the image, of a record
    int m_records = 0; // of data, in the image so far
    std::unique_ptr<FlashKernel> m_kernel;
};
