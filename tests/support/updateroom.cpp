#include "updateroom.h"

#include "labroom.h"

#include <QCryptographicHash>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace labroom;

namespace updateroom {

QString address()
{
    return QStringLiteral("192.168.0.70");
}

QString mac()
{
    return QStringLiteral("00:1A:2B:00:00:70");
}

QJsonObject instrument(const QByteArray &json, const QByteArray &update)
{
    QJsonObject dialogue = object(update.constData());
    if (!dialogue.contains(QStringLiteral("imageSilenceMs"))) {
        dialogue.insert(QStringLiteral("imageSilenceMs"), 1000);
    }
    QJsonObject one = with(with(object(json.constData()), "update", dialogue), "ip", address());
    return with(with(one, "mac", mac()), "restartMs", 20);
}

void startLab(LabProcess &lab, const QByteArray &json, const QByteArray &update)
{
    QVERIFY2(lab.start(scenarioOf({instrument(json, update)})), qPrintable(lab.errorText()));
}

QByteArray firmware(int size)
{
    QByteArray bytes = QByteArrayLiteral("\n\r\nVER\r\nMREBOOT\r\nEPCSER:0\r");
    bytes += '\0';
    for (int i = bytes.size(); i < size; ++i) {
        bytes += static_cast<char>(i * 7 + i / 256);
    }
    return bytes.left(size);
}

QByteArray firmwareFile(const QString &path, int size)
{
    QByteArray image = firmware(size);
    QFile file(path);
    [&] { QVERIFY(file.open(QIODevice::WriteOnly) && file.write(image) == image.size()); }();
    return image;
}

QByteArray imageIn(LabProcess &lab, const QString &of)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("image.bin"));
    const int dumps = lab.events(QStringLiteral("imageDumped")).size();
    lab.command({{QStringLiteral("command"), QStringLiteral("dumpImage")},
                 {QStringLiteral("mac"), of},
                 {QStringLiteral("path"), path}});
    QByteArray image;
    if (lab.waitForEvent(QStringLiteral("imageDumped"), dumps + 1)) {
        QFile file(path);
        file.open(QIODevice::ReadOnly);
        image = file.readAll();
    }
    // Two dumps that failed are equal, and would pass for an instrument that nobody touched.
    [&image] { QVERIFY2(!image.isEmpty(), "the lab has dumped no image"); }();
    return image;
}

bool storedIs(LabProcess &lab, const QByteArray &image)
{
    const QJsonObject stored = lab.events(QStringLiteral("imageStored")).value(0);
    const QByteArray digest = QCryptographicHash::hash(image, QCryptographicHash::Sha256).toHex();
    return stored.value(QStringLiteral("bytes")).toInt() == image.size() &&
           field(stored, "sha256").toLatin1() == digest && imageIn(lab) == image;
}

} // namespace updateroom
