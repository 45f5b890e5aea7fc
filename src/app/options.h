#pragma once

#include <QHostAddress>
#include <QString>

// The settings that decide how a scan and an update run, taken out of the store in one step: a value that
// whoever scans or updates is given. The defaults are those of the settings file. Times in milliseconds.
struct Options
{
    int scanTime = 200;
    bool sendUnicast = false;
    QHostAddress startIp{QStringLiteral("192.168.0.1")};
    QHostAddress endIp{QStringLiteral("192.168.0.254")};
    int tcpThreads = 10; // parallel follow-up queries
    int tcpWaitWritten = 1000;
    int tcpWaitRead = 1000;
    int tcpWaitConnected = 1000;
    int updateTimeout = 120000;
};
