#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

// Hears every UDP datagram that leaves this computer by any interface, loopback included, in the order
// in which the kernel sends them. Needs the rights that script/lab-net gives.
class WireTap
{
public:
    WireTap();
    ~WireTap();
    Q_DISABLE_COPY(WireTap)

    bool isOpen() const { return m_socket >= 0; }

    // What has left since the last call, one text each: "wst0 192.168.0.100:30719 > 255.255.255.255:30719
    // 51756f72..." A port that the system chose reads "*".
    QStringList take();

private:
    int m_socket;
};
