#include "device.h"
#include "devicecatalogue.h"
#include "devicetables.h"
#include "instrumentrules.h"
#include "ipv4address.h"
#include "macaddress.h"

#include <QFile>
#include <QRegularExpression>
#include <QSet>
#include <QTest>
#include <QXmlStreamReader>

Q_DECLARE_METATYPE(instrumentrules::Procedure)
Q_DECLARE_METATYPE(instrumentrules::NetworkFields)

// The record, the shared tables, the catalogue and the rules: what every other room relies on.
class TestDeviceModel : public QObject
{
    Q_OBJECT

private slots:
    void catalogueKeepsItsForm();
    void lookupIsExact();
    void supportedDevicesNameEveryCodeOnce();
    void onlyCode1900WearsAnOemDress_data();
    void onlyCode1900WearsAnOemDress();
    void addressesAreReadStrictly_data();
    void addressesAreReadStrictly();
    void macTexts_data();
    void macTexts();
    void rulesFollowTheCode_data();
    void rulesFollowTheCode();
    void onlyOneCodeIsUpdatedTogether();
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
        const int family = familyOfDigit.value(id.at(0), -1);
        QCOMPARE(row[devicecatalogue::FamilyEntry], devicetables::familyName(family));
        QCOMPARE(devicecatalogue::isPowerSupply(id), family == 0);
        QCOMPARE(devicecatalogue::isBeamline(id), family == 1);
        QCOMPARE(devicecatalogue::isCurrentTransducer(id), family == 2);
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
    for (const char *tested : {"1100", "1400", "1600", "1900", "1F80", "4100", "4200", "2100", "2110", "2180",
                               "3100", "5100", "6100"}) { // by the program
        QVERIFY2(codes.contains(QLatin1String(tested)), tested);
    }
    QVERIFY(!codes.contains(QStringLiteral("2137"))); // stands for a sub-model nobody catalogued
    for (const QString &id : qAsConst(codes)) {
        QVERIFY2(!id.startsWith(QLatin1Char('2')) || codes.contains(id.left(2) + QStringLiteral("00")),
                 qPrintable(id));
    }
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
        QCOMPARE(text.count(QStringLiteral("\n%1\n").arg(devicetables::familyName(family))), 1);
    }
}

void TestDeviceModel::onlyCode1900WearsAnOemDress_data()
{
    QTest::addColumn<QString>("code");
    QTest::addColumn<QString>("brand");
    QTest::addColumn<QString>("suffix");
    const auto row = [](const char *code, const char *brand, const char *suffix) {
        QTest::addRow("%s of '%s'", code, brand)
            << QString::fromLatin1(code) << QString::fromLatin1(brand) << QString::fromLatin1(suffix);
    };
    row("1100", "PYRENTA", ".png");
    row("1900", "HALVERN", "_ha.png");
    row("1900", "DOSSIK", "_do.png");
    row("1900", "PYRENTA", "_py.png");
    row("1900", "LUMIVAST", "_lu.png");
    row("1900", "", ".png");
    row("1900", "pyrenta", ".png");
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

void TestDeviceModel::macTexts_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("good");

    QTest::newRow("colons") << "00:1A:2B:3C:4D:5E" << true;
    QTest::newRow("hyphens") << "00-1A-2B-3C-4D-5E" << true;
    QTest::newRow("blanks") << "00 1a 2b 3c 4d 5e" << true;
    QTest::newRow("more behind") << "00:1A:2B:3C:4D:5E eth0" << true;
    QTest::newRow("without separators") << "001A2B3C4D5E" << false;
    QTest::newRow("cut") << "00:1A:2B:3C:4D:5" << false;
    QTest::newRow("not hexadecimal") << "00:1A:2B:3C:4D:5G" << false;
    QTest::newRow("signs") << "00:1A:2B:3C:4D:+5" << false;
    QTest::newRow("blank digit") << "00:1A:2B:3C:4D: 5" << false;
    QTest::newRow("other digits") << QStringLiteral("00:1A:2B:3C:4D:٤٥") << false;
    QTest::newRow("nothing") << "" << false;
}

void TestDeviceModel::macTexts()
{
    QFETCH(QString, text);
    QFETCH(bool, good);
    QCOMPARE(macBytes(text).toHex(), good ? QByteArray("001a2b3c4d5e") : QByteArray());
    QCOMPARE(plainMac(text), good ? QStringLiteral("00:1A:2B:3C:4D:5E") : text);
}

void TestDeviceModel::rulesFollowTheCode_data()
{
    using instrumentrules::NetworkFields;
    using instrumentrules::Procedure;
    QTest::addColumn<Procedure>("procedure");
    QTest::addColumn<QString>("ending"); // of its firmware files
    QTest::addColumn<NetworkFields>("fields");
    QTest::addColumn<QString>("traits");

    const auto row = [](const char *code, Procedure procedure, const char *ending, NetworkFields fields,
                        const char *traits) {
        QTest::newRow(code) << procedure << QString::fromLatin1(ending) << fields
                            << QString::fromLatin1(traits);
    };
    row("1100", Procedure::PowerSupply, "updt", NetworkFields::All, "ticked dhcp web 8");
    row("1400", Procedure::PowerSupplyModular, "updt", NetworkFields::All, "ticked dhcp web 8");
    row("1600", Procedure::Beamline, "flash", NetworkFields::All, "ticked dhcp 8");
    row("1F80", Procedure::PowerSupply, "updt", NetworkFields::None, "ticked web 8");
    row("1f80", Procedure::None, "", NetworkFields::All, "ticked 8");
    row("2100", Procedure::Beamline, "flash", NetworkFields::All, "ticked 8");
    row("2180", Procedure::Beamline, "flash", NetworkFields::None, "ticked 8");
    row("3100", Procedure::None, "", NetworkFields::All, "8");
    row("4100", Procedure::MotorDriver, "hex", NetworkFields::AddressOnly, "ticked second 20");
    row("4200", Procedure::MotorDriver, "hex", NetworkFields::AddressOnly, "ticked second 20");
    row("6100", Procedure::None, "", NetworkFields::AddressOnly, "ticked reboot 8");
    row("", Procedure::None, "", NetworkFields::All, "ticked 8");
}

void TestDeviceModel::rulesFollowTheCode()
{
    using namespace instrumentrules;
    QFETCH(QString, ending);
    const QString code = QString::fromLatin1(QTest::currentDataTag());
    QTEST(procedure(code), "procedure");
    const QString everything = QStringLiteral("All files (*.*)");
    QCOMPARE(firmwareFilter(code), ending.isEmpty()
                                       ? everything
                                       : QStringLiteral("Firmware files (*.%1);;").arg(ending) + everything);
    QTEST(networkFields(code), "fields");
    QStringList traits;
    const QVector<QPair<bool (*)(const QString &), const char *>> tests{{isSelectable, "ticked"},
                                                                        {takesSecondFirmware, "second"},
                                                                        {hasDhcpChoice, "dhcp"},
                                                                        {needsRebootForAddress, "reboot"},
                                                                        {hasWebPage, "web"}};
    for (const auto &[holds, name] : tests) {
        if (holds(code)) {
            traits.append(QString::fromLatin1(name));
        }
    }
    traits.append(QString::number(restartTime(code).count() / 1000));
    QTEST(traits.join(QLatin1Char(' ')), "traits");
}

void TestDeviceModel::onlyOneCodeIsUpdatedTogether()
{
    const QString beamline = QStringLiteral("2100");
    QVERIFY(instrumentrules::mayUpdateTogether(beamline, beamline));
    QVERIFY(!instrumentrules::mayUpdateTogether(beamline, QStringLiteral("2110"))); // its own family
    for (const char *motorDriver : {"4100", "4200"}) {                              // goes alone
        QVERIFY(!instrumentrules::mayUpdateTogether(QLatin1String(motorDriver), QLatin1String(motorDriver)));
    }
}

QTEST_GUILESS_MAIN(TestDeviceModel)
#include "tst_devicemodel.moc"
