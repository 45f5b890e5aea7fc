#include "device.h"
#include "devicecatalogue.h"
#include "devicetables.h"
#include "ipv4address.h"

#include <QFile>
#include <QRegularExpression>
#include <QSet>
#include <QTest>
#include <QXmlStreamReader>

// The record, the shared tables and the catalogue: what every other room relies on.
class TestDeviceModel : public QObject
{
    Q_OBJECT

private slots:
    void catalogueKeepsItsForm();
    void catalogueKnowsTheCodesThatTheProgramTests_data();
    void catalogueKnowsTheCodesThatTheProgramTests();
    void lookupIsExact();
    void supportedDevicesNameEveryCodeOnce();
    void onlyCode1900WearsAnOemDress_data();
    void onlyCode1900WearsAnOemDress();
    void addressesAreReadStrictly_data();
    void addressesAreReadStrictly();
    void tablesAnswerUnknownKeysWithEmptyText();
};

// The catalogue's own text, read without the code under test: one row of texts for each device.
static QList<QStringList> catalogueRows(QStringList *problems)
{
    QFile file(QStringLiteral(":/files/resources/devices.xml"));
    if (!file.open(QIODevice::ReadOnly)) {
        problems->append(QStringLiteral("no catalogue"));
        return {};
    }
    const QStringList order{QStringLiteral("id"), QStringLiteral("family"), QStringLiteral("group"),
                            QStringLiteral("image"), QStringLiteral("desc")};
    QList<QStringList> rows;
    QXmlStreamReader xml(&file);
    xml.readNextStartElement();
    while (xml.readNextStartElement()) {
        QStringList names;
        QStringList texts;
        while (xml.readNextStartElement()) {
            names.append(xml.name().toString());
            texts.append(xml.readElementText());
        }
        if (names != order) {
            problems->append(texts.value(0) + QStringLiteral(" has ") + names.join(QLatin1Char(' ')));
        }
        rows.append(texts);
    }
    if (xml.hasError()) {
        problems->append(xml.errorString());
    }
    return rows;
}

void TestDeviceModel::catalogueKeepsItsForm()
{
    QStringList problems;
    const QList<QStringList> rows = catalogueRows(&problems);
    QVERIFY2(problems.isEmpty(), qPrintable(problems.join(QLatin1Char('\n'))));
    QCOMPARE(rows.size(), 51);

    const QRegularExpression code(QStringLiteral("^[1-6][0-9A-F]{3}$"));
    const QMap<QChar, int> familyOfDigit{{QLatin1Char('1'), 0}, {QLatin1Char('2'), 1}, {QLatin1Char('3'), 2},
                                         {QLatin1Char('4'), 0}, {QLatin1Char('5'), 3}, {QLatin1Char('6'), 3}};
    QSet<QString> codes;
    for (const QStringList &row : rows) {
        const QString &id = row[devicecatalogue::IdEntry];
        QVERIFY2(code.match(id).hasMatch() && !codes.contains(id), qPrintable(id));
        codes.insert(id);
        QCOMPARE(row[devicecatalogue::FamilyEntry], familyName(familyOfDigit.value(id.at(0), -1)));
        // The network configuration file writes the group unquoted between commas.
        QVERIFY2(!row[devicecatalogue::GroupEntry].isEmpty() &&
                     !row[devicecatalogue::GroupEntry].contains(QLatin1Char(',')),
                 qPrintable(id));
        QVERIFY2(!row[devicecatalogue::DescEntry].isEmpty() &&
                     !row[devicecatalogue::DescEntry].contains(QLatin1Char('\n')),
                 qPrintable(id));
        // The OEM rule cuts the path at its first dot.
        QCOMPARE(row[devicecatalogue::ImageEntry].count(QLatin1Char('.')), 1);
        // What the lookup finds is this row and not an earlier one with the same text.
        for (int entry = 0; entry < devicecatalogue::entryCount; ++entry) {
            QCOMPARE(devicecatalogue::lookup(id, entry), row[entry]);
        }
    }
    QVERIFY(!codes.contains(QStringLiteral("2137"))); // stands for a sub-model nobody catalogued
    for (const QString &id : qAsConst(codes)) {
        QVERIFY2(!id.startsWith(QLatin1Char('2')) || codes.contains(id.left(2) + QStringLiteral("00")),
                 qPrintable(id));
    }
}

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
    QVERIFY(devicecatalogue::contains(QStringLiteral("1F80")));
    QVERIFY(devicecatalogue::group(QStringLiteral("1f80")).isEmpty());
    QVERIFY(devicecatalogue::lookup(QStringLiteral("2100"), 5).isEmpty());
    QVERIFY(devicecatalogue::lookup(QStringLiteral("2100"), -1).isEmpty());
    QVERIFY(!devicecatalogue::isPowerSupply(QStringLiteral("9999")));
}

void TestDeviceModel::supportedDevicesNameEveryCodeOnce()
{
    QFile file(QStringLiteral(":/files/resources/supportedDevices"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QString text = QString::fromLatin1(file.readAll());
    QStringList problems;
    for (const QStringList &row : catalogueRows(&problems)) {
        const QString &id = row[devicecatalogue::IdEntry];
        const QRegularExpression word(QStringLiteral("\\b%1\\b").arg(id));
        QCOMPARE(text.count(word), 1);
        const QString line = text.mid(text.indexOf(word)).section(QLatin1Char('\n'), 0, 0);
        QVERIFY2(line.contains(row[devicecatalogue::GroupEntry]) &&
                     line.endsWith(row[devicecatalogue::DescEntry]),
                 qPrintable(line));
    }
    for (int family = 0; family < 4; ++family) {
        QCOMPARE(text.count(QStringLiteral("\n%1\n").arg(familyName(family))), 1);
    }
}

void TestDeviceModel::onlyCode1900WearsAnOemDress_data()
{
    QTest::addColumn<QString>("code");
    QTest::addColumn<QString>("brand");
    QTest::addColumn<QString>("suffix");
    QTest::newRow("another code") << "1100"
                                  << "PYRENTA"
                                  << ".png";
    const QVector<QPair<const char *, const char *>> brands{
        {"HALVERN", "_ha.png"}, {"DOSSIK", "_do.png"}, {"PYRENTA", "_py.png"}, {"LUMIVAST", "_lu.png"},
        {"", ".png"},           {"pyrenta", ".png"},   {"ACME", ".png"},
    };
    for (const auto &[brand, suffix] : brands) {
        QTest::addRow("1900 of %s", brand) << "1900" << brand << suffix;
    }
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
