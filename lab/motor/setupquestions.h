#pragma once

#include "modulesettings.h"

#include <QByteArray>
#include <QVector>

// One prompt of the module's setup menu and what becomes of the answer. The menu's dialogues are
// tables of these, in the order of asking; SetupMenu walks through them. A prompt reads `before`, the
// present value in brackets, `after`.
struct SetupQuestion
{
    enum Answer {
        Baudrate,    // one of the rates that isSetupBaudrate() knows
        Decimal,     // (9600)
        Hexadecimal, // (4C)
        OneKey,      // (Y): answered by the key alone, without Enter
        FirstOctet,  // (192) of the address in `number` ...
        SecondOctet, // ... and the others, on the same line
        ThirdOctet,
        FourthOctet,
        Minutes, // (00:03), with the seconds in the number after this one
        Seconds, // no bracket, on the same line
        Text,    // (public)
        Secret   // no bracket
    };
    using Condition = bool (*)(const ModuleSettings &);

    Answer answer;
    const char *before;
    const char *after;
    quint32 ModuleSettings::*number = nullptr;
    QByteArray ModuleSettings::*text = nullptr; // of Text and Secret, instead of `number`
    Condition applies = nullptr;                // asked only when it holds; always, when there is none

    bool continuesLine() const
    {
        return answer == SecondOctet || answer == ThirdOctet || answer == FourthOctet || answer == Seconds;
    }
};

// The dialogue behind a number of the main menu; empty when the number leads to none.
const QVector<SetupQuestion> &setupQuestions(const QByteArray &choice);

// Asked after a baud rate that the processor at its regular speed does not reach.
const SetupQuestion &highPerformanceQuestion();

QByteArray setupPrompt(const SetupQuestion &question, const ModuleSettings &settings);

// Keeps `typed` as the answer; what cannot be one leaves the value as it is.
void takeSetupAnswer(const SetupQuestion &question, const QByteArray &typed, ModuleSettings &settings);

bool isSetupBaudrate(const QByteArray &typed);
bool needsHighPerformance(quint32 baudrate);
