#pragma once

#include "pacing.h"
#include "waits.h"
#include "xportports.h"

#include <QByteArray>
#include <QObject>
#include <QString>
#include <QTcpSocket>

// Sets the speed of a module's (XPort's) serial line through the text setup menu, as a person would
// at a terminal: Enter at the banner, channel 1, the new baud rate, Enter at every further question,
// save and exit. Owned by the update that needs the speed; blocks the thread it is used from.
//
// The module echoes what is typed, ends its lines in an order of its own and sends no mark at the end
// of an answer, so an answer is what comes until it has been silent for a second.
class xPortConfiguration : public QObject
{
    Q_OBJECT

public:
    explicit xPortConfiguration(QObject *parent = nullptr, Interruption interruption = Interruption::Honoured,
                                const Pacing &pacing = {}, const XPortPorts &ports = {});
    ~xPortConfiguration() override;

    // `baud` in bits a second. False when the module cannot be reached, does not come to the expected
    // places of its menu, is lost on the way, or when the thread is asked to stop. A rate that the
    // module refuses gives true and a warning: the menu goes on with the old one.
    bool setBaudrate(const QString &host, int baud);

    // In the last setBaudrate() the module said that it does not take the rate, and asked for it again.
    bool rateRefused() const { return m_refused; }

    // Third word of the banner's second line, which is the module's MAC address without separators;
    // empty when the module cannot be reached.
    QString readBannerWord(const QString &host);

signals:
    // After each line that was typed, and also where there was nothing to type.
    void signalIncreaseProgressBar();
    void signalPrintMessage(QString message);

private:
    bool connectTo(const QString &host);
    void sendCommand(const QByteArray &text);
    void readAnswer();
    bool expectText(const QByteArray &text);
    bool exchange(const QByteArray &command, const QByteArray &expected);
    void lookForRefusal();

    QTcpSocket m_socket;
    bool m_sendText = false;  // the next command is typed as it stands, else it is a mere Enter
    bool m_sendFirst = false; // an exchange types and reads, else it reads and types
    bool m_found = false;     // the expected text has been seen in the current exchange
    QByteArray m_received;    // what the last read gave
    QByteArray m_baudRate;    // decimal

    bool m_warned = false;  // the module has said that it does not take the rate as it stands
    bool m_refused = false; // and has asked for another
    Interruption m_interruption;
    Pacing m_pacing;
    XPortPorts m_ports;
};
