#include "firmwareroom.h"

#include "updateroom.h"

#include <QCheckBox>
#include <QFile>
#include <QJsonArray>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>

namespace {

constexpr int updatePatienceMs = 60000;
constexpr int imageSize = 200000;

QString addressOf(int number)
{
    return QStringLiteral("192.168.0.%1").arg(number);
}

} // namespace

FirmwareRoom::FirmwareRoom() : firmware(window.homePath() + QLatin1String("/image.updt"))
{
    for (int i = 0; i < imageSize; ++i) {
        image.append(static_cast<char>((i * 7 + i / 251) & 0xFF));
    }
    QFile file(firmware);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(image), qint64{image.size()});
}

QString FirmwareRoom::macOf(int number)
{
    return QStringLiteral("00:1A:2B:00:00:%1").arg(number, 2, 16, QLatin1Char('0')).toUpper();
}

QJsonObject FirmwareRoom::instrument(const char *kind, const char *code, int number,
                                     const QJsonObject &update)
{
    QJsonObject object{{QStringLiteral("kind"), QLatin1String(kind)},
                       {QStringLiteral("mac"), macOf(number)},
                       {QStringLiteral("ip"), addressOf(number)},
                       {QStringLiteral("restartMs"), 0}};
    if (*code) {
        object.insert(QStringLiteral("code"), QLatin1String(code));
        object.insert(QStringLiteral("update"), update.isEmpty() ? QJsonValue(true) : QJsonValue(update));
    }
    return object;
}

void FirmwareRoom::openPage(const QVector<QJsonObject> &instruments, const QByteArray &ini)
{
    QJsonArray list;
    for (const QJsonObject &one : instruments) {
        list.append(one);
    }
    QVERIFY2(lab.start({{QStringLiteral("instruments"), list}}), qPrintable(lab.errorText()));
    window.writeSettings(ini);
    window.open();
    QVERIFY(window.scan());
    window.find<QPushButton>("updateBtn")->click();
    window.find<QLineEdit>("lineEditFirmware1")->setText(firmware);
}

QCheckBox *FirmwareRoom::boxOf(int number) const
{
    QCheckBox *box = window.table()->selectionBox(window.rowOf(DeviceTable::IpColumn, addressOf(number)));
    if (!box) {
        qFatal("the scan has not found %s", qPrintable(addressOf(number)));
    }
    return box;
}

void FirmwareRoom::tick(std::initializer_list<int> numbers) const
{
    for (const int number : numbers) {
        boxOf(number)->setChecked(true);
    }
}

bool FirmwareRoom::press(const char *button) const
{
    QTest::mouseClick(window.find<QPushButton>(button), Qt::LeftButton);
    return QTest::qWaitFor([this] { return !isLocked(); }, updatePatienceMs);
}

bool FirmwareRoom::isLocked() const
{
    return !window.find<QPushButton>("updateFwBtn")->isEnabled();
}

QString FirmwareRoom::log() const
{
    return window.find<QPlainTextEdit>("plainTextEditFirmware")->toPlainText();
}

QByteArray FirmwareRoom::storedImage(int number)
{
    return updateroom::imageIn(lab, macOf(number));
}
