#include "device.h"
#include "devicecatalogue.h"
#include "devicetables.h"

#include <QTest>

// The record, the shared tables and the catalogue: what every other room relies on.
class TestDeviceModel : public QObject
{
    Q_OBJECT

private slots:
    void catalogueKnowsTheCodesThatTheProgramTests_data();
    void catalogueKnowsTheCodesThatTheProgramTests();
    void lookupIsExact();
    void onlyCode1900WearsAnOemDress_data();
    void onlyCode1900WearsAnOemDress();
    void tablesAnswerUnknownKeysWithEmptyText();
};

void TestDeviceModel::catalogueKnowsTheCodesThatTheProgramTests_data()
{
    QTest::addColumn<QString>("code");
    QTest::addColumn<int>("family");
    const QVector<QPair<const char *, int>> rows{
        {"1100", 0}, {"1400", 0}, {"1600", 0}, {"1900", 0}, {"1F80", 0}, {"4100", 0}, {"4200", 0},
        {"2100", 1}, {"2110", 1}, {"2180", 1}, {"3100", 2}, {"5100", 3}, {"6100", 3}};
    for (const auto &[code, family] : rows) {
        QTest::newRow(code) << QString::fromLatin1(code) << family;
    }
}

void TestDeviceModel::catalogueKnowsTheCodesThatTheProgramTests()
{
    QFETCH(QString, code);
    QFETCH(int, family);
    QCOMPARE(devicecatalogue::id(code), code);
    QCOMPARE(devicecatalogue::family(code), familyName(family));
    QCOMPARE(devicecatalogue::isPowerSupply(code), family == 0);
    QCOMPARE(devicecatalogue::isBeamline(code), family == 1);
    QCOMPARE(devicecatalogue::isCurrentTransducer(code), family == 2);
}

void TestDeviceModel::lookupIsExact()
{
    QVERIFY(devicecatalogue::group(QStringLiteral("1f80")).isEmpty());
    QVERIFY(devicecatalogue::lookup(QStringLiteral("2100"), 5).isEmpty());
    QVERIFY(devicecatalogue::lookup(QStringLiteral("2100"), -1).isEmpty());
    QVERIFY(!devicecatalogue::isPowerSupply(QStringLiteral("9999")));
}

void TestDeviceModel::onlyCode1900WearsAnOemDress_data()
{
    QTest::addColumn<QString>("code");
    QTest::addColumn<QString>("brand");
    QTest::addColumn<QString>("suffix");
    QTest::newRow("another code") << "1100"
                                  << "PYRENTA"
                                  << ".png";
}

void TestDeviceModel::onlyCode1900WearsAnOemDress()
{
    QFETCH(QString, code);
    QFETCH(QString, brand);
    QFETCH(QString, suffix);
    const QString plain = devicecatalogue::image(code);
    QVERIFY(plain.endsWith(QLatin1String(".png")));
    QCOMPARE(devicecatalogue::deviceIconPath(code, brand), plain.left(plain.size() - 4) + suffix);
}

void TestDeviceModel::tablesAnswerUnknownKeysWithEmptyText()
{
    QCOMPARE(fieldKey(11), QStringLiteral("DHCP"));
    QCOMPARE(fieldLabel(9), QStringLiteral("SubnetMask:"));
    QVERIFY(fieldKey(12).isEmpty() && fieldKey(-1).isEmpty() && fieldLabel(12).isEmpty());
    QVERIFY(familyName(4).isEmpty() && brandName(5).isEmpty() && brandIconSuffix(-1).isEmpty());
    QCOMPARE(brandKey(QStringLiteral("LUMIVAST")), 4);
    QCOMPARE(brandKey(QStringLiteral("lumivast")), -1);
}

QTEST_GUILESS_MAIN(TestDeviceModel)
#include "tst_devicemodel.moc"
