#include "settings.h"
#include "settingsdialog.h"

#include <QTest>

using namespace settingsdialog;

// What the dialog says about the unicast range, and when it cannot be applied.
class TestSettingsRange : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QLocale::setDefault(QLocale::c()); }
    void saysWhyItCannotBeApplied_data();
    void saysWhyItCannotBeApplied();
    void wrongAddressesNeverLeave();
    void storedAddressThatIsNoIpv4_data();
    void storedAddressThatIsNoIpv4();
    void countsTheRange_data();
    void countsTheRange();
    void followsTheScanTimeShown();
    void anEmptyFieldLooksEmpty();
};

void TestSettingsRange::saysWhyItCannotBeApplied_data()
{
    QTest::addColumn<QString>("start");
    QTest::addColumn<QString>("end");
    QTest::addColumn<bool>("possible");
    QTest::addColumn<QString>("says");
    const auto row = [](const char *start, const char *end, bool possible, const char *says) {
        QTest::addRow("%s to %s", start, end) << text(start) << text(end) << possible << text(says);
    };
    row("192.168.0.1", "192.168.0.254", true, "254 addresses; a scan takes about 0.2 s.");
    row("192.168.0", "192.168.0.254", false, "start address is not an IPv4 address");
    row("192.168.0.256", "192.168.0.254", false, "start address is not an IPv4 address");
    row("192.168.000.010", "192.168.0.254", false, "start address is not an IPv4 address");
    row("192.168.0.1", "fe80::1", false, "end address is an IPv6 address");
    row("192.168.0.1", "", false, "end address is missing");
    row("abc", "", false, "start address is not an IPv4 address");
    row("192.168.0.9", "192.168.0.1", true, "range is empty");
}

void TestSettingsRange::saysWhyItCannotBeApplied()
{
    QFETCH(QString, start);
    QFETCH(QString, end);
    QFETCH(bool, possible);
    QFETCH(QString, says);
    for (const bool startFirst : {true, false}) {
        Settings dialog;
        fill(dialog, true);
        open(dialog);
        auto *startField = child<QLineEdit>(dialog, "lineEditStart");
        auto *endField = child<QLineEdit>(dialog, "lineEditStop");
        type(startFirst ? startField : endField, startFirst ? start : end);
        type(startFirst ? endField : startField, startFirst ? end : start);
        QCOMPARE(button(dialog, "Apply")->isEnabled(), possible);
        QVERIFY2(message(dialog).contains(says), qPrintable(message(dialog)));
        QVERIFY(child<QLabel>(dialog, "labelRange")->isVisible());
        type(startField, text("10.0.0.1"));
        type(endField, text("10.0.0.1"));
        QVERIFY(button(dialog, "Apply")->isEnabled());
        QVERIFY2(message(dialog).startsWith(text("1 address;")), qPrintable(message(dialog)));
    }
}

void TestSettingsRange::wrongAddressesNeverLeave()
{
    Settings dialog;
    fill(dialog, true);
    QStringList log;
    record(dialog, log);
    open(dialog);
    auto *field = child<QLineEdit>(dialog, "lineEditStart");
    type(field, text("192.168.0"));
    QTest::keyClick(field, Qt::Key_Return);
    QVERIFY(log.isEmpty());

    auto *unicast = child<QCheckBox>(dialog, "checkBoxEnableUnicast");
    click(unicast);
    QVERIFY(button(dialog, "Apply")->isEnabled());
    QVERIFY(message(dialog).isEmpty());

    click(unicast); // leaves Apply as it is, but what is wrong is said
    QVERIFY(button(dialog, "Apply")->isEnabled());
    QVERIFY(message(dialog).contains(text("start address")));
    click(button(dialog, "Apply"));
    QVERIFY(log.isEmpty());
    QVERIFY(!button(dialog, "Apply")->isEnabled());
    QVERIFY(field->hasFocus());

    click(unicast);
    click(button(dialog, "Apply"));
    QCOMPARE(log, QStringList({text("unicast off"), text("close")}));
}

void TestSettingsRange::storedAddressThatIsNoIpv4_data()
{
    QTest::addColumn<bool>("unicast");
    QTest::addColumn<bool>("flagFirst");
    QTest::newRow("on") << true << true;
    QTest::newRow("off") << false << true;
    QTest::newRow("on, address given first") << true << false;
    QTest::newRow("off, address given first") << false << false;
}

void TestSettingsRange::storedAddressThatIsNoIpv4()
{
    QFETCH(bool, unicast);
    QFETCH(bool, flagFirst);
    Settings dialog;
    fill(dialog, flagFirst == unicast);
    dialog.setStartIp(QHostAddress(text("fe80::1")));
    if (!flagFirst) {
        dialog.setFlagUnicast(unicast);
    }
    open(dialog);
    QCOMPARE(child<QLineEdit>(dialog, "lineEditStart")->text(), text("fe80::1"));
    QCOMPARE(button(dialog, "Apply")->isEnabled(), !unicast);
    QCOMPARE(message(dialog).contains(text("IPv6")), unicast);
}

void TestSettingsRange::countsTheRange_data()
{
    QTest::addColumn<QString>("start");
    QTest::addColumn<QString>("end");
    QTest::addColumn<QString>("says");
    const auto row = [](const char *start, const char *end, const char *says) {
        QTest::addRow("%s to %s", start, end) << text(start) << text(end) << text(says);
    };
    row("10.0.0.5", "10.0.0.5", "1 address; a scan takes about 0.2 s.");
    row("10.0.0.0", "10.0.0.255", "254 addresses; a scan takes about 0.2 s.");
    row("10.0.0.250", "10.0.1.2", "8 addresses; a scan takes about 0.2 s.");
    row("10.0.0.255", "10.0.0.255", "network's own and its broadcast");
    row("10.0.0.0", "10.0.0.0", "network's own and its broadcast");
    // Not one of them there, the slow figures were measured on a directly attached network: 598 addresses
    // took 0.2 s, 710 took 3.2 s and 4094 took 18.6 s.
    row("10.50.0.2", "10.50.2.89", "599 addresses; a scan takes about 0.2 s.");
    row("10.50.0.2", "10.50.2.200",
        "710 addresses; a scan takes about 0.2 s, on the local network up to 3.3 s.");
    row("10.50.0.0", "10.50.15.255",
        "4,094 addresses; a scan takes about 0.2 s, on the local network up to 19 s.");
    row("10.0.0.0", "10.0.255.255",
        "65,534 addresses; a scan takes about 0.8 s, on the local network up to 6 min.");
    row("10.0.0.0", "10.255.255.255",
        "16,777,214 addresses; a scan takes about 3 min, on the local network up to 24 h.");
    // No local network is wider than that.
    row("0.0.0.1", "255.255.255.255",
        "4,294,967,294 addresses; a scan takes about 11 h, on the local network up to 35 h.");
}

void TestSettingsRange::countsTheRange()
{
    QFETCH(QString, start);
    QFETCH(QString, end);
    QFETCH(QString, says);
    Settings dialog;
    fill(dialog, true);
    dialog.setStartIp(QHostAddress(start));
    dialog.setEndIp(QHostAddress(end));
    QVERIFY2(message(dialog).contains(says), qPrintable(message(dialog)));
    QVERIFY(button(dialog, "Apply")->isEnabled());
}

void TestSettingsRange::followsTheScanTimeShown()
{
    Settings dialog;
    fill(dialog, true);
    open(dialog);
    type(child<QDoubleSpinBox>(dialog, "doubleSpinBoxBroadcastTime"), text("7.5"));
    QVERIFY2(message(dialog).endsWith(text("about 7.5 s.")), qPrintable(message(dialog)));
    type(child<QDoubleSpinBox>(dialog, "doubleSpinBoxBroadcastTime"), text("90"));
    QVERIFY2(message(dialog).endsWith(text("about 90 s.")), qPrintable(message(dialog)));
}

// A placeholder would look like an address that somebody has typed.
void TestSettingsRange::anEmptyFieldLooksEmpty()
{
    const Settings dialog;
    for (const char *name : {"lineEditStart", "lineEditStop"}) {
        QVERIFY2(child<QLineEdit>(dialog, name)->placeholderText().isEmpty(), name);
    }
}

QTEST_MAIN(TestSettingsRange)
#include "tst_settingsrange.moc"
