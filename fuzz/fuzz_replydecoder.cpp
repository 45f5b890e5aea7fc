#include "ipv4address.h"
#include "replydecoder.h"

#include <cstdint>
#include <cstdlib>

// Feeds any bytes to the reply decoders as a datagram. Besides being free of undefined behaviour they
// must give a record to nothing but a reply, a binary one always, and with its network fields whole.

namespace {

void require(bool holds)
{
    if (!holds) {
        std::abort();
    }
}

void checkBinary(const Device_t &device)
{
    require(device[Code].size() == 4 && device[Mac].size() == 17 && !device[Sn].isEmpty());
    require(parseIpv4Address(device[Ip]) && parseIpv4Address(device[Netmask]) &&
            parseIpv4Address(device[Gateway]));
    require(device[Brand].isEmpty() && device.extra.isEmpty());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const auto datagram =
        QByteArray::fromRawData(reinterpret_cast<const char *>(data), static_cast<int>(size));
    const auto device = decodeDiscoveryReply(datagram);
    if (datagram.startsWith("Quorvex Dev:")) {
        require(device.has_value());
        checkBinary(*device);
    } else {
        require(!device || datagram.startsWith("Quorvex MS2:"));
    }
    const auto module = decodeSerialServerReply(datagram, QHostAddress(QHostAddress::LocalHost));
    require(module.has_value() == (size >= 30));
    return 0;
}
