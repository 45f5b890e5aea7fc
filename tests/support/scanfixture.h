#pragma once

#include "interfaces.h"
#include "labprocess.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QStringList>

class Client;

// What the tests of the scan share: the workstation's two interfaces, small scenarios for the lab,
// and what the lab saw of a scan.

interfaces_t wst0();
interfaces_t wst1();

// A healthy power supply at 192.168.0.<number>, with keys added or replaced.
QJsonObject supply(int number, const QJsonObject &more = {});

// The lab with these instruments; the test fails if it does not start.
struct ScanLab : LabProcess
{
    explicit ScanLab(const QJsonArray &instruments);
};

// Makes the next scans ask these addresses, too.
void walk(Client &client, const char *first, const char *last);

// Changes the workstation's private network: ip("route add ..."). True when that worked.
bool ip(const char *arguments);

// The queries that the lab saw, as "interface from to bytes", in order of arrival. Datagrams of our
// own, sent after the scan, tell when all of the scan's have been seen; without these it fails the test.
QStringList queriesSeen(LabProcess &lab);
