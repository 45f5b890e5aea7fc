#include "device.h"
#include "devicecatalogue.h"
#include "devicetables.h"
#include "ipv4address.h"

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
    void addressesAreReadStrictly_data();
    void addressesAreReadStrictly();
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

void TestDeviceModel::addressesAreReadStrictly_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<qint64>("number"); // -1: refused
    QTest::newRow("plain") << "192.168.0.10" << qint64{0xC0A8000A};
    QTest::newRow("blanks around") << " 10.0.0.1\t" << qint64{0x0A000001};
    QTest::newRow("zero") << "0.0.0.0" << qint64{0};
    QTest::newRow("all ones") << "255.255.255.255" << qint64{0xFFFFFFFF};
    for (const char *refused : {"", "192.168.5", "5", "010.1.1.1", "1.2.3.04", "1.2.3.256", "1.2.3.4.5",
                                "1.2.3.", "0x10.1.1.1", "1.2.3.4/24", "::1", "1. 2.3.4", "-1.2.3.4"}) {
        QTest::newRow(qPrintable(QStringLiteral("refused '%1'").arg(QLatin1String(refused))))
            << QString::fromLatin1(refused) << qint64{-1};
    }
}

void TestDeviceModel::addressesAreReadStrictly()
{
    QFETCH(QString, text);
    QFETCH(qint64, number);
    const std::optional<quint32> address = parseIpv4Address(text);
    QCOMPARE(address ? qint64{*address} : qint64{-1}, number);
    QCOMPARE(isUsableIpv4Address(text), number > 0 && number < 0xFFFFFFFF);
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
