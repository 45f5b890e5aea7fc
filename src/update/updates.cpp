#include "updates.h"

#include "tooloutput.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QWidget>

#include <array>

namespace {

// What went wrong, by QProcess::ProcessError.
constexpr std::array<const char *, 5> errorTexts{
    "The process failed to start. Either the invoked program is missing, or you may have insufficient "
    "permissions to invoke the program.",
    "The process crashed some time after starting successfully.",
    "Timeout.",
    "An error occurred when attempting to read from the process. For example, the process may not be "
    "running.",
    "An error occurred when attempting to write to the process. For example, the process may not be "
    "running, or it may have closed its input channel.",
};

QString errorText(int error)
{
    if (error < 0 || error >= static_cast<int>(errorTexts.size())) {
        return QStringLiteral("Unknown error, code error %1").arg(error);
    }
    return QString::fromLatin1(errorTexts[static_cast<std::size_t>(error)]);
}

QString boxTitle()
{
    return QStringLiteral("Updates");
}

} // namespace

Updates::Updates(QObject *parent, int waitMs)
    : Updates(QDir(QCoreApplication::applicationDirPath()).filePath(QLatin1String(toolName)), parent, waitMs)
{}

Updates::Updates(const QString &tool, QObject *parent, int waitMs)
    : QObject(parent), m_toolPath(tool), m_waitMs(waitMs)
{
    findTool();
}

void Updates::findTool()
{
    m_tool = QFileInfo(m_toolPath).canonicalFilePath();
}

void Updates::checkUpdates()
{
    if (m_checking) {
        return;
    }
    findTool(); // it may have been installed while the window was open
    if (m_tool.isEmpty()) {
        showBox(
            QMessageBox::Critical,
            QStringLiteral("Cannot start maintancetool %1\nPlease reinstall the application with the ONLINE "
                           "or OFFLINE installer. If the issue persists, contact %2.")
                .arg(m_tool, QLatin1String(supportAddress)));
        return;
    }
    m_checking = true;
    auto *thread = new CheckUpdatesThread(this, m_tool, {QStringLiteral("--checkupdates")}, m_waitMs);
    connect(thread, &CheckUpdatesThread::signalResultReady, this, &Updates::onCheckResult);
    connect(thread, &QThread::finished, thread, &QObject::deleteLater);
    thread->start(QThread::InheritPriority);
}

void Updates::onCheckResult(int error, const QByteArray &data)
{
    if (error != QProcess::UnknownError) {
        showBox(QMessageBox::Critical,
                QStringLiteral("Error calling maintenancetool %1. %2").arg(m_tool, errorText(error)));
    } else if (!QString::fromLatin1(data.constData()).contains(QLatin1String(ToolOutput::updatesMark))) {
        showBox(QMessageBox::Information, QStringLiteral("No updates available."));
    } else if (userAgrees() && m_mayQuit()) {
        startUpdater();
    }
    m_checking = false;
}

bool Updates::userAgrees() const
{
    // The set is Yes alone and the default is No, which is not in it. Qt takes that for its oldest way
    // of naming buttons and shows both, with the focus on Yes; Esc and closing the box count as No.
    // Naming the default within the set would take No away and let Esc agree.
    const QMessageBox::StandardButton answer = QMessageBox::information(
        window(), boxTitle(),
        QStringLiteral("There are updates, would you like to upgrade (the application will be closed)?"),
        QMessageBox::Yes, QMessageBox::No);
    return answer == QMessageBox::Yes;
}

void Updates::startUpdater() const
{
    if (QProcess::startDetached(m_tool, {QStringLiteral("--updater")})) {
        QCoreApplication::quit();
        return;
    }
    showBox(QMessageBox::Critical,
            QStringLiteral("The maintenance tool is installed properly, but an error occurred.<br><br>"
                           "Please check the access permissions and that the "
                           "<a href=\"%1\">package repository</a> can be reached, for example through a "
                           "firewall or proxy, and try again later. If the issue persists, contact %2.")
                .arg(QLatin1String(repositoryLink), QLatin1String(supportAddress)),
            Qt::RichText);
}

void Updates::showBox(QMessageBox::Icon icon, const QString &text, Qt::TextFormat format) const
{
    QMessageBox box(icon, boxTitle(), text, QMessageBox::Ok, window());
    box.setTextFormat(format);
    box.exec();
}

QWidget *Updates::window() const
{
    return qobject_cast<QWidget *>(parent());
}
