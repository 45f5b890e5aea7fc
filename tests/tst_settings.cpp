#include "settings.h"

#include <QCheckBox>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>

namespace {

QString text(const char *latin1)
{
    return QString::fromLatin1(latin1);
}

template <typename T>
T *child(const Settings &dialog, const char *name)
{
    T *widget = dialog.findChild<T *>(text(name));
    if (!widget) {
        qFatal("the form has no %s", name);
    }
    return widget;
}

QPushButton *button(const Settings &dialog, const char *caption)
{
    const QList<QPushButton *> buttons = dialog.findChildren<QPushButton *>();
    for (QPushButton *candidate : buttons) {
        if (candidate->text() == text(caption)) {
            return candidate;
        }
    }
    qFatal("no button %s", caption);
}

// Everything the dialog says, in its order.
void record(Settings &dialog, QStringList &log)
{
    const auto number = [&dialog, &log](auto signal, const char *name) {
        QObject::connect(&dialog, signal, &dialog,
                         [&log, name](int value) { log << text(name) + QString::number(value); });
    };
    const auto flag = [&dialog, &log](auto signal, const char *name) {
        QObject::connect(&dialog, signal, &dialog,
                         [&log, name](bool on) { log << text(name) + text(on ? "on" : "off"); });
    };
    const auto address = [&dialog, &log](auto signal, const char *name) {
        QObject::connect(&dialog, signal, &dialog,
                         [&log, name](const QHostAddress &value) { log << text(name) + value.toString(); });
    };
    number(&Settings::signalChangeBroadcastTime, "scan ");
    number(&Settings::signalChangeTimeout, "timeout ");
    flag(&Settings::signalChangeFlagManualIP, "manual ");
    number(&Settings::signalChangeNumbeOfThreads, "threads ");
    number(&Settings::signalChangeWaitForBytesWritten, "written ");
    number(&Settings::signalChangeWaitForReadyRead, "read ");
    number(&Settings::signalChangeWaitForConnected, "connected ");
    flag(&Settings::signalChangeFlagUnicast, "unicast ");
    address(&Settings::signalChangeStartIp, "start ");
    address(&Settings::signalChangeEndIp, "end ");
    QObject::connect(&dialog, &Settings::signalClose, &dialog, [&log] { log << text("close"); });
}

void fill(Settings &dialog, bool unicast = false)
{
    dialog.setBroadcastTime(200);
    dialog.setTimeout(120000);
    dialog.setFlagManualIp(false);
    dialog.setFlagUnicast(unicast);
    dialog.setStartIp(QHostAddress(text("192.168.0.1")));
    dialog.setEndIp(QHostAddress(text("192.168.0.254")));
    dialog.setNumberOfThreads(10);
    dialog.setWaitForBytesWritten(1000);
    dialog.setWaitForReadyRead(1000);
    dialog.setWaitForConnected(1000);
}

void open(Settings &dialog)
{
    dialog.show();
    QVERIFY(QTest::qWaitForWindowActive(&dialog));
}

void type(QDoubleSpinBox *box, const QString &value)
{
    box->setFocus();
    box->selectAll();
    QTest::keyClicks(box, value);
}

void type(QLineEdit *field, const QString &value)
{
    field->setFocus();
    field->selectAll();
    QTest::keyClick(field, Qt::Key_Delete);
    QTest::keyClicks(field, value);
}

void click(QWidget *widget)
{
    QTest::mouseClick(widget, Qt::LeftButton);
}

QString message(const Settings &dialog)
{
    return child<QLabel>(dialog, "labelRange")->text();
}

} // namespace

// The real dialog, typed into and clicked.
class TestSettings : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QLocale::setDefault(QLocale::c()); }
    void boxesHaveTheirLimits_data();
    void boxesHaveTheirLimits();
    void showsWhatItIsGiven();
    void applyingUnchangedStoresNothing_data();
    void applyingUnchangedStoresNothing();
    void reportsEachTypedValue_data();
    void reportsEachTypedValue();
    void reportsAllChangesInOrder();
    void saysWhyItCannotBeApplied_data();
    void saysWhyItCannotBeApplied();
    void wrongAddressesNeverLeave();
    void storedAddressThatIsNoIpv4_data();
    void storedAddressThatIsNoIpv4();
    void countsTheRange_data();
    void countsTheRange();
    void followsTheScanTimeShown();
    void closesOnce_data();
    void closesOnce();
    void buttonsTakeReturnAndNotSpace();
    void captionsToggleTheirBoxes();
};

void TestSettings::boxesHaveTheirLimits_data()
{
    QTest::addColumn<QString>("caption");
    QTest::addColumn<double>("maximum");
    QTest::addColumn<int>("decimals");
    QTest::addColumn<double>("step");
    QTest::newRow("doubleSpinBoxBroadcastTime") << "Scan Timeout [s]" << 99.99 << 2 << 1.0;
    QTest::newRow("doubleSpinBoxTimeout") << "Update Timeout [s]" << 1000.0 << 0 << 1.0;
    QTest::newRow("doubleSpinBoxThreadsNumber") << "Number of Threads" << 50.0 << 0 << 1.0;
    QTest::newRow("doubleSpinBoxWaitForBytesWritten")
        << "Wait for bytes written [ms]" << 10000.0 << 0 << 100.0;
    QTest::newRow("doubleSpinBoxWaitForReadyRead") << "Wait for ready read [ms]" << 10000.0 << 0 << 100.0;
    QTest::newRow("doubleSpinBoxWaitForConnected") << "Wait for connected [ms]" << 10000.0 << 0 << 100.0;
}

void TestSettings::boxesHaveTheirLimits()
{
    const Settings dialog;
    const auto *box = child<QDoubleSpinBox>(dialog, QTest::currentDataTag());
    QCOMPARE(box->minimum(), 0.0);
    QTEST(box->maximum(), "maximum");
    QTEST(box->decimals(), "decimals");
    QTEST(box->singleStep(), "step");
    const QList<QLabel *> labels = dialog.findChildren<QLabel *>();
    const auto caption = std::find_if(labels.cbegin(), labels.cend(),
                                      [box](const QLabel *label) { return label->buddy() == box; });
    QVERIFY(caption != labels.cend());
    QTEST((*caption)->text(), "caption");
}

void TestSettings::showsWhatItIsGiven()
{
    Settings dialog;
    QCOMPARE(child<QDoubleSpinBox>(dialog, "doubleSpinBoxBroadcastTime")->value(), 0.2);
    QCOMPARE(child<QDoubleSpinBox>(dialog, "doubleSpinBoxTimeout")->value(), 20.0);
    QCOMPARE(child<QDoubleSpinBox>(dialog, "doubleSpinBoxWaitForReadyRead")->value(), 1000.0);
    QCOMPARE(child<QLineEdit>(dialog, "lineEditStart")->text(), text("192.168.0.10"));
    QCOMPARE(child<QLineEdit>(dialog, "lineEditStop")->text(), text("192.168.0.20"));
    dialog.setBroadcastTime(1250);
    dialog.setTimeout(90000);
    dialog.setFlagManualIp(true);
    dialog.setFlagUnicast(true);
    dialog.setStartIp(QHostAddress(text("10.0.0.7")));
    dialog.setNumberOfThreads(80);
    QCOMPARE(child<QDoubleSpinBox>(dialog, "doubleSpinBoxBroadcastTime")->value(), 1.25);
    QCOMPARE(child<QDoubleSpinBox>(dialog, "doubleSpinBoxTimeout")->value(), 90.0);
    QCOMPARE(child<QDoubleSpinBox>(dialog, "doubleSpinBoxThreadsNumber")->value(), 50.0);
    QVERIFY(child<QCheckBox>(dialog, "checkBoxEnable")->isChecked());
    QVERIFY(child<QCheckBox>(dialog, "checkBoxEnableUnicast")->isChecked());
    QCOMPARE(child<QLineEdit>(dialog, "lineEditStart")->text(), text("10.0.0.7"));
    QVERIFY(child<QLineEdit>(dialog, "lineEditStart")->isEnabled());
    dialog.setFlagUnicast(false);
    QVERIFY(!child<QLineEdit>(dialog, "lineEditStart")->isEnabled());
    QVERIFY(!child<QLineEdit>(dialog, "lineEditStop")->isEnabled());
}

void TestSettings::applyingUnchangedStoresNothing_data()
{
    QTest::addColumn<int>("ms");
    QTest::addColumn<int>("threads");
    QTest::addColumn<bool>("unicast");
    QTest::newRow("defaults") << 1000 << 10 << false;
    QTest::newRow("beyond the boxes") << 5000000 << 80 << false;
    QTest::newRow("below the boxes") << -5 << -1 << true;
    QTest::newRow("between the boxes' steps") << 205 << 3 << true;
}

void TestSettings::applyingUnchangedStoresNothing()
{
    QFETCH(int, ms);
    QFETCH(int, threads);
    QFETCH(bool, unicast);
    Settings dialog;
    fill(dialog, unicast);
    dialog.setBroadcastTime(ms);
    dialog.setTimeout(ms);
    dialog.setNumberOfThreads(threads);
    dialog.setWaitForBytesWritten(ms);
    dialog.setWaitForReadyRead(ms);
    dialog.setWaitForConnected(ms);
    QStringList log;
    record(dialog, log);
    open(dialog);
    for (int i = 0; i < 20; ++i) {
        QTest::keyClick(dialog.focusWidget(), Qt::Key_Tab); // looking into each field is no change
    }
    click(button(dialog, "Apply"));
    QStringList expected{text(unicast ? "unicast on" : "unicast off")};
    if (unicast) {
        expected << text("start 192.168.0.1") << text("end 192.168.0.254");
    }
    QCOMPARE(log, expected << text("close"));
}

void TestSettings::reportsEachTypedValue_data()
{
    QTest::addColumn<QString>("box");
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char *box, const char *typed, const char *expected) {
        QTest::newRow(expected) << text(box) << text(typed) << text(expected);
    };
    row("doubleSpinBoxBroadcastTime", "0.25", "scan 250");
    row("doubleSpinBoxBroadcastTime", "2.01", "scan 2010"); // 2009.99... as a product of doubles
    row("doubleSpinBoxBroadcastTime", "99.99", "scan 99990");
    row("doubleSpinBoxBroadcastTime", "0", "scan 0");
    row("doubleSpinBoxTimeout", "1000", "timeout 1000000");
    row("doubleSpinBoxThreadsNumber", "7", "threads 7");
    row("doubleSpinBoxWaitForBytesWritten", "10000", "written 10000");
    row("doubleSpinBoxWaitForReadyRead", "1", "read 1");
    row("doubleSpinBoxWaitForConnected", "2500", "connected 2500");
}

void TestSettings::reportsEachTypedValue()
{
    QFETCH(QString, box);
    QFETCH(QString, typed);
    QFETCH(QString, expected);
    Settings dialog;
    fill(dialog);
    QStringList log;
    record(dialog, log);
    open(dialog);
    auto *field = child<QDoubleSpinBox>(dialog, qPrintable(box));
    type(field, typed);
    QTest::keyClick(field, Qt::Key_Return); // Apply is the default button
    QCOMPARE(log, QStringList({expected, text("unicast off"), text("close")}));
}

void TestSettings::reportsAllChangesInOrder()
{
    Settings dialog;
    fill(dialog);
    QStringList log;
    record(dialog, log);
    open(dialog);
    click(child<QCheckBox>(dialog, "checkBoxEnableUnicast"));
    type(child<QLineEdit>(dialog, "lineEditStop"), text("10.0.0.9"));
    type(child<QLineEdit>(dialog, "lineEditStart"), text(" 10.0.0.250 ")); // reversed is allowed
    type(child<QDoubleSpinBox>(dialog, "doubleSpinBoxWaitForConnected"), text("4"));
    type(child<QDoubleSpinBox>(dialog, "doubleSpinBoxWaitForReadyRead"), text("3"));
    type(child<QDoubleSpinBox>(dialog, "doubleSpinBoxWaitForBytesWritten"), text("2"));
    type(child<QDoubleSpinBox>(dialog, "doubleSpinBoxThreadsNumber"), text("1"));
    click(child<QCheckBox>(dialog, "checkBoxEnable"));
    type(child<QDoubleSpinBox>(dialog, "doubleSpinBoxTimeout"), text("60"));
    type(child<QDoubleSpinBox>(dialog, "doubleSpinBoxBroadcastTime"), text("1"));
    click(button(dialog, "Apply"));
    QCOMPARE(log.join(QLatin1Char('|')),
             text("scan 1000|timeout 60000|manual on|threads 1|written 2|read 3|connected 4|unicast on|"
                  "start 10.0.0.250|end 10.0.0.9|close"));
}

void TestSettings::saysWhyItCannotBeApplied_data()
{
    QTest::addColumn<QString>("start");
    QTest::addColumn<QString>("end");
    QTest::addColumn<bool>("possible");
    QTest::addColumn<QString>("says");
    const auto row = [](const char *start, const char *end, bool possible, const char *says) {
        QTest::addRow("%s to %s", start, end) << text(start) << text(end) << possible << text(says);
    };
    row("192.168.0.1", "192.168.0.254", true, "254 addresses; a scan takes about 0.2 s.");
    row("192.168.0", "192.168.0.254", false, "start address is no IPv4 address");
    row("192.168.0.256", "192.168.0.254", false, "start address is no IPv4 address");
    row("192.168.000.010", "192.168.0.254", false, "start address is no IPv4 address");
    row("192.168.0.1", "fe80::1", false, "end address is an IPv6 address");
    row("192.168.0.1", "", false, "end address is missing");
    row("abc", "", false, "start address is no IPv4 address");
    row("192.168.0.9", "192.168.0.1", true, "range is empty");
}

void TestSettings::saysWhyItCannotBeApplied()
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

void TestSettings::wrongAddressesNeverLeave()
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

void TestSettings::storedAddressThatIsNoIpv4_data()
{
    QTest::addColumn<bool>("unicast");
    QTest::addColumn<bool>("flagFirst");
    QTest::newRow("on") << true << true;
    QTest::newRow("off") << false << true;
    QTest::newRow("on, address given first") << true << false;
    QTest::newRow("off, address given first") << false << false;
}

void TestSettings::storedAddressThatIsNoIpv4()
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

void TestSettings::countsTheRange_data()
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
    row("10.0.0.0", "10.0.255.255", "65,534 addresses; a scan takes about 0.8 s.");
    row("10.0.0.0", "10.255.255.255", "16,777,214 addresses; a scan takes about 3 min.");
    row("0.0.0.1", "255.255.255.255", "4,294,967,294 addresses; a scan takes about 11 h.");
}

void TestSettings::countsTheRange()
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

void TestSettings::followsTheScanTimeShown()
{
    Settings dialog;
    fill(dialog, true);
    open(dialog);
    type(child<QDoubleSpinBox>(dialog, "doubleSpinBoxBroadcastTime"), text("7.5"));
    QVERIFY2(message(dialog).endsWith(text("about 7.5 s.")), qPrintable(message(dialog)));
    type(child<QDoubleSpinBox>(dialog, "doubleSpinBoxBroadcastTime"), text("90"));
    QVERIFY2(message(dialog).endsWith(text("about 90 s.")), qPrintable(message(dialog)));
}

void TestSettings::closesOnce_data()
{
    QTest::addColumn<QString>("how");
    QTest::newRow("cancel") << "cancel";
    QTest::newRow("escape") << "escape";
    QTest::newRow("window's button") << "window";
}

void TestSettings::closesOnce()
{
    QFETCH(QString, how);
    Settings dialog;
    fill(dialog, true);
    QStringList log;
    record(dialog, log);
    connect(&dialog, &Settings::signalClose, &dialog, &QWidget::close);
    for (int shown = 1; shown <= 2; ++shown) {
        open(dialog);
        type(child<QDoubleSpinBox>(dialog, "doubleSpinBoxThreadsNumber"), text("3"));
        if (how == QLatin1String("cancel")) {
            click(button(dialog, "Cancel"));
        } else if (how == QLatin1String("escape")) {
            QTest::keyClick(dialog.focusWidget(), Qt::Key_Escape);
        } else {
            dialog.close();
        }
        QVERIFY(!dialog.isVisible());
        QCOMPARE(log.count(text("close")), shown);
        QCOMPARE(log.size(), shown);
    }
}

void TestSettings::buttonsTakeReturnAndNotSpace()
{
    for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Enter}) {
        Settings dialog;
        fill(dialog);
        QStringList log;
        record(dialog, log);
        open(dialog);
        QPushButton *cancel = button(dialog, "Cancel");
        cancel->setFocus();
        QTest::keyClick(cancel, Qt::Key_Space);
        QVERIFY(log.isEmpty());
        QTest::keyClick(cancel, key);
        QCOMPARE(log, QStringList(text("close")));
    }
}

void TestSettings::captionsToggleTheirBoxes()
{
    Settings dialog;
    fill(dialog);
    open(dialog);
    const QList<QLabel *> labels = dialog.findChildren<QLabel *>();
    for (QLabel *label : labels) {
        click(label);
    }
    QVERIFY(child<QCheckBox>(dialog, "checkBoxEnable")->isChecked());
    QVERIFY(child<QCheckBox>(dialog, "checkBoxEnableUnicast")->isChecked());
}

QTEST_MAIN(TestSettings)
#include "tst_settings.moc"
