#include "versionquery.h"

#include "devicecatalogue.h"
#include "discoverylog.h"
#include "lineconversation.h"

#include <QStringList>

namespace {

// What is known of a module before anything is asked over TCP. It says nothing of its mask and
// gateway, so they carry what the modules leave the factory with.
Device_t moduleRecord(const Device_t &module)
{
    Device_t device;
    device[Code] = QStringLiteral("4100");
    device[Mac] = module[Mac].toUpper();
    device[Ip] = module[Ip];
    device[Netmask] = QStringLiteral("255.255.255.0");
    device[Gateway] = QStringLiteral("192.168.0.1");
    device[Dhcp] = QStringLiteral("NA");
    return device;
}

// #MVER:ROVAN-MOTOR:x:1.07 is a motor driver with firmware 1.07.
bool isMotorDriver(const QStringList &parts)
{
    return parts.size() == 4 && parts.at(0) == QLatin1String("#MVER") &&
           parts.at(1) == QLatin1String("ROVAN-MOTOR");
}

} // namespace

Device_t queryVersion(const Device_t &module, const TcpWaits &waits, const std::atomic_bool &stopped,
                      quint16 port)
{
    Device_t device = moduleRecord(module);
    if (stopped) {
        return device;
    }
    using std::chrono::milliseconds;
    const StopCondition stop([&stopped] { return stopped.load(); });
    const milliseconds readWait(waits.read);
    LineConversation conversation('\r', milliseconds(waits.written));
    const auto ask = [&](const QByteArray &command) {
        const QString line = conversation.ask(command, {readWait, versionquery::lineWaits * readWait}, stop,
                                              LineConversation::Answer::WhateverCame);
        qCDebug(discoveryLog) << device[Ip] << "was asked" << command << "and answered" << line.left(200);
        return line;
    };
    if (!conversation.open(device[Ip], port, milliseconds(waits.connected), stop, WhenRefused::IsAnswer)) {
        qCDebug(discoveryLog) << device[Ip] << "does not connect";
        return device;
    }
    const QString version = ask(QByteArrayLiteral("MVER\r\n"));
    if (!version.startsWith(QLatin1String("#MVER"))) {
        return device;
    }
    const QStringList parts = version.split(QLatin1Char(':'), Qt::SkipEmptyParts);
    if (isMotorDriver(parts)) {
        device[Code] = QStringLiteral("4200");
        device[Fw] = parts.at(3);
        const QString serial = ask(QByteArrayLiteral("MRG:22\r\n"));
        device[Sn] = serial;
        device[Id] = serial;
    }
    device[Family] = devicecatalogue::group(device[Code]);
    device[Device] = devicecatalogue::desc(device[Code]);
    return device;
}
