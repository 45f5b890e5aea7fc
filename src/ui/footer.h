#pragma once

#include "session.h"

#include <QString>

class QLabel;
class QPushButton;

// Finds the words for what the session reports, one line at the window's lower edge. What is bad is red; what
// is missing one by one is behind the button. Owned by the window, whose label and button it fills.
class Footer
{
public:
    Footer(QLabel *label, QPushButton *details);

    void say(const QString &text, bool bad = false);
    void showReport(const ScanReport &report);
    // How the update of the last instrument ended.
    void showUpdate(const UpdateQueue &updates);
    // In words where the user could wonder why nothing happens.
    void showRefusal(Refusal refusal);

    // A line for each instrument that is not at its new address, its parts separated by tabs.
    static QString missingInstruments(const ScanReport &report);
    // Empty where the refusal needs no words.
    static QString refusalText(Refusal refusal);

private:
    QLabel *m_label;
    QPushButton *m_details;
};
