#include "previousinstallation.h"

#include <QCoreApplication>
#include <QDir>
#include <QMessageBox>

void checkPreviousInstallation(QWidget *window)
{
    QDir folder(QDir::home().filePath(QStringLiteral("Quorvex/DeviceManager")));
    if (!folder.exists()) {
        return;
    }
    const QString path = folder.absolutePath();
    if (path == QDir(QCoreApplication::applicationDirPath()).absolutePath()) {
        return; // that is the program now running
    }
    const auto answer = QMessageBox::question(
        window, QStringLiteral("Previous Installation Found"),
        QStringLiteral("A previous installation was found in:\n%1\n\nDo you want to remove it?").arg(path),
        QMessageBox::Yes | QMessageBox::No);
    if (answer == QMessageBox::Yes && !folder.removeRecursively()) {
        QMessageBox::warning(window, QStringLiteral("Error"),
                             QStringLiteral("Unable to remove old installation at:\n%1").arg(path));
    }
}
