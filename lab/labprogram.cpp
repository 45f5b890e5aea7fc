#include "commandreader.h"
#include "eventlog.h"
#include "hostaddresses.h"
#include "scenario.h"
#include "virtuallab.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <QSocketNotifier>

#include <csignal>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace {

constexpr int exitRefused = 2;
constexpr int mostPlain = 100000;

struct Options
{
    QString scenario; // path; empty: none
    int count = 0;    // of plain instruments
    bool verbose = false;
    bool quitWithStdin = false;
};

int refuse(const QString &reason)
{
    std::fprintf(stderr, "virtual-lab: %s\n", qUtf8Printable(reason));
    return exitRefused;
}

Options readOptions(const QCoreApplication &application)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Plays a room full of instruments on the lab host of script/lab-net, and tells what happens "
        "to them as JSON lines.\nCommands come as JSON lines on standard input."));
    const QCommandLineOption count(QStringLiteral("count"), QStringLiteral("plays N plain instruments (too)"),
                                   QStringLiteral("N"));
    const QCommandLineOption verbose(QStringLiteral("verbose"), QStringLiteral("tells each reply"));
    const QCommandLineOption quit(QStringLiteral("quit-with-stdin"),
                                  QStringLiteral("ends when standard input ends"));
    parser.addHelpOption();
    parser.addOptions({count, verbose, quit});
    parser.addPositionalArgument(QStringLiteral("SCENARIO.json"), QStringLiteral("the instruments"),
                                 QStringLiteral("[SCENARIO.json]"));
    parser.process(application);
    const int plain = parser.value(count).toInt();
    if (parser.positionalArguments().size() > 1 ||
        (parser.isSet(count) && (plain < 1 || plain > mostPlain)) ||
        (parser.positionalArguments().isEmpty() && !parser.isSet(count))) {
        parser.showHelp(exitRefused);
    }
    return {parser.positionalArguments().value(0), plain, parser.isSet(verbose), parser.isSet(quit)};
}

// A module takes a descriptor for its listening socket; the usual limit of 1024 ends too soon.
void raiseDescriptorLimit()
{
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

// A descriptor that becomes readable when the process is asked to end, so that it ends in order.
int endingSignals()
{
    sigset_t set;
    sigemptyset(&set);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        sigaddset(&set, number);
    }
    sigprocmask(SIG_BLOCK, &set, nullptr);
    return signalfd(-1, &set, SFD_CLOEXEC);
}

Scenario instrumentsFor(const Options &options, const QVector<Cable> &cables)
{
    Scenario scenario;
    if (!options.scenario.isEmpty()) {
        QFile file(options.scenario);
        if (!file.open(QIODevice::ReadOnly)) {
            return {{}, options.scenario + QStringLiteral(": ") + file.errorString()};
        }
        scenario = readScenario(file.readAll(), cables);
        if (!scenario.error.isEmpty()) {
            scenario.error.prepend(options.scenario + QStringLiteral(": "));
        }
    }
    QSet<quint32> taken;
    for (const InstrumentSpec &spec : qAsConst(scenario.instruments)) {
        taken.insert(spec.identity.ip);
    }
    scenario.instruments += plainInstruments(options.count, cables, taken);
    return scenario;
}

int play(const Options &options, QCoreApplication &application)
{
    const QVector<Cable> cables = labCables();
    if (cables.isEmpty()) {
        return refuse(QStringLiteral("this host has no lab cable; start it on the lab host: "
                                     "script/lab-net --lab -- virtual-lab ..."));
    }
    const Scenario scenario = instrumentsFor(options, cables);
    if (!scenario.error.isEmpty()) {
        return refuse(scenario.error);
    }
    VirtualLab lab(options.verbose);
    QString error;
    if (!lab.open(cables, &error) || !lab.populate(scenario.instruments, &error)) {
        return refuse(error);
    }
    const CommandReader commands(STDIN_FILENO,
                                 [&lab](const QJsonObject &command) { return lab.carryOut(command); });
    if (options.quitWithStdin) {
        QObject::connect(&commands, &CommandReader::ended, &application, &QCoreApplication::quit);
    }
    const QSocketNotifier ending(endingSignals(), QSocketNotifier::Read);
    QObject::connect(&ending, &QSocketNotifier::activated, &application, &QCoreApplication::quit);
    EventLog().report("ready", {{"instruments", scenario.instruments.size()}});
    return QCoreApplication::exec();
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    const Options options = readOptions(application);
    if (!qEnvironmentVariableIsSet("LAB_NET")) {
        return refuse(
            QStringLiteral("plays only in the private network of script/lab-net, never in a real one"));
    }
    raiseDescriptorLimit();
    return play(options, application);
}
