#include "labwindow.h"
#include "newnetwsettings.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QDesktopServices>
#include <QFile>
#include <QLabel>
#include <QPushButton>
#include <QTest>
#include <QTextEdit>
#include <QUrl>

namespace {

QJsonObject instrument(const char *kind, const char *code, const QJsonObject &more = {})
{
    return labInstrument(kind, code, 10, more);
}

// As it is seen, right of the text.
QColor groundOf(const QTableWidget *table, int row)
{
    const QRect cell = table->visualItemRect(table->item(row, 1));
    return table->viewport()->grab(cell).toImage().pixelColor(cell.width() - 10, cell.height() / 2);
}

} // namespace

Q_DECLARE_METATYPE(QJsonObject)

// The information and configuration pages and the web button, each proven by what reached the
// instrument and by what the window says afterwards.
class TestNetworkPages : public QObject
{
    Q_OBJECT

private slots:
    void followTheKindOfInstrument_data();
    void followTheKindOfInstrument();
    void showNothingBeforeASelection();
    void saveReachesTheInstrument_data();
    void saveReachesTheInstrument();
    void everyWayToWriteAMacIsRecognised();
    void mistypedAddressIsSaidAndNotSent();
    void lockedValueIsNotMarked();
    void webButtonOpensPlainAddressesOnly_data();
    void webButtonOpensPlainAddressesOnly();

public slots:
    void noteUrl(const QUrl &url) { opened.append(url); }

private:
    QList<QUrl> opened;
};

void TestNetworkPages::followTheKindOfInstrument_data()
{
    QTest::addColumn<QJsonObject>("played");
    QTest::addColumn<bool>("editable");
    QTest::addColumn<bool>("addressOnly");
    QTest::addColumn<bool>("dhcpLive");
    QTest::addColumn<QString>("dhcpShown");
    QTest::addColumn<bool>("web");
    const QJsonObject dhcpOn{{QStringLiteral("dhcp"), true}};
    QTest::newRow("power supply, DHCP on")
        << instrument("powerSupply", "1100", dhcpOn) << true << false << true << "ON" << true;
    QTest::newRow("recovery supply") << instrument("json", "1F80") << false << false << false << "OFF"
                                     << true;
    QTest::newRow("module") << instrument("module", "") << true << true << false << "Not Available" << false;
}

void TestNetworkPages::followTheKindOfInstrument()
{
    QFETCH(QJsonObject, played);
    QFETCH(bool, editable);
    QFETCH(bool, addressOnly);
    QFETCH(bool, dhcpLive);
    QFETCH(QString, dhcpShown);
    QFETCH(bool, web);
    LabWindow fixture;
    fixture.scanOf({played});
    QCOMPARE(fixture.table()->rowCount(), 1);
    fixture.selectRow(0);
    QCOMPARE(fixture.information().value(QStringLiteral("DHCP:")), dhcpShown);
    QCOMPARE(fixture.find<QWidget>("frameWeb")->isHidden(), !web);

    const auto *table = fixture.find<QTableWidget>("tableDeviceConfig");
    const auto *box = qobject_cast<QCheckBox *>(table->cellWidget(3, 1));
    QCOMPARE(table->item(0, 1)->text(), QStringLiteral("192.168.0.10"));
    for (int row = 0; row < 3; ++row) {
        const bool open = editable && (row == 0 || !addressOnly);
        QCOMPARE(table->item(row, 1)->flags().testFlag(Qt::ItemIsEditable), open);
        QVERIFY(!table->item(row, 0)->flags().testFlag(Qt::ItemIsEditable));
        if (!open) {
            QCOMPARE(table->item(row, 1)->foreground().color(), QColor(128, 128, 128));
        }
    }
    QCOMPARE(box->isEnabled(), dhcpLive);
    QCOMPARE(box->text(), dhcpLive ? QString() : QStringLiteral("N.A."));
    QCOMPARE(box->isChecked(), dhcpShown == QLatin1String("ON"));
}

void TestNetworkPages::showNothingBeforeASelection()
{
    WindowFixture fixture;
    fixture.open();
    const auto *table = fixture.find<QTableWidget>("tableDeviceConfig");
    for (int row = 0; row < 3; ++row) {
        QCOMPARE(table->item(row, 1)->text(), QStringLiteral("unknown"));
    }
    QCOMPARE(qobject_cast<QCheckBox *>(table->cellWidget(3, 1))->text(), QStringLiteral("N.A."));
    fixture.find<QPushButton>("configBtn")->click();
    QTest::mouseClick(fixture.find<QPushButton>("saveConfBtn"), Qt::LeftButton);
    QCOMPARE(fixture.boxes().size(), 1);
    QCOMPARE(fixture.boxes().first().title, QStringLiteral("Save Network Configuration"));
    QCOMPARE(fixture.boxes().first().text, QStringLiteral("ERROR: no devices selected!"));
}

void TestNetworkPages::saveReachesTheInstrument_data()
{
    QTest::addColumn<QJsonObject>("played");
    QTest::addColumn<QByteArray>("tail"); // of the datagram, from the new address on
    QTest::addColumn<QString>("told");
    QTest::addColumn<QString>("said"); // in the footer, after the scan
    const QString wait = QStringLiteral("Wait for the configuration to be applied");
    const QString there = QStringLiteral("The changed instrument answers at its new address.");
    QTest::newRow("power supply") << instrument("powerSupply", "1100", {{QStringLiteral("dhcp"), true}})
                                  << QByteArray("c0a80032ffff0000c0a8000101000000") << wait << there;
    QTest::newRow("beamline") << instrument("beamline", "2100")
                              << QByteArray("c0a80032ffff0000c0a8000100000000") << wait << there;
    QTest::newRow("tool") << instrument("tools", "6100") << QByteArray("c0a80032ffffff00c0a8000100000000")
                          << "IP changed! reboot device to apply."
                          << "The changed instrument takes its new address when it is rebooted.";
}

void TestNetworkPages::saveReachesTheInstrument()
{
    QFETCH(QJsonObject, played);
    QFETCH(QByteArray, tail);
    LabWindow fixture;
    fixture.scanOf({played});
    fixture.find<QPushButton>("configBtn")->click();
    fixture.selectRow(0);
    auto *table = fixture.find<QTableWidget>("tableDeviceConfig");
    QFETCH(QString, told);
    QFETCH(QString, said);
    table->item(0, 1)->setText(QStringLiteral("192.168.0.50"));
    table->setItem(1, 1, new QTableWidgetItem(QStringLiteral("255.255.0.0")));
    table->setItem(2, 1, new QTableWidgetItem(QStringLiteral("192.168.0.1")));
    QTest::mouseClick(fixture.find<QPushButton>("saveConfBtn"), Qt::LeftButton);

    QCOMPARE(fixture.boxes().last().text, told);
    const QByteArray expected = QByteArray("Quorvex Set:").toHex() + "001a2b00000a2711" + tail;
    const QVector<QJsonObject> sets = fixture.lab.events(QStringLiteral("set"));
    QCOMPARE(sets.size(), 2); // straight to it, and by broadcast
    QCOMPARE(sets.first().value(QLatin1String("via")).toString(), QStringLiteral("unicast"));
    for (const QJsonObject &event : sets) {
        QCOMPARE(event.value(QLatin1String("bytes")).toString().toLatin1(), expected);
    }
    // The rescan is over, and the instrument was found where it was sent.
    QVERIFY(fixture.find<QPushButton>("scanBtn")->isEnabled());
    QVERIFY2(fixture.said().endsWith(said), qPrintable(fixture.said()));
    const bool moved = said.contains(QLatin1String(" answers "));
    QCOMPARE(fixture.rowOf(DeviceTable::IpColumn, QStringLiteral("192.168.0.50")) >= 0, moved);
    QCOMPARE(fixture.find<QPushButton>("footerDetailsBtn")->isHidden(), moved);
    QVERIFY(fixture.find<QLabel>("labelFooter")->property("role").toString().isEmpty()); // not red
}

// What moves an instrument must also recognise it when it answers: spreadsheets and people write MAC
// addresses in their own ways.
void TestNetworkPages::everyWayToWriteAMacIsRecognised()
{
    LabWindow fixture;
    fixture.scanOf({instrument("powerSupply", "1100", {{QStringLiteral("count"), 4}})});
    QCOMPARE(fixture.table()->rowCount(), 4);

    QFile file(fixture.homePath() + QLatin1String("/rack.csv"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("1100,F,1,00-1A-2B-00-00-0A,192.168.0.50,255.255.255.0,192.168.0.1\n"
               "1100,F,2,00:1a:2b:00:00:0b,192.168.0.51,255.255.255.0,192.168.0.1\n"
               "1100,F,3,00:1A:2B:00:00:0C ,192.168.0.52,255.255.255.0,192.168.0.1\n"
               "1100,F,4,00 1a-2B:00.00:0d (rack 7),192.168.0.53,255.255.255.0,192.168.0.1\n"
               "1100,F,5,00-1a-2b-00-00-ff,192.168.0.54,255.255.255.0,192.168.0.1\n"); // nobody's
    file.close();
    fixture.find<QAction>("actionAdvanced_network_config")->trigger();
    auto *dialog = fixture->findChild<NewNetwSettings *>();
    dialog->setFileChoosers({}, [&file] { return file.fileName(); });
    QTest::mouseClick(dialog->findChild<QPushButton *>(QStringLiteral("uploadFileBtn")), Qt::LeftButton);

    QTRY_VERIFY2_WITH_TIMEOUT(
        fixture.said().contains(QStringLiteral("4 of 5 changed instruments answer at their new address.")),
        qPrintable(fixture.said()), 60000);
    fixture.find<QPushButton>("footerDetailsBtn")->click();
    const auto *missing = fixture->findChild<QTextEdit *>(QStringLiteral("textEdit"));
    QVERIFY(missing);
    QCOMPARE(missing->toPlainText(),
             QStringLiteral("00:1A:2B:00:00:FF\tshould have 192.168.0.54\tdoes not answer"));
}

void TestNetworkPages::mistypedAddressIsSaidAndNotSent()
{
    LabWindow fixture;
    fixture.scanOf({instrument("beamline", "2100")});
    fixture.find<QPushButton>("configBtn")->click();
    fixture.selectRow(0);
    const auto *hint = fixture.find<QLabel>("labelConfigHint");
    QVERIFY(hint->text().isEmpty());
    for (const char *typed : {"192.168.5", "010.1.1.1", "0.0.0.0", "abc"}) {
        fixture.find<QTableWidget>("tableDeviceConfig")->item(0, 1)->setText(QLatin1String(typed));
        QVERIFY2(hint->text().startsWith(QStringLiteral("New IP Address:")), typed);
        const auto *table = fixture.find<QTableWidget>("tableDeviceConfig");
        QVERIFY(groundOf(table, 0) != groundOf(table, 1));
        QCOMPARE(groundOf(table, 1), QColor(Qt::white));
        fixture->onSaveNewConfiguration();
        QVERIFY(fixture.said().endsWith(QStringLiteral("nothing was sent.")));
        fixture.selectRow(0);
    }
    QVERIFY(fixture.lab.events(QStringLiteral("set")).isEmpty());
}

// Nobody could put it right.
void TestNetworkPages::lockedValueIsNotMarked()
{
    LabWindow fixture;
    fixture.scanOf({instrument("json", "1F80", {{QStringLiteral("gateway"), QStringLiteral("0.0.0.0")}})});
    fixture.find<QPushButton>("configBtn")->click();
    const auto *hint = fixture.find<QLabel>("labelConfigHint");
    QCOMPARE(hint->text(), QStringLiteral("Select an instrument in the table."));
    fixture.selectRow(0);
    QCOMPARE(hint->text(), QString());
    const auto *table = fixture.find<QTableWidget>("tableDeviceConfig");
    QCOMPARE(table->item(2, 1)->text(), QStringLiteral("0.0.0.0"));
    QCOMPARE(groundOf(table, 2), QColor(Qt::white));

    fixture.find<QAction>("actionApply_Filter")->trigger();
    fixture.find<QComboBox>("comboBoxDeviceFilter")->setCurrentIndex(1); // another family than its own
    QCOMPARE(table->item(2, 1)->text(), QStringLiteral("unknown"));
    QCOMPARE(hint->text(), QStringLiteral("Select an instrument in the table."));
}

void TestNetworkPages::webButtonOpensPlainAddressesOnly_data()
{
    QTest::addColumn<QString>("ip");
    QTest::addColumn<QString>("url");
    QTest::newRow("address") << "192.168.0.10"
                             << "http://192.168.0.10/";
    QTest::newRow("script") << "javascript:alert(1)//"
                            << "";
    QTest::newRow("host") << "example.org/?192.168.0.10"
                          << "";
    QTest::newRow("short") << "192.168.5"
                           << "";
}

void TestNetworkPages::webButtonOpensPlainAddressesOnly()
{
    QFETCH(QString, ip);
    QFETCH(QString, url);
    const QJsonObject texts{{QStringLiteral("IP"), ip}};
    LabWindow fixture;
    fixture.scanOf({instrument("json", "1F80", {{QStringLiteral("texts"), texts}})});
    QCOMPARE(fixture.table()->rowCount(), 1);
    fixture.selectRow(0);
    QCOMPARE(fixture.information().value(QStringLiteral("IP Address:")), ip);
    opened.clear();
    QDesktopServices::setUrlHandler(QStringLiteral("http"), this, "noteUrl");
    QDesktopServices::setUrlHandler(QStringLiteral("javascript"), this, "noteUrl");
    fixture->onOpenWebInterface();
    QDesktopServices::unsetUrlHandler(QStringLiteral("http"));
    QDesktopServices::unsetUrlHandler(QStringLiteral("javascript"));
    QCOMPARE(opened, url.isEmpty() ? QList<QUrl>{} : QList<QUrl>{QUrl(url)});
}

QTEST_MAIN(TestNetworkPages)
#include "tst_networkpages.moc"
