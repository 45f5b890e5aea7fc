#pragma once

#include "device.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVector>

// The network configuration file: what "Save csv-file" writes, people edit and "Upload csv-file" sends.
//
// UTF-8 text with "\n" line ends. Five lines of preamble, a line of titles, then a line for each
// instrument: CODE,FAMILY,SN,MAC,IP,NETMASK,GATEWAY, without quotes, so a field that holds a comma
// moves the ones behind it.

// A line that reaches no instrument.
struct NetworkConfigurationLine
{
    int number; // counting from 1
    QString text;
    QString reason;
};

struct NetworkConfiguration
{
    static constexpr int largestFile = 16 * 1024 * 1024; // bytes; more is no configuration file
    static constexpr int mostListedLines = 200;          // of a file that is mostly something else

    QList<QStringList> rows;                   // the device rows (networksettingsrow.h), in the file's order
    QList<QStringList> sendableRows;           // those of them whose addresses can be sent
    QVector<NetworkConfigurationLine> refused; // the others; the first mostListedLines of them
    QVector<NetworkConfigurationLine> skipped; // lines that are no device rows, blank ones left out; likewise
    int refusedCount = 0;
    int skippedCount = 0;
    QString error; // why it is no configuration file at all; then everything else is empty
};

// A line is a device row when it has at least seven fields and the fourth is a MAC address. A byte-order
// mark, CRLF and blanks at the end of a line are tolerated. Bytes that are not text, or too many, are
// an error.
NetworkConfiguration parseNetworkConfiguration(const QByteArray &text);

// Reads the whole file before anything of it is used.
NetworkConfiguration readNetworkConfiguration(const QString &path);

// Fields are written as they stand, but a line break or NUL in one becomes a blank: each instrument has
// one line, and an instrument's text must not be able to add another one's.
QByteArray networkConfigurationText(const QList<Device_t> &devices);
