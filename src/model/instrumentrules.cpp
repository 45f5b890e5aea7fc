#include "instrumentrules.h"

#include "devicecatalogue.h"
#include "ipv4address.h"

namespace {

using namespace std::chrono_literals;

constexpr std::chrono::milliseconds motorDriverRestart = 20s;
constexpr std::chrono::milliseconds usualRestart = 8s;

} // namespace

// The first that matches: 1600, 1400 and the serial servers are power supplies by their family.
instrumentrules::Procedure instrumentrules::procedure(const QString &code)
{
    if (devicecatalogue::is1600(code)) {
        return Procedure::Beamline;
    }
    if (devicecatalogue::isSerialServer(code)) {
        return Procedure::MotorDriver;
    }
    if (devicecatalogue::is1400(code)) {
        return Procedure::PowerSupplyModular;
    }
    if (devicecatalogue::isPowerSupply(code)) {
        return Procedure::PowerSupply;
    }
    return devicecatalogue::isBeamline(code) ? Procedure::Beamline : Procedure::None;
}

instrumentrules::FirmwareFile instrumentrules::firmwareFile(const QString &code)
{
    switch (procedure(code)) {
    case Procedure::PowerSupply:
    case Procedure::PowerSupplyModular:
        return FirmwareFile::Updt;
    case Procedure::Beamline:
        return FirmwareFile::Flash;
    case Procedure::MotorDriver:
        return FirmwareFile::IntelHex;
    case Procedure::None:
        break;
    }
    return FirmwareFile::Unknown;
}

QString instrumentrules::firmwareFilter(const QString &code)
{
    switch (firmwareFile(code)) {
    case FirmwareFile::Updt:
        return QStringLiteral("Firmware files (*.updt);;All files (*.*)");
    case FirmwareFile::Flash:
        return QStringLiteral("Firmware files (*.flash);;All files (*.*)");
    case FirmwareFile::IntelHex:
        return QStringLiteral("Firmware files (*.hex);;All files (*.*)");
    case FirmwareFile::Unknown:
        break;
    }
    return QStringLiteral("All files (*.*)");
}

bool instrumentrules::takesSecondFirmware(const QString &code)
{
    return devicecatalogue::isSerialServer(code);
}

bool instrumentrules::isSelectable(const QString &code)
{
    return !devicecatalogue::isCurrentTransducer(code);
}

bool instrumentrules::isUpdatedAlone(const QString &code)
{
    return devicecatalogue::isSerialServer(code);
}

bool instrumentrules::mayUpdateTogether(const QString &code, const QString &other)
{
    return code == other && !isUpdatedAlone(code);
}

instrumentrules::NetworkFields instrumentrules::networkFields(const QString &code)
{
    if (devicecatalogue::is1F80(code) || devicecatalogue::is2180(code)) {
        return NetworkFields::None;
    }
    return devicecatalogue::isSerialServer(code) || devicecatalogue::is6100(code) ? NetworkFields::AddressOnly
                                                                                  : NetworkFields::All;
}

bool instrumentrules::hasDhcpChoice(const QString &code)
{
    return devicecatalogue::isPowerSupply(code) && networkFields(code) == NetworkFields::All;
}

bool instrumentrules::needsRebootForAddress(const QString &code)
{
    return devicecatalogue::is6100(code);
}

bool instrumentrules::hasWebPage(const QString &code)
{
    return devicecatalogue::isPowerSupply(code) && !devicecatalogue::isSerialServer(code) &&
           !devicecatalogue::is1600(code);
}

QString instrumentrules::webAddress(const QString &code, const QString &ip)
{
    const std::optional<quint32> address = parseIpv4Address(ip);
    if (!hasWebPage(code) || !address) {
        return {};
    }
    return QStringLiteral("http://%1.%2.%3.%4/")
        .arg(*address >> 24)
        .arg(*address >> 16 & 0xFF)
        .arg(*address >> 8 & 0xFF)
        .arg(*address & 0xFF);
}

std::chrono::milliseconds instrumentrules::restartTime(const QString &code)
{
    return devicecatalogue::isSerialServer(code) ? motorDriverRestart : usualRestart;
}
