#pragma once

#include "options.h"

#include <QHostAddress>
#include <QSettings>
#include <QString>

// The user's options between two runs, in deviceManagerConfig.ini of the per-user configuration
// folder (sections scan, update and tcp). The main window owns the one instance; nobody else writes
// the file. It keeps no copies: every getter reads the store, every setter writes to it, and QSettings
// decides when that reaches the disk. Nothing is ever reported: a value that cannot be read gives its
// default, a value that may not be stored is dropped.
class AppSettings : public QSettings
{
public:
    // Organisation and application name must be set before: they decide the folder.
    AppSettings();

    static QString defaultPath();

    // A number that cannot be read as an int gives the default. Whether it lies in the range that the
    // setter accepts is not asked: a number written into the file by hand is returned as it stands.
    int scanTime() const;         // milliseconds
    int updateTimeout() const;    // milliseconds
    int tcpThreads() const;       // parallel follow-up queries
    int tcpWaitWritten() const;   // milliseconds
    int tcpWaitRead() const;      // milliseconds
    int tcpWaitConnected() const; // milliseconds

    // Any text but an empty one, "0" and "false" counts as true; a list or a missing key is false.
    bool manualIp() const;
    bool sendUnicast() const;

    // Bounds of the unicast range. Whatever parses as an address is returned, IPv6 included.
    QHostAddress startIp() const;
    QHostAddress endIp() const;

    // Those of the values above that a scan and an update need, as they stand now.
    Options options() const;

    // Where the firmware chooser opens: an existing folder, the home folder if the stored one is gone.
    QString fwDefaultDir() const;

    void setScanTime(int milliseconds);         // 1 to 99000
    void setUpdateTimeout(int milliseconds);    // 1 to 999000
    void setTcpThreads(int threads);            // 1 to 50
    void setTcpWaitWritten(int milliseconds);   // 1 to 999000
    void setTcpWaitRead(int milliseconds);      // 1 to 999000
    void setTcpWaitConnected(int milliseconds); // 1 to 999000

    void setManualIp(bool on);
    void setSendUnicast(bool on);

    // Broadcast, loopback and null addresses are dropped.
    void setStartIp(const QHostAddress &address);
    void setEndIp(const QHostAddress &address);

    // Takes the path of a chosen firmware file and stores the folder that holds it.
    void setFwDefaultDir(const QString &filePath);
};

// The same options from a file as AppSettings would return them, for programs that must not touch it:
// nothing is written, created, seeded or set aside. The defaults when there is no file that can be read.
Options storedOptions(const QString &path = AppSettings::defaultPath());
