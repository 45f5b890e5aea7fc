// Catalogue lookups per second from the index, against parsing the file for each lookup, in one run.
// The last line is how many times faster the index is.

#include "devicecatalogue.h"
#include "ratioreporter.h"

#include <QDomDocument>
#include <QFile>
#include <QStringList>

#include <benchmark/benchmark.h>
#include <cstdio>

namespace {

// One from the file's beginning, its middle and its end, and one that it does not have.
QStringList codes()
{
    return {QStringLiteral("1100"), QStringLiteral("2300"), QStringLiteral("6400"), QStringLiteral("9999")};
}

QString parseAndLookUp(const QString &code, int index)
{
    QFile file(QStringLiteral(":/files/resources/devices.xml"));
    QDomDocument document;
    if (!file.open(QIODevice::ReadOnly) || !document.setContent(&file)) {
        return {};
    }
    QDomElement device = document.documentElement().firstChildElement();
    while (!device.isNull() && device.firstChildElement().text() != code) {
        device = device.nextSiblingElement();
    }
    return device.childNodes().at(index).firstChild().nodeValue();
}

template <typename LookUp>
void lookUpAll(benchmark::State &state, LookUp lookUp)
{
    const QStringList all = codes();
    for (const QString &code : all) {
        if (lookUp(code, devicecatalogue::DescEntry) != parseAndLookUp(code, devicecatalogue::DescEntry)) {
            state.SkipWithError("the two ways do not agree");
        }
    }
    while (state.KeepRunning()) {
        for (const QString &code : all) {
            benchmark::DoNotOptimize(lookUp(code, devicecatalogue::DescEntry));
        }
    }
    state.SetItemsProcessed(state.iterations() * all.size());
}

} // namespace

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    benchmark::RegisterBenchmark("index", lookUpAll<decltype(&devicecatalogue::lookup)>,
                                 &devicecatalogue::lookup);
    benchmark::RegisterBenchmark("parsing", lookUpAll<decltype(&parseAndLookUp)>, &parseAndLookUp);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    if (const double times = reporter.timesFaster("index", "parsing")) {
        std::printf("The index is %.0f times as fast as parsing\n", times);
    }
    return 0;
}
