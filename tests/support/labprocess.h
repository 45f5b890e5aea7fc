#pragma once

#include <QJsonObject>
#include <QObject>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>
#include <QVector>

#include <functional>

// The virtual lab of a test: virtual-lab as a process of its own on the lab host of script/lab-net,
// started by a test that runs on the workstation. It ends, with its addresses, when this object does.
//
// The lab writes its events into a file, so it never waits for a test that is busy elsewhere, and
// every event that has happened can be read at any time.
class LabProcess : public QObject
{
    Q_OBJECT

public:
    static constexpr int startTimeoutMs = 30000;
    static constexpr int eventTimeoutMs = 10000;

    explicit LabProcess(QObject *parent = nullptr);
    ~LabProcess() override;

    // Each starts the lab, ending the one before, and answers true once its instruments can be
    // reached. After false, errorText() says why.
    bool start(const QJsonObject &scenario, const QStringList &options = {});
    bool startFile(const QString &name, const QStringList &options = {}); // "showcase.json"
    bool startCount(int n);

    // Ends the lab in order; true when it ended by itself with exit code 0.
    bool stop();

    // The scenario that startFile(name) plays, for tests that compare with what it says.
    static QJsonObject scenario(const QString &name);

    // What has happened since the start, in order; with a name, only these events.
    QVector<QJsonObject> events(const QString &name = {}) const;

    // Waits, with the event loop running, until `count` events of this name, or one for which the
    // predicate is true, have happened since the start; false after timeoutMs.
    bool waitForEvent(const QString &name, int count = 1, int timeoutMs = eventTimeoutMs);
    bool waitForEvent(const std::function<bool(const QJsonObject &)> &predicate,
                      int timeoutMs = eventTimeoutMs);

    // Sends a command line: {{"command", "reboot"}, {"mac", "00:1A:2B:00:00:01"}}.
    void command(const QJsonObject &command);

    // What the lab wrote to standard error, and how it ended if it did.
    QString errorText();
    bool isRunning() const { return m_process.state() != QProcess::NotRunning; }
    int exitCode() const { return m_process.exitCode(); }

    static QString program(); // the path of virtual-lab
    static QString labNet();  // the path of script/lab-net

private:
    bool run(const QStringList &arguments);
    bool waitUntil(const std::function<bool()> &reached, int timeoutMs);
    QString eventsPath() const;
    void readEvents() const;

    QTemporaryDir m_folder;
    QProcess m_process;
    QString m_errors;
    int m_runs = 0;

    // What has been read of the events file so far.
    mutable QVector<QJsonObject> m_events;
    mutable QByteArray m_lineStart;
    mutable qint64 m_offset = 0;
};
