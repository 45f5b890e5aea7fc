#include "appsettings.h"
#include "networkinterfaces.h"
#include "newnetwsettings.h"
#include "settings.h"
#include "windowfixture.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QDesktopServices>
#include <QDoubleSpinBox>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QTextEdit>
#include <QThreadPool>
#include <QUrl>

namespace {

QString configured(const WindowFixture &fixture, int row)
{
    return fixture.find<QTableWidget>("tableDeviceConfig")->item(row, 1)->text();
}

QCheckBox *dhcpBox(const WindowFixture &fixture)
{
    return qobject_cast<QCheckBox *>(fixture.find<QTableWidget>("tableDeviceConfig")->cellWidget(3, 1));
}

// As it is seen, right of the text.
QColor groundOf(const QTableWidget *table, int row)
{
    const QRect cell = table->visualItemRect(table->item(row, 1));
    return table->viewport()->grab(cell).toImage().pixelColor(cell.width() - 10, cell.height() / 2);
}

} // namespace

Q_DECLARE_METATYPE(QJsonObject)

// The configuration page, the web button and the dialogs about networks and settings: what the user decides
// there reaches the instruments, is in force, and is answered.
class TestWindowSettings : public QObject
{
    Q_OBJECT

private slots:
    void pageFollowsTheKindOfInstrument_data();
    void pageFollowsTheKindOfInstrument();
    void saveReachesTheInstrument_data();
    void saveReachesTheInstrument();
    void lookLeavesTheUsersHandsAlone();
    void threeHundredInstrumentsMoveByFile();
    void webButtonOpensPlainAddressesOnly();
    void changedSettingsAreInForce();
    void untickedInterfaceIsNotAsked();

public slots:
    void noteUrl(const QUrl &url) { opened.append(url); }

private:
    QList<QUrl> opened;
};

void TestWindowSettings::pageFollowsTheKindOfInstrument_data()
{
    QTest::addColumn<QJsonObject>("played");
    QTest::addColumn<QString>("open"); // an x for each value that can be typed
    QTest::addColumn<bool>("dhcp");
    QTest::addColumn<bool>("web");
    const QString markup = "<b>bold</b><img src='x'>"_s;
    QTest::newRow("supply, DHCP on") << supply(10, {}, {{"dhcp"_s, true}}) << "xxx" << true << true;
    QTest::newRow("recovery supply") << labInstrument("json", "1F80", 10,
                                                      {{"gateway"_s, "0.0.0.0"_s},
                                                       {"texts"_s, QJsonObject{{"ID"_s, markup}}}})
                                     << "---" << false << true;
    QTest::newRow("module") << labInstrument("module", "", 10) << "x--" << false << false;
}

void TestWindowSettings::pageFollowsTheKindOfInstrument()
{
    QFETCH(QJsonObject, played);
    QFETCH(QString, open);
    QFETCH(bool, dhcp);
    QFETCH(bool, web);
    WindowFixture fixture;
    fixture.scanOf({played});
    fixture.press("configBtn");
    const auto *table = fixture.find<QTableWidget>("tableDeviceConfig");
    const auto *hint = fixture.find<QLabel>("labelConfigHint");
    const auto isEmpty = [&] {
        return configured(fixture, 0) == "unknown"_s && !dhcpBox(fixture)->isEnabled() &&
               dhcpBox(fixture)->text() == "N.A."_s && hint->text() == "Select an instrument in the table."_s;
    };
    QVERIFY(isEmpty());
    fixture.press("saveConfBtn");
    QCOMPARE(fixture.boxes().last().title, "Save Network Configuration"_s);
    QCOMPARE(fixture.lastBox(), "ERROR: no devices selected!"_s);

    fixture.selectRow(0);
    QCOMPARE(fixture.find<QWidget>("frameWeb")->isHidden(), !web);
    QCOMPARE(configured(fixture, 0), addressOf(10));
    if (open == "---"_s) { // texts from the network stay as they are
        const QTableWidgetItem *id = fixture.find<QTableWidget>("tableInfo")->item(0, 1);
        QVERIFY(id->text().startsWith("<b>"_s) && id->toolTip().contains("&lt;b&gt;"_s));
        QCOMPARE(fixture.table()->item(0, DeviceTable::ModuleIdColumn)->text(), id->text());
    }
    for (int row = 0; row < open.size(); ++row) {
        const QTableWidgetItem *value = table->item(row, 1);
        const bool editable = open.at(row) == QLatin1Char('x');
        QCOMPARE(value->flags().testFlag(Qt::ItemIsEditable), editable);
        QVERIFY(editable || value->foreground().color() == QColor(128, 128, 128));
        QVERIFY(!table->item(row, 0)->flags().testFlag(Qt::ItemIsEditable));
        QCOMPARE(groundOf(table, row), QColor(Qt::white)); // nobody could put a locked value right
    }
    QCOMPARE(hint->text(), QString());
    QCOMPARE(dhcpBox(fixture)->isEnabled(), dhcp);
    QCOMPARE(dhcpBox(fixture)->text(), dhcp ? QString() : "N.A."_s);
    QCOMPARE(dhcpBox(fixture)->isChecked(), dhcp);
    const QString gateway = configured(fixture, 2);
    dhcpBox(fixture)->setChecked(!dhcp); // leaves the values as they are
    QCOMPARE(configured(fixture, 2), gateway);
    QCOMPARE(table->item(2, 1)->flags().testFlag(Qt::ItemIsEditable), open.endsWith(QLatin1Char('x')));

    fixture.press("actionApply_Filter");
    fixture.find<QComboBox>("comboBoxDeviceFilter")->setCurrentIndex(1); // another family than its own
    QVERIFY(isEmpty());
}

void TestWindowSettings::saveReachesTheInstrument_data()
{
    QTest::addColumn<QJsonObject>("played");
    QTest::addColumn<QByteArray>("tail"); // of the datagram, from the new address on
    QTest::addColumn<QString>("told");
    QTest::addColumn<QString>("said"); // in the footer, after the scan
    const QString wait = "Wait for the configuration to be applied"_s;
    const QString there = "The changed instrument answers at its new address."_s;
    QTest::newRow("power supply") << supply(10, {}, {{"dhcp"_s, true}})
                                  << QByteArray("c0a80032ffff0000c0a8000101000000") << wait << there;
    QTest::newRow("beamline") << labInstrument("beamline", "2100", 10)
                              << QByteArray("c0a80032ffff0000c0a8000100000000") << wait << there;
    QTest::newRow("tool") << labInstrument("tools", "6100", 10)
                          << QByteArray("c0a80032ffffff00c0a8000100000000")
                          << "IP changed! reboot device to apply."
                          << "The changed instrument takes its new address when it is rebooted.";
}

void TestWindowSettings::saveReachesTheInstrument()
{
    QFETCH(QJsonObject, played);
    QFETCH(QByteArray, tail);
    QFETCH(QString, told);
    QFETCH(QString, said);
    WindowFixture fixture;
    fixture.scanOf({played});
    fixture.press("configBtn");
    fixture.selectRow(0);
    auto *table = fixture.find<QTableWidget>("tableDeviceConfig");
    table->item(0, 1)->setText("192.168.5"_s);
    QCOMPARE(fixture.find<QLabel>("labelConfigHint")->text(),
             "New IP Address: not an IPv4 address that can be set."_s);
    QVERIFY(groundOf(table, 0) != groundOf(table, 1));
    fixture.press("saveConfBtn");
    QVERIFY2(fixture.said().endsWith("nothing was sent."_s), qPrintable(fixture.said()));
    QVERIFY(fixture.lab.events("set"_s).isEmpty());

    fixture.selectRow(0);
    table->item(0, 1)->setText(addressOf(50));
    table->setItem(1, 1, new QTableWidgetItem("255.255.0.0"_s));
    table->setItem(2, 1, new QTableWidgetItem(addressOf(1)));
    fixture.press("saveConfBtn");
    QCOMPARE(fixture.lastBox(), told);
    const QByteArray expected = QByteArray("Quorvex Set:").toHex() + "001a2b00000a2711" + tail;
    const QVector<QJsonObject> sets = fixture.lab.events("set"_s);
    QCOMPARE(sets.size(), 2); // straight to it, and by broadcast
    QCOMPARE(sets.first().value("via"_s).toString(), "unicast"_s);
    for (const QJsonObject &event : sets) {
        QCOMPARE(event.value("bytes"_s).toString().toLatin1(), expected);
    }
    // The rescan is over, or a look finds the instrument where it was sent.
    QTRY_VERIFY2_WITH_TIMEOUT(fixture.said().endsWith(said), qPrintable(fixture.said()), 30000);
    const bool moved = said.contains(" answers "_s);
    QCOMPARE(fixture.rowOf(DeviceTable::IpColumn, addressOf(50)) >= 0, moved);
    QCOMPARE(fixture.find<QPushButton>("footerDetailsBtn")->isHidden(), moved);
    QVERIFY(fixture.find<QLabel>("labelFooter")->property("role").toString().isEmpty()); // not red
}

// An instrument that takes its time is found by a look, while the user has long gone on to another one.
void TestWindowSettings::lookLeavesTheUsersHandsAlone()
{
    WindowFixture fixture;
    fixture.openPage({supply(10, {}, {{"applyMs"_s, 3000}}), supply(11)});
    fixture.press("configBtn");
    fixture.selectRow(fixture.rowOf(10));
    auto *table = fixture.find<QTableWidget>("tableDeviceConfig");
    table->item(0, 1)->setText(addressOf(50));
    fixture.press("saveConfBtn");
    QVERIFY2(fixture.said().endsWith("Looking again..."_s), qPrintable(fixture.said()));
    QVERIFY(fixture.isLocked() && fixture.find<QPushButton>("scanBtn")->isEnabled());
    fixture.tick({11});
    fixture.selectRow(fixture.rowOf(11));
    table->item(0, 1)->setText(addressOf(99));
    QTRY_VERIFY2_WITH_TIMEOUT(!fixture.isLocked(), qPrintable(fixture.said()), 30000);
    QVERIFY(fixture.said().endsWith("answers at its new address."_s));
    QVERIFY(fixture.boxOf(11)->isChecked());
    QCOMPARE(table->item(0, 1)->text(), addressOf(99));
    QCOMPARE(fixture.information().value("IP Address:"_s), addressOf(11));
    fixture.selectRow(fixture.rowOf(50));
    QCOMPARE(fixture.information().value("IP Address:"_s), addressOf(50));
}

// By a file in which people and spreadsheets have written MAC addresses in their own ways, and which names
// one that nobody has.
void TestWindowSettings::threeHundredInstrumentsMoveByFile()
{
    constexpr int count = 300;
    WindowFixture fixture;
    fixture.writeSettings("[scan]\nscanTime=1000\n");
    fixture.scanOf({supply(1, {},
                           {{"ip"_s, "10.20.28.1"_s},
                            {"gateway"_s, "10.20.30.1"_s},
                            {"interface"_s, "lab1"_s},
                            {"update"_s, false},
                            {"applyMs"_s, 200},
                            {"count"_s, count}})});
    const QStringList spellings{"%1:%2"_s, "%1-%2"_s, "%1.%2 (rack 7)"_s};
    QFile file(fixture.homePath() + "/rack.csv"_s);
    QVERIFY(file.open(QIODevice::WriteOnly));
    for (int i = 1; i <= count + 1; ++i) {
        const QString end =
            "%1:%2"_s.arg(i / 256, 2, 16, QLatin1Char('0')).arg(i % 256, 2, 16, QLatin1Char('0'));
        const QString mac = spellings.at(i % 3).arg("00:1a-2B:00"_s, end);
        const QString row = "1100,F,%1,%2,10.20.%3.%4,255.255.255.0,10.20.30.1\n"_s;
        file.write(row.arg(i).arg(mac).arg(50 + i / 256).arg(i % 256).toLatin1());
    }
    file.close();
    auto *dialog = qobject_cast<NewNetwSettings *>(
        fixture.openDialog("actionAdvanced_network_config", "Device(s) Network Configuration"));
    dialog->setFileChoosers({}, [&file] { return file.fileName(); });
    QTest::mouseClick(dialog->findChild<QPushButton *>("uploadFileBtn"_s), Qt::LeftButton);
    QTRY_COMPARE_WITH_TIMEOUT(fixture.lastBox(), "upload completed!"_s, 60000);
    QTRY_VERIFY2_WITH_TIMEOUT(
        fixture.said().contains("300 of 301 changed instruments answer at their new address."_s),
        qPrintable(fixture.said()), 60000);
    fixture.press("footerDetailsBtn");
    QCOMPARE(fixture.find<QTextEdit>("textEdit")->toPlainText(),
             "00:1A:2B:00:01:2D\tshould have 10.20.51.45\tdoes not answer"_s);
    QCOMPARE(fixture.table()->rowCount(), count);
    QCOMPARE(fixture.lab.events("addressChanged"_s).size(), count);
}

void TestWindowSettings::webButtonOpensPlainAddressesOnly()
{
    const QStringList addresses{"javascript:alert(1)//"_s, "example.org/?192.168.0.10"_s, "192.168.5"_s,
                                "192.168.0.10"_s};
    QJsonArray instruments;
    for (const QString &ip : addresses) {
        const QJsonObject texts{{"IP"_s, ip}};
        instruments.append(labInstrument("json", "1F80", 10 + instruments.size(), {{"texts"_s, texts}}));
    }
    WindowFixture fixture;
    fixture.scanOf(instruments);
    for (const char *scheme : {"http", "javascript"}) {
        QDesktopServices::setUrlHandler(QLatin1String(scheme), this, "noteUrl");
    }
    for (const QString &ip : addresses) {
        fixture.selectRow(fixture.rowOf(DeviceTable::IpColumn, ip));
        fixture.press("webBtn");
    }
    for (const char *scheme : {"http", "javascript"}) {
        QDesktopServices::unsetUrlHandler(QLatin1String(scheme));
    }
    QCOMPARE(opened, QList<QUrl>({QUrl("http://192.168.0.10/"_s)}));
}

void TestWindowSettings::changedSettingsAreInForce()
{
    WindowFixture fixture;
    fixture.open();
    fixture.press("updateBtn");
    for (const bool offered : {true, false}) {
        QDialog *dialog = fixture.openDialog("actionSettings", "Settings");
        dialog->findChild<QCheckBox *>("checkBoxEnable"_s)->setChecked(offered);
        dialog->findChild<QCheckBox *>("checkBoxEnableUnicast"_s)->setChecked(true);
        dialog->findChild<QDoubleSpinBox *>("doubleSpinBoxTimeout"_s)->setValue(90);
        dialog->findChild<QDoubleSpinBox *>("doubleSpinBoxThreadsNumber"_s)->setValue(20);
        dialog->findChild<QLineEdit *>("lineEditStart"_s)->setText(addressOf(20));
        dialog->findChild<QLineEdit *>("lineEditStop"_s)->setText(addressOf(22));
        QTest::mouseClick(dialog->findChild<QPushButton *>("applyBtn"_s), Qt::LeftButton);
        QTRY_VERIFY(!fixture->findChild<Settings *>());
        QCOMPARE(fixture.find<QWidget>("frameManualIp")->isHidden(), !offered);
        fixture.find<QCheckBox>("checkBoxManualIP")->setChecked(offered);
        QCOMPARE(fixture.table()->isEnabled(), !offered);
    }
    QCOMPARE(AppSettings().updateTimeout(), 90000);
    QCOMPARE(QThreadPool::globalInstance()->maxThreadCount(), 20);
    // Without a restart: an instrument within the range hears the question by unicast.
    fixture.play({supply(21)});
    QVERIFY(fixture.scan());
    QVERIFY(fixture.lab.waitForEvent(
        [](const QJsonObject &event) { return event.value("to"_s).toString() == "192.168.0.21:30719"_s; }));
}

void TestWindowSettings::untickedInterfaceIsNotAsked()
{
    WindowFixture fixture;
    fixture.scanOf({labInstrument("json", "1F80", 1, {{"ip"_s, "10.20.30.1"_s}})});
    QDialog *dialog = fixture.openDialog("actionSelect_network_interfaces", "Network Interfaces");
    const auto *list = dialog->findChild<QTableWidget *>();
    for (int row = 0; row < list->rowCount(); ++row) {
        QWidget *cell = list->cellWidget(row, 0);
        auto *box = qobject_cast<QCheckBox *>(cell);
        box = box ? box : cell->findChild<QCheckBox *>();
        box->setChecked(list->item(row, 1)->text() == "wst0"_s);
    }
    qobject_cast<NetworkInterfaces *>(dialog)->onApply();
    QTRY_VERIFY(!fixture->findChild<NetworkInterfaces *>());
    QVERIFY(fixture.scan());
    QCOMPARE(fixture.said(),
             "0 instruments found on 1 network interface."_s); // on the other cable
}

QTEST_MAIN(TestWindowSettings)
#include "tst_windowsettings.moc"
