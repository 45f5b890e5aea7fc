#include "devicecatalogue.h"
#include "devicetables.h"

#include <QDirIterator>
#include <QFile>
#include <QImage>
#include <QSet>
#include <QTest>

// The pictures and texts that are compiled in: there, whole, at both scales, and small together.
class TestResources : public QObject
{
    Q_OBJECT

private slots:
    void picturesLoadAtBothScales_data();
    void picturesLoadAtBothScales();
    void everyProductLineHasItsOwnPicture();
    void textsArePlainLatin1_data();
    void textsArePlainLatin1();
    void aboutNamesTheVersion();
    void allTogetherStaysSmall();
};

static QStringList catalogueCodes()
{
    QStringList codes;
    for (int number = 0x1000; number < 0x7000; ++number) {
        const QString code = QString::number(number, 16).toUpper();
        if (devicecatalogue::contains(code)) {
            codes.append(code);
        }
    }
    return codes;
}

static QSet<QString> devicePictures()
{
    QSet<QString> paths;
    for (const QString &code : catalogueCodes()) {
        for (int brand = 0; brand < devicetables::brandCount; ++brand) {
            paths.insert(devicecatalogue::deviceIconPath(code, devicetables::brandName(brand)));
        }
    }
    return paths;
}

void TestResources::picturesLoadAtBothScales_data()
{
    QTest::addColumn<QSize>("size");
    for (const QString &path : devicePictures()) {
        QTest::newRow(qPrintable(path)) << QSize(180, 180);
    }
    for (const char *icon : {"search", "info", "cpu", "tool", "filter", "monitor", "more-horizontal",
                             "upload-cloud", "download", "x", "check"}) {
        QTest::addRow(":/iconsPng/resources/icons/%s.png", icon) << QSize(20, 20);
    }
    QTest::newRow(":/images/resources/images/icon.png") << QSize(128, 128);
    QTest::newRow(":/images/resources/images/quorvex_logo.png") << QSize(264, 66);
}

void TestResources::picturesLoadAtBothScales()
{
    QFETCH(QSize, size);
    const QString path = QString::fromLatin1(QTest::currentDataTag());
    const QImage image(path);
    QCOMPARE(image.size(), size);
    QVERIFY(image.hasAlphaChannel());
    QCOMPARE(qAlpha(image.pixel(0, 0)), 0); // it stands on white, striped and blue rows alike
    const QImage large(QString(path).replace(QStringLiteral(".png"), QStringLiteral("@2x.png")));
    QCOMPARE(large.size(), size * 2);
}

void TestResources::everyProductLineHasItsOwnPicture()
{
    QList<QImage> seen;
    for (const QString &path : devicePictures()) {
        const QImage image(path);
        QVERIFY2(!seen.contains(image), qPrintable(path));
        seen.append(image);
    }
    QVERIFY(seen.size() > 20);
    // One line, one picture: the group tells which line a code belongs to.
    QMap<QString, QString> pictureOfGroup;
    for (const QString &code : catalogueCodes()) {
        const QString group = devicecatalogue::group(code);
        const QString image = devicecatalogue::image(code);
        QCOMPARE(pictureOfGroup.value(group, image), image);
        QCOMPARE(pictureOfGroup.key(image, group), group);
        pictureOfGroup.insert(group, image);
    }
}

void TestResources::textsArePlainLatin1_data()
{
    QTest::addColumn<QString>("path");
    for (const char *path :
         {":/otherFiles/changelogNEW.md", ":/files/resources/about", ":/files/resources/supportedDevices",
          ":/files/resources/styleSheet.qss", ":/files/resources/btnSelected.qss"}) {
        QTest::newRow(path) << path;
    }
}

void TestResources::textsArePlainLatin1()
{
    QFETCH(QString, path);
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray bytes = file.readAll();
    QVERIFY(bytes.size() > 100);
    // They are read as Latin-1 and end at a NUL byte: ASCII reads the same in every encoding.
    for (const char byte : bytes) {
        QVERIFY2(byte == '\n' || (byte >= ' ' && byte <= '~'),
                 bytes.left(bytes.indexOf(byte) + 1).constData());
    }
}

void TestResources::aboutNamesTheVersion()
{
    QFile file(QStringLiteral(":/files/resources/about"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray text = file.readAll();
    QVERIFY2(text.startsWith("Device Manager " PROJECT_VERSION "\n"), text.left(40).constData());
    QVERIFY(text.contains("LGPL") || text.contains("Lesser General Public License"));
    QVERIFY(text.contains("support@quorvex.example"));
}

void TestResources::allTogetherStaysSmall()
{
    qint64 bytes = 0;
    for (const char *root : {":/files", ":/images", ":/iconsPng", ":/otherFiles"}) {
        QDirIterator files(QString::fromLatin1(root), QDir::Files, QDirIterator::Subdirectories);
        while (files.hasNext()) {
            files.next();
            bytes += files.fileInfo().size();
        }
    }
    constexpr qint64 mebibyte = 1 << 20;
    QVERIFY(bytes > mebibyte / 10);
    QVERIFY2(bytes < 3 * mebibyte, QByteArray::number(bytes).constData());
}

QTEST_GUILESS_MAIN(TestResources)
#include "tst_resources.moc"
