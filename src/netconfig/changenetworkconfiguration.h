#pragma once

#include "device.h"
#include "interfaces.h"

#include <QByteArray>
#include <QHostAddress>
#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>

#include <functional>

// Gives instruments new network settings by datagram. No connection, no answer: whether an instrument
// took its settings shows when it answers a scan from its new address. The window makes one for each
// use; it runs in the caller's thread and blocks it for 10 ms for each selected interface.
//
// Two layouts go out for every instrument, because the sender does not know which kind it is:
//   set (36 bytes, UDP 30719): "Quorvex Set:", MAC (6), port (2), address (4), mask (4), gateway (4),
//     all most significant byte first, then the DHCP flag (4) least significant byte first;
//   IP-SETUP (20 bytes, UDP 30718, serial-server modules): 00 00 00 FC, "IP-SETUP", 00 00, the last
//     two bytes of the MAC, address (4).
class changeNetworkConfiguration : public QObject
{
    Q_OBJECT

public:
    static constexpr quint16 setPort = 30719;          // where instruments listen
    static constexpr quint16 serialServerPort = 30718; // where serial-server modules listen
    static constexpr quint16 devicePort = 10001;       // what callers put into the port field
    static constexpr unsigned long pauseMs = 5;        // behind each broadcast

    // Asked before each row of a list, with the row's position. False ends the list there.
    using BeforeRow = std::function<bool(int row)>;

    explicit changeNetworkConfiguration(QObject *parent = nullptr);

    // Sends both layouts for one instrument: the set datagram to `target`, then both as a limited
    // broadcast out of every selected interface. Addresses are host-order numbers; `dhcp` is 1 or 0.
    // False, with nothing sent, for a MAC text without six hexadecimal pairs, an address, mask or
    // gateway of 0.0.0.0 or 255.255.255.255 (with DHCP as well), and port 0. True says that the
    // call was not refused, no more: an interface that cannot be bound is passed over, and whether the
    // system took a datagram is not asked, so it is also true when nothing could leave this computer.
    bool setConfiguration(const QList<interfaces_t> &interfaces, const QString &mac, quint16 port, quint32 ip,
                          quint32 mask, quint32 gateway, qint32 dhcp, const QHostAddress &target);

    // setConfiguration for each row (networksettingsrow.h) in order, with DHCP off. A row of fewer than
    // six columns ends the list. The result of the last row that was tried; false when none was.
    bool applyList(const QList<interfaces_t> &interfaces, const QList<QStringList> &rows,
                   const BeforeRow &beforeRow = {});

    // Empty when there are fewer than six bytes of MAC.
    static QByteArray setDatagram(const QByteArray &mac, quint16 port, quint32 ip, quint32 mask,
                                  quint32 gateway, qint32 dhcp);
    static QByteArray serialServerDatagram(const QByteArray &mac, quint32 ip);

    // The configuration file (networkconfigurationfile.h). writeFile leaves an earlier file as it was
    // when it cannot write all of the new one; then it returns false, and `reason` says why. readFile
    // gives the file's device rows, none for a file that cannot be read or is no text.
    static bool writeFile(const QList<Device_t> &devices, const QString &path, QString *reason = nullptr);
    static QList<QStringList> readFile(const QString &path);

private:
    void broadcast(const QByteArray &set, const QByteArray &ipSetup) const;

    QList<interfaces_t> m_interfaces;
};
