#include "settings.h"
#include "settingsdialog.h"

#include <QTest>

using namespace settingsdialog;

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
    void closesOnce_data();
    void closesOnce();
    void buttonsTakeReturnAndNotSpace();
    void captionsToggleTheirBoxes();
};

void TestSettings::boxesHaveTheirLimits_data()
{
    QTest::addColumn<double>("maximum");
    QTest::addColumn<int>("decimals");
    QTest::addColumn<double>("step");
    QTest::newRow("doubleSpinBoxBroadcastTime") << 99.99 << 2 << 1.0;
    QTest::newRow("doubleSpinBoxTimeout") << 1000.0 << 0 << 1.0;
    QTest::newRow("doubleSpinBoxThreadsNumber") << 50.0 << 0 << 1.0;
    QTest::newRow("doubleSpinBoxWaitForBytesWritten") << 10000.0 << 0 << 100.0;
    QTest::newRow("doubleSpinBoxWaitForReadyRead") << 10000.0 << 0 << 100.0;
    QTest::newRow("doubleSpinBoxWaitForConnected") << 10000.0 << 0 << 100.0;
}

void TestSettings::boxesHaveTheirLimits()
{
    const Settings dialog;
    const auto *box = child<QDoubleSpinBox>(dialog, QTest::currentDataTag());
    QCOMPARE(box->minimum(), 0.0);
    QTEST(box->maximum(), "maximum");
    QTEST(box->decimals(), "decimals");
    QTEST(box->singleStep(), "step");
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
