#include "checkupdatesthread.h"

#include "tooloutput.h"
#include "updates.h"

#include <QTimer>

namespace {

// How long a killed process may take to vanish.
constexpr int killWaitMs = 500;

} // namespace

CheckUpdatesThread::CheckUpdatesThread(Updates *parent, const QString &program, const QStringList &arguments,
                                       int waitMs)
    : QThread(parent), m_program(program), m_arguments(arguments), m_waitMs(waitMs)
{}

CheckUpdatesThread::~CheckUpdatesThread()
{
    requestInterruption();
    quit();
    wait();
}

void CheckUpdatesThread::run()
{
    // An event loop and not a blocking wait, so that the destructor can end it and the output is
    // taken as it comes. quit() is called directly: the thread object itself lives in the main thread.
    QProcess process;
    ToolOutput output;
    const auto takeOutput = [&] { output.append(process.readAllStandardOutput()); };
    connect(&process, &QProcess::readyReadStandardOutput, &process, takeOutput);
    connect(&process, qOverload<int, QProcess::ExitStatus>(&QProcess::finished), this, &QThread::quit,
            Qt::DirectConnection);
    connect(&process, &QProcess::errorOccurred, this, &CheckUpdatesThread::endIfNotStarted,
            Qt::DirectConnection);
    QTimer timeLimit;
    connect(&timeLimit, &QTimer::timeout, this, &QThread::quit, Qt::DirectConnection);
    timeLimit.start(m_waitMs);
    process.setStandardErrorFile(QProcess::nullDevice()); // nobody reads it, so it must not pile up
    process.start(m_program, m_arguments);
    exec();

    const bool timedOut = process.state() != QProcess::NotRunning;
    const QProcess::ProcessError error = timedOut ? QProcess::Timedout : process.error();
    process.kill();
    process.waitForFinished(killWaitMs);
    takeOutput();
    if (!isInterruptionRequested()) {
        emit signalResultReady(error, output.data());
    }
}

void CheckUpdatesThread::endIfNotStarted(QProcess::ProcessError error)
{
    if (error == QProcess::FailedToStart) {
        quit(); // a process that never ran does not finish either
    }
}
