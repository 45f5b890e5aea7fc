#pragma once

#include "interfaces.h"
#include "labprocess.h"

class Client;

// What the tests of the scan and of the settings share: the workstation's interfaces, a power supply for
// the lab, and what the lab saw.

// "wst0@192.168.0.100 -wst1@10.20.30.100": by name and address, those behind a "-" not ticked.
QList<interfaces_t> interfacesOf(const char *text);

// A healthy power supply at 192.168.0.<number>.
QJsonObject supply(int number);

// Changes the workstation's private network: ip("route add ..."). True when that worked.
bool ip(const char *arguments);

// The queries that the lab saw, as "interface from to bytes", in order of arrival. Datagrams of our
// own, sent after the scan, tell when all of the scan's have been seen; without these it fails the test.
QStringList queriesSeen(LabProcess &lab);

// Makes the next scans ask these addresses, too.
void walk(Client &client, const char *from, const char *to);
