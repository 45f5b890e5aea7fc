#include "settingsbinding.h"

#include "appsettings.h"
#include "settings.h"

void bindSettings(Settings &dialog, AppSettings &settings, const std::function<void()> &stored)
{
    dialog.setBroadcastTime(settings.scanTime());
    dialog.setTimeout(settings.updateTimeout());
    dialog.setFlagManualIp(settings.manualIp());
    dialog.setFlagUnicast(settings.sendUnicast());
    dialog.setStartIp(settings.startIp());
    dialog.setEndIp(settings.endIp());
    dialog.setNumberOfThreads(settings.tcpThreads());
    dialog.setWaitForBytesWritten(settings.tcpWaitWritten());
    dialog.setWaitForReadyRead(settings.tcpWaitRead());
    dialog.setWaitForConnected(settings.tcpWaitConnected());

    const auto store = [&](auto signal, auto set) {
        QObject::connect(&dialog, signal, &dialog, [&settings, set, stored](const auto &value) {
            (settings.*set)(value);
            stored();
        });
    };
    store(&Settings::signalChangeBroadcastTime, &AppSettings::setScanTime);
    store(&Settings::signalChangeTimeout, &AppSettings::setUpdateTimeout);
    store(&Settings::signalChangeFlagManualIP, &AppSettings::setManualIp);
    store(&Settings::signalChangeFlagUnicast, &AppSettings::setSendUnicast);
    store(&Settings::signalChangeStartIp, &AppSettings::setStartIp);
    store(&Settings::signalChangeEndIp, &AppSettings::setEndIp);
    store(&Settings::signalChangeNumbeOfThreads, &AppSettings::setTcpThreads);
    store(&Settings::signalChangeWaitForBytesWritten, &AppSettings::setTcpWaitWritten);
    store(&Settings::signalChangeWaitForReadyRead, &AppSettings::setTcpWaitRead);
    store(&Settings::signalChangeWaitForConnected, &AppSettings::setTcpWaitConnected);
}
