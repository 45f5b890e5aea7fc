#pragma once

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QThread>

class Updates;

// Runs the maintenance tool once, in the background, and tells how that went. Owned by Updates.
// Destroying a running thread kills the tool and does not wait for it to come to an end by itself.
class CheckUpdatesThread : public QThread
{
    Q_OBJECT

public:
    static constexpr int defaultWaitMs = 30000;

    // A tool that takes longer than waitMs milliseconds is killed.
    CheckUpdatesThread(Updates *parent, const QString &program, const QStringList &arguments,
                       int waitMs = defaultWaitMs);
    ~CheckUpdatesThread() override;

signals:
    // error is a QProcess::ProcessError; 5 (unknown error) is what a process that ran normally has.
    // data is the tool's standard output, up to its first zero byte and of bounded size (ToolOutput).
    // Comes once, unless the thread is destroyed first.
    void signalResultReady(int error, const QByteArray &data);

protected:
    void run() override;

private:
    void endIfNotStarted(QProcess::ProcessError error);

    const QString m_program;
    const QStringList m_arguments;
    const int m_waitMs;
};
