#pragma once

#include "clientport.h"
#include "setupmenu.h"

#include <QObject>
#include <QTimer>

#include <optional>

struct SetupPortSpec
{
    SetupFaults menu;
    int windowMs = 5000;   // to press Enter in
    int storeMs = 1000;    // from the menu's last words to the restart
    int bannerPauseMs = 0; // before the banner's last line
    int cutAfterBytes = 0; // from a client; 0: never
    QByteArray hiddenText; // never printed, wherever it would stand
};

// The module's setup port, TCP 9999: a client, its banner and its menu. A client that does not press
// Enter within the window is dropped without a word. Owned by MotorDriver.
//
// Events: "setupReceived" with bytes; "parametersStored" with baudrate and port.
class SetupPort : public QObject
{
    Q_OBJECT

public:
    // `replies` is how fast the texts travel.
    SetupPort(const SetupPortSpec &spec, const Pace &replies, const EventLog &log);

    // `mac` has six bytes; `settings` are those that a session starts from.
    bool open(const QByteArray &mac, const ModuleSettings &settings);
    void close();

signals:
    void stored(const ModuleSettings &settings); // at once
    void restarts();                             // storeMs later

private:
    void greet();
    void finishGreeting();
    void receive(const QByteArray &bytes);
    void type(const QByteArray &keys);
    void store();
    void print(QByteArray text);
    void forgetClient();

    SetupPortSpec m_spec;
    EventLog m_log;
    QByteArray m_mac;
    ModuleSettings m_settings;
    ClientPort m_port;
    QTimer m_bannerPause;
    QTimer m_window;
    QTimer m_store;
    std::optional<SetupMenu> m_menu; // while a client is there
    QByteArray m_early;              // what the client typed before the banner was complete
};
