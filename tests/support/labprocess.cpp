#include "labprocess.h"

#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QJsonDocument>
#include <QTimer>

#include <algorithm>

namespace {

constexpr int pollMs = 2;
constexpr int endTimeoutMs = 5000;

QString scenarioPath(const QString &name)
{
    return QDir(QStringLiteral(LAB_SCENARIOS)).filePath(name);
}

} // namespace

LabProcess::LabProcess(QObject *parent) : QObject(parent) {}

LabProcess::~LabProcess()
{
    stop();
}

bool LabProcess::start(const QJsonObject &scenario, const QStringList &options)
{
    const QString path = m_folder.filePath(QStringLiteral("scenario.json"));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(QJsonDocument(scenario).toJson()) < 0) {
        m_errors = path + QStringLiteral(": ") + file.errorString();
        return false;
    }
    file.close();
    return run(QStringList{path} + options);
}

bool LabProcess::startFile(const QString &name, const QStringList &options)
{
    return run(QStringList{scenarioPath(name)} + options);
}

bool LabProcess::startCount(int n)
{
    return run({QStringLiteral("--count"), QString::number(n)});
}

bool LabProcess::run(const QStringList &arguments)
{
    stop();
    ++m_runs;
    m_errors.clear();
    m_events.clear();
    m_lineStart.clear();
    m_offset = 0;
    m_process.setStandardOutputFile(eventsPath());
    m_process.start(labNet(), QStringList{QStringLiteral("--lab"), QStringLiteral("--"), program(),
                                          QStringLiteral("--quit-with-stdin")} +
                                  arguments);
    const bool ready = waitUntil(
        [this] {
            return m_process.state() == QProcess::NotRunning || !events(QStringLiteral("ready")).isEmpty();
        },
        startTimeoutMs);
    return ready && isRunning(); // its event can be read before the process is told of as started
}

bool LabProcess::stop()
{
    if (m_process.state() == QProcess::NotRunning) {
        return false;
    }
    m_process.closeWriteChannel(); // the lab ends with its standard input
    if (!m_process.waitForFinished(endTimeoutMs)) {
        m_process.kill();
        m_process.waitForFinished(endTimeoutMs);
    }
    return m_process.exitStatus() == QProcess::NormalExit && m_process.exitCode() == 0;
}

QJsonObject LabProcess::scenario(const QString &name)
{
    QFile file(scenarioPath(name));
    file.open(QIODevice::ReadOnly);
    return QJsonDocument::fromJson(file.readAll()).object();
}

QString LabProcess::eventsPath() const
{
    return m_folder.filePath(QStringLiteral("events-%1.jsonl").arg(m_runs));
}

void LabProcess::readEvents() const
{
    QFile file(eventsPath());
    if (!file.open(QIODevice::ReadOnly) || !file.seek(m_offset)) {
        return;
    }
    const QByteArray fresh = file.readAll();
    m_offset += fresh.size();
    m_lineStart += fresh;
    const int end = m_lineStart.lastIndexOf('\n') + 1;
    const QList<QByteArray> lines = m_lineStart.left(end).split('\n');
    m_lineStart.remove(0, end);
    for (const QByteArray &line : lines) {
        if (!line.isEmpty()) {
            m_events.append(QJsonDocument::fromJson(line).object());
        }
    }
}

QVector<QJsonObject> LabProcess::events(const QString &name) const
{
    readEvents();
    QVector<QJsonObject> chosen;
    std::copy_if(m_events.cbegin(), m_events.cend(), std::back_inserter(chosen),
                 [&name](const QJsonObject &event) {
                     return name.isEmpty() || event.value(QStringLiteral("event")).toString() == name;
                 });
    return chosen;
}

bool LabProcess::waitForEvent(const QString &name, int count, int timeoutMs)
{
    return waitUntil([this, &name, count] { return events(name).size() >= count; }, timeoutMs);
}

bool LabProcess::waitForEvent(const std::function<bool(const QJsonObject &)> &predicate, int timeoutMs)
{
    return waitUntil(
        [this, &predicate] {
            readEvents();
            return std::any_of(m_events.cbegin(), m_events.cend(), predicate);
        },
        timeoutMs);
}

bool LabProcess::waitUntil(const std::function<bool()> &reached, int timeoutMs)
{
    if (reached()) {
        return true;
    }
    QEventLoop loop;
    QTimer poll;
    bool done = false;
    connect(&poll, &QTimer::timeout, &loop, [&] {
        done = reached();
        if (done) {
            loop.quit();
        }
    });
    poll.start(pollMs);
    QTimer::singleShot(timeoutMs, &loop, &QEventLoop::quit);
    loop.exec();
    return done || reached();
}

void LabProcess::command(const QJsonObject &command)
{
    m_process.write(QJsonDocument(command).toJson(QJsonDocument::Compact) + '\n');
    m_process.waitForBytesWritten(eventTimeoutMs);
}

QString LabProcess::errorText()
{
    m_errors += QString::fromLocal8Bit(m_process.readAllStandardError());
    if (m_process.error() == QProcess::FailedToStart) {
        return m_process.errorString();
    }
    return m_errors;
}

QString LabProcess::program()
{
    return QStringLiteral(LAB_PROGRAM);
}

QString LabProcess::labNet()
{
    return QStringLiteral(LAB_NET_SCRIPT);
}
