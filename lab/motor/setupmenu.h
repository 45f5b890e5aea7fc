#pragma once

#include "setuptexts.h"

#include <QByteArray>

// How a scenario makes the setup menu harder to get through.
struct SetupFaults
{
    int channelPrompts = 0;  // the channel dialogue has so many; 0: as many as it should have
    int refusedBaudrate = 0; // a baud rate that the module does not know; 0: none
};

// The module's text menu on TCP 9999, as pure bytes in and bytes out for one connection; SetupPort
// owns one for each. Typed characters are echoed; CR is Enter, a LF or NUL after it is part of the
// same Enter and echoes nothing, and Enter after something typed echoes one LF. Questions for Y or N
// take one key and act at once, so that an Enter after the key answers the next question. Of the
// dialogues only "Channel 1" is played. Settings are changed in a copy that the module takes over when
// the menu was left with 9.
class SetupMenu
{
public:
    enum class End { Open, Saved, Dropped };

    SetupMenu(const ModuleSettings &settings, const SetupFaults &faults);

    // What is printed as soon as the client is there is the owner's, up to the line that asks for Enter.
    QByteArray receive(const QByteArray &bytes);

    bool isEntered() const { return m_screen != Screen::Banner; } // the client pressed Enter
    End end() const { return m_end; }
    const ModuleSettings &settings() const { return m_settings; }

private:
    enum class Screen { Banner, Menu, Question };

    QByteArray take(char character);
    QByteArray takeKey(char key);
    QByteArray type(char character);
    QByteArray enter();
    QByteArray choose(const QByteArray &choice);
    QByteArray answer(const QByteArray &typed);
    QByteArray ask(); // the question that is due, or the menu
    QByteArray showMenu();
    bool isRefused(const QByteArray &rate) const;
    void keep(const QByteArray &typed);

    ModuleSettings m_settings;
    SetupFaults m_faults;
    Screen m_screen = Screen::Banner;
    End m_end = End::Open;
    QByteArray m_typed;
    int m_question = 0; // a ChannelField, or beyond when there are more prompts
};
