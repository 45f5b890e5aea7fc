#include "setdatagram.h"

#include <QtEndian>

namespace {

constexpr int setDatagramSize = 36;
constexpr int ipSetupSize = 20;

} // namespace

bool isSetDatagram(const QByteArray &bytes)
{
    return bytes.startsWith("Quorvex Set:");
}

bool isIpSetup(const QByteArray &bytes)
{
    static const QByteArray head = QByteArray::fromHex("000000fc") + "IP-SETUP";
    return bytes.startsWith(head);
}

std::optional<SetDatagram> readSetDatagram(const QByteArray &bytes)
{
    if (!isSetDatagram(bytes) || bytes.size() != setDatagramSize) {
        return std::nullopt;
    }
    const char *data = bytes.constData();
    return SetDatagram{bytes.mid(12, 6),
                       qFromBigEndian<quint16>(data + 18),
                       qFromBigEndian<quint32>(data + 20),
                       qFromBigEndian<quint32>(data + 24),
                       qFromBigEndian<quint32>(data + 28),
                       qFromLittleEndian<quint32>(data + 32)};
}

std::optional<IpSetup> readIpSetup(const QByteArray &bytes)
{
    if (!isIpSetup(bytes) || bytes.size() != ipSetupSize || bytes.mid(12, 2) != QByteArray(2, '\0')) {
        return std::nullopt;
    }
    return IpSetup{bytes.mid(14, 2), qFromBigEndian<quint32>(bytes.constData() + 16)};
}
