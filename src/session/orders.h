#pragma once

#include <QtGlobal>

// What may start when. What the program is doing (the activity) and what it is told to do (the order) meet
// in one table; every button, shortcut and timer asks it, and a refusal says why not.

// Computed by the session from what it knows; nobody sets it.
enum class Activity {
    Idle,
    Scanning,
    Sending, // new network settings, to one instrument or many
    Updating,
    AwaitingAddresses, // instruments were told new addresses and are still being looked for there
    AwaitingRestart,   // updated instruments are still being looked for
    Closing
};

enum class Order { Scan, SendSettings, Update, LookAgain, Close };

enum class Refusal {
    None,
    Scanning,
    Sending,
    Updating,
    AwaitingAddresses, // the records hold addresses where somebody else may be by now
    Closing,
    NoInterface,     // none is selected, so nothing could leave
    UnusableSettings // an address that no instrument can be given; nothing was sent
};

// What the activity alone says about the order.
Refusal refusalOf(Order order, Activity activity);
