#include "devicecatalogue.h"
#include "devicetables.h"
#include "instrumentrules.h"
#include "ipv4address.h"
#include "macaddress.h"

#include <QFile>
#include <QRegularExpression>
#include <QSet>
#include <QTest>

Q_DECLARE_METATYPE(instrumentrules::Procedure)
Q_DECLARE_METATYPE(instrumentrules::NetworkFields)

// The catalogue, the rules and the spellings of addresses: what every other room relies on.
class TestModel : public QObject
{
    Q_OBJECT

private slots:
    void catalogueIsSound();
    void onlyCode1900WearsAnOemDress();
    void addressesAreReadStrictly();
    void macTexts();
    void rulesFollowTheCode_data();
    void rulesFollowTheCode();
};

// The catalogue's own text, read without the code under test: a row for each device of the right form. A
// group has no comma, since the network configuration file writes it between two.
static QList<QStringList> catalogueRows()
{
    QFile file(QStringLiteral(":/files/resources/devices.xml"));
    file.open(QIODevice::ReadOnly);
    const QString children =
        QStringLiteral("<id>([0-9A-F]{4})</id> <family>([^<&]+)</family> <group>([^<&,]+)</group> "
                       "<image>([^<&.]+\\.png)</image> <desc>([^<&]+)</desc>");
    const QRegularExpression device(QStringLiteral("<device> %1 </device>").arg(children));
    QList<QStringList> rows;
    for (auto found = device.globalMatch(QString::fromUtf8(file.readAll()).simplified()); found.hasNext();) {
        rows.append(found.next().capturedTexts().mid(1));
    }
    return rows;
}

void TestModel::catalogueIsSound()
{
    using namespace devicecatalogue;
    QFile list(QStringLiteral(":/files/resources/supportedDevices"));
    QVERIFY(list.open(QIODevice::ReadOnly));
    const QString supported = QString::fromLatin1(list.readAll());
    const QMap<QChar, int> families{{QLatin1Char('1'), 0}, {QLatin1Char('2'), 1}, {QLatin1Char('3'), 2},
                                    {QLatin1Char('4'), 0}, {QLatin1Char('5'), 3}, {QLatin1Char('6'), 3}};
    QSet<QString> codes;
    const QList<QStringList> rows = catalogueRows();
    for (const QStringList &row : rows) {
        const QString code = row.value(IdEntry);
        const int family = families.value(code.at(0), -1);
        QVERIFY2(family >= 0 && row.value(FamilyEntry) == devicetables::familyName(family), qPrintable(code));
        QCOMPARE(isPowerSupply(code), family == 0);
        QCOMPARE(isBeamline(code), family == 1);
        QCOMPARE(isCurrentTransducer(code), family == 2);
        for (int entry = 0; entry < entryCount; ++entry) {
            QCOMPARE(lookup(code, entry), row[entry]); // not another entry's that has the same text
        }
        const QRegularExpression word(QStringLiteral("\\b%1\\b").arg(code));
        const QString line = supported.mid(supported.indexOf(word)).section(QLatin1Char('\n'), 0, 0);
        QVERIFY2(supported.count(word) == 1 && line.contains(group(code)) && line.endsWith(desc(code)),
                 qPrintable(code));
        codes.insert(code);
    }
    QCOMPARE(codes.size(), 51);
    QCOMPARE(rows.size(), 51);
    for (const char *tested : {"1100", "1400", "1600", "1900", "1F80", "4100", "4200", "2100", "2180", "3100",
                               "6100"}) { // by the program
        QVERIFY2(codes.contains(QLatin1String(tested)), tested);
    }
    for (const char *unknown : {"1f80", "9999", ""}) {
        const QString code = QLatin1String(unknown);
        QVERIFY(!contains(code) && group(code).isEmpty() && !isPowerSupply(code));
    }
    QVERIFY(devicetables::familyName(4).isEmpty() && devicetables::familyName(-1).isEmpty());
    QVERIFY(lookup(QStringLiteral("2100"), 5).isEmpty() && lookup(QStringLiteral("2100"), -1).isEmpty());
}

void TestModel::onlyCode1900WearsAnOemDress()
{
    const std::initializer_list<std::array<const char *, 3>> dresses{
        {"1100", "PYRENTA", ".png"},    {"1900", "HALVERN", "_ha.png"},  {"1900", "DOSSIK", "_do.png"},
        {"1900", "PYRENTA", "_py.png"}, {"1900", "LUMIVAST", "_lu.png"}, {"1900", "", ".png"},
        {"1900", "pyrenta", ".png"},
    };
    for (const auto &[code, brand, suffix] : dresses) {
        const QString plain =
            devicecatalogue::image(QLatin1String(code)).replace(QLatin1String(".png"), QString());
        QVERIFY(!plain.isEmpty());
        QCOMPARE(devicecatalogue::deviceIconPath(QLatin1String(code), QLatin1String(brand)),
                 plain + QLatin1String(suffix));
    }
}

void TestModel::addressesAreReadStrictly()
{
    const QMap<QString, quint32> good{{QStringLiteral("192.168.0.10"), 0xC0A8000A},
                                      {QStringLiteral(" 10.0.0.1\t"), 0x0A000001},
                                      {QStringLiteral("9.19.99.209"), 0x091363D1},
                                      {QStringLiteral("0.0.0.0"), 0},
                                      {QStringLiteral("255.255.255.255"), 0xFFFFFFFF}};
    for (auto text = good.begin(); text != good.end(); ++text) {
        QCOMPARE(parseIpv4Address(text.key()), std::optional<quint32>(text.value()));
        QCOMPARE(isUsableIpv4Address(text.key()), text.value() + 1 > 1);
    }
    for (const char *bad :
         {"", "192.168.5", "5", "010.1.1.1", "1.2.3.04", "1.2.3.256", "1.2.3.1000", "1.2.3.4.5", "1.2.3.",
          "0x10.1.1.1", "1.2.3.4/24", "1.2.3.:", "::1", "1. 2.3.4", "-1.2.3.4"}) {
        QVERIFY2(!parseIpv4Address(QLatin1String(bad)) && !isUsableIpv4Address(QLatin1String(bad)), bad);
    }
}

void TestModel::macTexts()
{
    for (const char *good :
         {"00:1A:2B:3C:4D:9F", "00-1a-2b-3c-4d-9f", "00 1A 2B 3C 4D 9F", "00:1A:2B:3C:4D:9F eth0"}) {
        QCOMPARE(macBytes(QLatin1String(good)), QByteArray("\x00\x1A\x2B\x3C\x4D\x9F", 6));
        QCOMPARE(plainMac(QLatin1String(good)), QStringLiteral("00:1A:2B:3C:4D:9F"));
    }
    for (const char *bad :
         {"", "001A2B3C4D9F", "00:1A:2B:3C:4D:9", "00:1A:2B:3C:4D:5G", "00:1A:2B:3C:4D:5g",
          "00:1A:2B:3C:4D:+5", "00:1A:2B:3C:4D: 5", "00:1A:2B:3C:4D:5/", "00:1A:2B:3C:4D::5",
          "00:1A:2B:3C:4D:@5", "00:1A:2B:3C:4D:`5", "00:1A:2B:3C:4D:٤٥"}) {
        QCOMPARE(macBytes(QString::fromUtf8(bad)), QByteArray());
        QCOMPARE(plainMac(QString::fromUtf8(bad)), QString::fromUtf8(bad));
    }
}

void TestModel::rulesFollowTheCode_data()
{
    using instrumentrules::NetworkFields;
    using instrumentrules::Procedure;
    QTest::addColumn<Procedure>("procedure");
    QTest::addColumn<QString>("files");
    QTest::addColumn<NetworkFields>("fields");
    QTest::addColumn<QString>("traits");
    const auto row = [](const char *code, Procedure procedure, const char *files, NetworkFields fields,
                        const char *traits) {
        QTest::newRow(code) << procedure << QString::fromLatin1(files) << fields
                            << QString::fromLatin1(traits);
    };
    row("1100", Procedure::PowerSupply, "*.updt", NetworkFields::All, "ticked together dhcp web 8");
    row("1400", Procedure::PowerSupplyModular, "*.updt", NetworkFields::All, "ticked together dhcp web 8");
    row("1600", Procedure::Beamline, "*.flash", NetworkFields::All, "ticked together dhcp 8");
    row("1F80", Procedure::PowerSupply, "*.updt", NetworkFields::None, "ticked together web 8");
    row("1f80", Procedure::None, "", NetworkFields::All, "ticked together 8");
    row("2100", Procedure::Beamline, "*.flash", NetworkFields::All, "ticked together 8");
    row("2180", Procedure::Beamline, "*.flash", NetworkFields::None, "ticked together 8");
    row("3100", Procedure::None, "", NetworkFields::All, "together 8");
    row("4100", Procedure::MotorDriver, "*.hex", NetworkFields::AddressOnly, "ticked second 20");
    row("4200", Procedure::MotorDriver, "*.hex", NetworkFields::AddressOnly, "ticked second 20");
    row("6100", Procedure::None, "", NetworkFields::AddressOnly, "ticked together reboot 8");
}

void TestModel::rulesFollowTheCode()
{
    using namespace instrumentrules;
    QFETCH(QString, files);
    const QString code = QString::fromLatin1(QTest::currentDataTag());
    QTEST(procedure(code), "procedure");
    QTEST(networkFields(code), "fields");
    const QString filter = files.isEmpty() ? QString() : QStringLiteral("Firmware files (%1);;").arg(files);
    QCOMPARE(firmwareFilter(code), filter + QStringLiteral("All files (*.*)"));
    const std::initializer_list<std::pair<bool, const char *>> tests{
        {isSelectable(code), "ticked "},          {mayUpdateTogether(code, code), "together "},
        {takesSecondFirmware(code), "second "},   {hasDhcpChoice(code), "dhcp "},
        {needsRebootForAddress(code), "reboot "}, {hasWebPage(code), "web "}};
    QString traits;
    for (const auto &[holds, name] : tests) {
        traits += QLatin1String(holds ? name : "");
    }
    QTEST(traits + QString::number(restartTime(code).count() / 1000), "traits");
    QVERIFY(!mayUpdateTogether(code, QStringLiteral("2110"))); // 2100's own family
    QCOMPARE(webAddress(code, QStringLiteral("10.20.30.40")),
             hasWebPage(code) ? QStringLiteral("http://10.20.30.40/") : QString());
    QVERIFY(webAddress(code, QStringLiteral("10.20.30.40/evil")).isEmpty());
}

QTEST_GUILESS_MAIN(TestModel)
#include "tst_model.moc"
