// Replies decoded per second on one core, family by family and mixed.

#include "replydecoder.h"

#include <QVector>

#include <benchmark/benchmark.h>

namespace {

QByteArray binaryReply(const char *code, const QByteArray &texts)
{
    const QByteArray network = QByteArray::fromHex("001A2B3C4D5EC0A8000CFFFFFF00C0A80001");
    const QByteArray reply = "Quorvex Dev:" + QByteArray::fromHex(code) + network + QByteArray(4, '\0') +
                             "QB4A" + QByteArray(4, '\0');
    return (reply + texts).leftJustified(248, '\0');
}

QByteArray powerSupply()
{
    return binaryReply("1100", "2.1.04\r\n2400117\r\nQPS1100-10-100\r\nREV C\r\n0\r\nHALL 2 RACK 04\r\n");
}

QByteArray beamline()
{
    return binaryReply("2100", "1203" + QByteArray::fromHex("001BA779"));
}

QByteArray transducer()
{
    return binaryReply("3100", "2011" + QByteArray::fromHex("12345678") + "QCT-100-3");
}

QByteArray tool()
{
    return binaryReply("6100", "1005" + QByteArray::fromHex("19070042") + "QV-LINK-A");
}

QByteArray json()
{
    return R"(Quorvex MS2:{"CODE":"1900","ID":"HV-1900","FAMILY":"QP-OEM","DEVICE":"OEM supply","BRAND":"HALVERN",)"
           R"("SN":"24190107","FW":"3.2.10","MAC":"00:1A:2B:19:00:02","IP":"10.20.30.12","NETMASK":"255.255.255.0",)"
           R"("GATEWAY":"10.20.30.1","DHCP":"0","SLOT":"4"})";
}

void decode(benchmark::State &state, const QVector<QByteArray> &replies)
{
    while (state.KeepRunning()) {
        for (const QByteArray &reply : replies) {
            benchmark::DoNotOptimize(decodeDiscoveryReply(reply));
        }
    }
    state.SetItemsProcessed(state.iterations() * replies.size());
}

BENCHMARK_CAPTURE(decode, powerSupply, {powerSupply()});
BENCHMARK_CAPTURE(decode, beamline, {beamline()});
BENCHMARK_CAPTURE(decode, transducer, {transducer()});
BENCHMARK_CAPTURE(decode, tool, {tool()});
BENCHMARK_CAPTURE(decode, allBinary, {powerSupply(), beamline(), transducer(), tool()});
BENCHMARK_CAPTURE(decode, json, {json()});

} // namespace

BENCHMARK_MAIN();
