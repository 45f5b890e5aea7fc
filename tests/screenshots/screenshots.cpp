// Plays instruments in the virtual lab and saves pictures of the real window. script/screenshots runs it
// on the workstation of the private network, once for each scale.

#include "labprocess.h"
#include "photographer.h"
#include "tour.h"

#include <QApplication>
#include <QDir>
#include <QProcess>
#include <QTextStream>

namespace {

int failed(LabProcess &lab)
{
    QTextStream(stderr) << lab.errorText();
    return 1;
}

// The question and, as nobody can remove a folder that something is mounted on, what comes of a Yes.
void takePreviousInstallation(Photographer &camera)
{
    const QString folder = QDir::home().filePath(QStringLiteral("Quorvex/DeviceManager"));
    QDir().mkpath(folder);
    QProcess::execute(QStringLiteral("mount"), {QStringLiteral("--bind"), folder, folder});
    camera.takeBoxes(
        QStringLiteral("box-previous-installation"),
        [&camera] {
            const Tour first(camera); // asks while it is made
        },
        QStringLiteral("Yes"));
    QProcess::execute(QStringLiteral("umount"), {folder});
    if (!QDir(folder).exists() ||
        !QDir(QDir::home().filePath(QStringLiteral("Quorvex"))).removeRecursively()) {
        qFatal("%s should have stayed until now", qPrintable(folder));
    }
}

int takeShowcase(Photographer &camera)
{
    LabProcess lab;
    if (!lab.startFile(QStringLiteral("showcase.json"))) {
        return failed(lab);
    }
    takePreviousInstallation(camera);
    Tour(camera).visitUpdateChecks();
    Tour(camera).visitShowcase();
    return 0;
}

int takeExtremes(Photographer &camera)
{
    LabProcess lab;
    if (!lab.start(extremes())) {
        return failed(lab);
    }
    Tour(camera).visitExtremes();
    return 0;
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc != 5) {
        QTextStream(stderr) << "usage: screenshots showcase|extremes HOME FOLDER SUFFIX\n";
        return 64;
    }
    const QByteArray home(argv[2]);
    qputenv("HOME", home);
    qputenv("XDG_CONFIG_HOME", home + "/.config");
    QCoreApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QCoreApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
    QGuiApplication::setHighDpiScaleFactorRoundingPolicy(Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);
    const QApplication application(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("Quorvex"));
    QCoreApplication::setApplicationName(QStringLiteral("DeviceManager"));
    Photographer camera(QString::fromLocal8Bit(argv[3]), QString::fromLocal8Bit(argv[4]));
    return qstrcmp(argv[1], "extremes") == 0 ? takeExtremes(camera) : takeShowcase(camera);
}
