#pragma once

#include <QByteArray>
#include <QString>

// One UDP datagram with everything that decides who hears it. Addresses are host-order numbers.
struct Datagram
{
    QByteArray bytes;
    quint32 from = 0;
    quint16 fromPort = 0;
    quint32 to = 0;
    quint16 toPort = 0;
    int interfaceIndex = 0; // of the cable it comes from or leaves by
};
