#pragma once

#include <QString>
#include <QtGlobal>

// What the settings dialog tells about the unicast range while it is being typed. Pure functions: the
// range may hold four thousand million addresses and is only counted, never listed.
class RangeSummary
{
public:
    // How many addresses a scan asks, from start to end inclusive (host byte order): none when start
    // lies above end; the .0 and .255 of the start address's own /24 network are left out.
    static quint64 addressCount(quint32 start, quint32 end);

    // How long a scan takes that waits scanTime milliseconds for replies: the queries leave back to
    // back before the wait begins, so behind a router only ranges of many thousands make a difference.
    static double scanSeconds(quint64 addresses, double scanTime);

    // The same on a directly attached network, at worst: when nobody has these addresses. Whether the
    // range is on one is not asked; the sentence tells both times where they differ.
    static double localScanSeconds(quint64 addresses, double scanTime);

    // One sentence: how many addresses and how long, or that the range is empty.
    static QString text(quint32 start, quint32 end, double scanTime);

    // What is wrong with a text that should be an IPv4 address; which is "start" or "end".
    static QString fault(const QString &which, const QString &text);
};
