#pragma once

#include "checkupdatesthread.h"

#include <QByteArray>
#include <QMessageBox>
#include <QObject>
#include <QString>

#include <functional>

// Asks the installer's maintenance tool whether there are newer packages, tells the user, and starts
// the tool as updater if wished. Owned by the main window, which is the parent of its boxes. The tool
// runs in a background thread; a check that is asked for while one runs is ignored.
class Updates : public QObject
{
    Q_OBJECT

public:
    static constexpr const char *toolName = "maintenancetool.exe";
    static constexpr const char *supportAddress = "support@quorvex.example";
    static constexpr const char *repositoryLink = "https://support.quorvex.example/device-manager/repository";

    // The tool lies beside the executable, and is looked for at each check; it may take waitMs milliseconds
    // to answer.
    explicit Updates(QObject *parent = nullptr, int waitMs = CheckUpdatesThread::defaultWaitMs);
    // A tool elsewhere.
    Updates(const QString &tool, QObject *parent, int waitMs = CheckUpdatesThread::defaultWaitMs);

    // Asked before the tool is started as updater, since the program is closed then; false keeps it open
    // and starts nothing.
    void setQuitGuard(std::function<bool()> mayQuit) { m_mayQuit = std::move(mayQuit); }

    void checkUpdates();

public slots:
    // error is a QProcess::ProcessError, data what the tool wrote. Shows boxes and blocks until they
    // are answered.
    void onCheckResult(int error, const QByteArray &data);

private:
    void findTool();
    bool userAgrees() const;
    void startUpdater() const;
    void showBox(QMessageBox::Icon icon, const QString &text, Qt::TextFormat format = Qt::PlainText) const;
    QWidget *window() const;

    const QString m_toolPath;
    QString m_tool; // canonical path, empty when there was no tool when it was last looked for
    const int m_waitMs;
    std::function<bool()> m_mayQuit = [] { return true; };
    bool m_checking = false;
};
