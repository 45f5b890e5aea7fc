#include "imagesender.h"
#include "lineconversation.h"
#include "pacing.h"
#include "ratioreporter.h"
#include "scriptedpeer.h"

#include <QCoreApplication>
#include <QTcpSocket>

#include <benchmark/benchmark.h>
#include <cstdio>

// What the careful sending of an image costs, a small piece at a time with an ear for every answer, beside
// a socket that is given the whole image at once. Both end with the instrument's consent, over loopback:
// the rest is the network's and the instrument's. The last lines are how many times longer ours takes.

namespace {

constexpr int imageBytes = 2 * 1024 * 1024;
constexpr int patienceMs = 30000;
constexpr const char *careful[] = {"pieces of 1024", "pieces of 256"};
constexpr const char *atOnce = "all at once";

ScriptedPeer::Script instrument()
{
    return [](ScriptedPeer::Connection &connection) {
        connection.read(imageBytes);
        connection.send("#ACK\r\n");
    };
}

void sendInPieces(benchmark::State &state, int pieceBytes)
{
    const QByteArray image(imageBytes, 'q');
    const Pacing pacing;
    const ImageSender::Dialogue dialogue{pieceBytes, pacing.imageAnswer, pacing.longestVerdict,
                                         [](const QByteArray &) { return ImageSender::Said::Consent; },
                                         [] {}};
    while (state.KeepRunning()) {
        state.PauseTiming();
        const ScriptedPeer peer(instrument());
        LineConversation link('\n', pacing.written);
        const bool open =
            link.open(QStringLiteral("127.0.0.1"), peer.port(), pacing.tunnelConnect, Interruption::Ignored);
        state.ResumeTiming();
        if (!open || ImageSender(link, pacing, dialogue).send(image) != ImageSender::Outcome::Consent) {
            state.SkipWithError("the image was not taken");
        }
        state.PauseTiming();
        link.close();
        state.ResumeTiming();
    }
    state.SetBytesProcessed(state.iterations() * imageBytes);
}

void sendAtOnce(benchmark::State &state)
{
    const QByteArray image(imageBytes, 'q');
    while (state.KeepRunning()) {
        state.PauseTiming();
        const ScriptedPeer peer(instrument());
        QTcpSocket socket;
        socket.connectToHost(QStringLiteral("127.0.0.1"), peer.port());
        const bool open = socket.waitForConnected(patienceMs);
        state.ResumeTiming();
        socket.write(image);
        if (!open || !socket.waitForReadyRead(patienceMs)) {
            state.SkipWithError("the image was not taken");
        }
        state.PauseTiming();
        socket.abort();
        state.ResumeTiming();
    }
    state.SetBytesProcessed(state.iterations() * imageBytes);
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    const auto add = [](const char *name, auto function, auto... arguments) {
        benchmark::RegisterBenchmark(name, function, arguments...)
            ->UseRealTime()
            ->Unit(benchmark::kMillisecond)
            ->Iterations(20);
    };
    add(careful[0], sendInPieces, 1024);
    add(careful[1], sendInPieces, 256);
    add(atOnce, sendAtOnce);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    for (const char *name : careful) {
        if (const double times = reporter.timesFaster(atOnce, name)) {
            std::printf("%s take %.1f times as long as %s\n", name, times, atOnce);
        }
    }
    return 0;
}
