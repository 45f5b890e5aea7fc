#include "devicecatalogue.h"
#include "labwindow.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QHeaderView>
#include <QHostAddress>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QSet>
#include <QStackedWidget>
#include <QTest>
#include <QUdpSocket>

// The window as a user meets it: real widgets, a real scan, the virtual lab on the other end.
class TestMainWindow : public QObject
{
    Q_OBJECT

private slots:
    void startsOnTheHomePage();
    void asksAboutAPreviousInstallation_data();
    void asksAboutAPreviousInstallation();
    void showsEveryInstrumentOfTheShowcaseOnce();
    void sortsByAddressAndKeepsTheLinkToTheRecord();
    void filtersByFamily();
    void collapsedFilterBringsBackSixRowsOnly();
    void spaceScansAndReturnPresses();
    void aScanWhileOneRunsIsIgnored();
    void closingEndsARunningScan();
    void aTakenPortIsSaid();
    void pagesSwitch();
    void fullScreenActionSaysWhatItDoes();
    void textsFromTheNetworkStayLiteral();
};

void TestMainWindow::startsOnTheHomePage()
{
    WindowFixture fixture;
    fixture.open();
    const auto *stack = fixture.find<QStackedWidget>("stackedWidget");
    QCOMPARE(stack->currentWidget()->objectName(), QStringLiteral("homePage"));
    QTRY_COMPARE_WITH_TIMEOUT(stack->currentWidget()->objectName(), QStringLiteral("devicePage"), 10000);
    QCOMPARE(fixture->windowTitle(), QStringLiteral("Device Manager"));
    QCOMPARE(fixture.find<QComboBox>("comboBoxDeviceFilter")->maximumWidth(), 0);
    QVERIFY(fixture.table()->isColumnHidden(DeviceTable::SelectionColumn));
    QVERIFY(fixture.boxes().isEmpty());
}

void TestMainWindow::asksAboutAPreviousInstallation_data()
{
    QTest::addColumn<QString>("answer");
    QTest::addColumn<bool>("stays");
    QTest::newRow("yes") << "Yes" << false;
    QTest::newRow("no") << "No" << true;
    QTest::newRow("closed") << "" << true;
}

void TestMainWindow::asksAboutAPreviousInstallation()
{
    QFETCH(QString, answer);
    QFETCH(bool, stays);
    WindowFixture fixture;
    const QString folder = fixture.homePath() + QLatin1String("/Quorvex/DeviceManager");
    QVERIFY(QDir().mkpath(folder + QLatin1String("/plugins")));
    fixture.answerBoxes(answer);
    fixture.open();
    QCOMPARE(fixture.boxes().size(), 1);
    QCOMPARE(fixture.boxes().first().title, QStringLiteral("Previous Installation Found"));
    QCOMPARE(
        fixture.boxes().first().text,
        QStringLiteral("A previous installation was found in:\n%1\n\nDo you want to remove it?").arg(folder));
    QCOMPARE(QDir(folder).exists(), stays);
    QVERIFY(fixture->isVisible());
}

void TestMainWindow::showsEveryInstrumentOfTheShowcaseOnce()
{
    LabWindow fixture;
    fixture.scanOf(showcase());
    const QJsonArray instruments = showcase();
    QVERIFY(instruments.size() > 20);
    QCOMPARE(fixture.table()->rowCount(), instruments.size());
    QCOMPARE(fixture.find<QProgressBar>("progressBar")->value(), 100);
    QVERIFY(fixture.said().startsWith(
        QStringLiteral("%1 instruments found on 2 network interfaces.").arg(instruments.size())));

    const QMap<QString, QString> captions{{QStringLiteral("ID"), QStringLiteral("Module ID:")},
                                          {QStringLiteral("SN"), QStringLiteral("Serial Number:")},
                                          {QStringLiteral("FW"), QStringLiteral("Firmware Version:")},
                                          {QStringLiteral("MAC"), QStringLiteral("MAC Address:")},
                                          {QStringLiteral("IP"), QStringLiteral("IP Address:")},
                                          {QStringLiteral("NETMASK"), QStringLiteral("SubnetMask:")},
                                          {QStringLiteral("GATEWAY"), QStringLiteral("Gateway:")}};
    for (const QJsonValue &value : instruments) {
        const QJsonObject expected = value[QLatin1String("expect")].toObject();
        const QString ip = expected.value(QLatin1String("IP")).toString();
        fixture.selectRow(fixture.rowOf(DeviceTable::IpColumn, ip));
        const QMap<QString, QString> shown = fixture.information();
        QStringList rest = expected.keys();
        for (auto caption = captions.begin(); caption != captions.end(); ++caption) {
            const QString text = expected.value(caption.key()).toString();
            QCOMPARE(qMakePair(ip, shown.value(*caption)), qMakePair(ip, text));
            rest.removeOne(caption.key());
        }
        const QString dhcp = expected.value(QLatin1String("DHCP")).toString();
        QCOMPARE(shown.value(QStringLiteral("DHCP:")), dhcp == QLatin1String("1") ? QStringLiteral("ON")
                                                       : dhcp == QLatin1String("0")
                                                           ? QStringLiteral("OFF")
                                                           : QStringLiteral("Not Available"));
        QCOMPARE(rest,
                 QStringList({QStringLiteral("BRAND"), QStringLiteral("CODE"), QStringLiteral("DHCP")}));
        const int extra = value[QLatin1String("expectExtra")].toArray().size();
        QCOMPARE(shown.size(), 10 + extra); // with the group and the description; no brand
        const int row = fixture.table()->currentRow();
        QVERIFY2(!fixture.table()->item(row, DeviceTable::IconColumn)->icon().isNull(), qPrintable(ip));
    }
}

void TestMainWindow::sortsByAddressAndKeepsTheLinkToTheRecord()
{
    LabWindow fixture;
    QJsonArray instruments;
    for (const int number : {10, 9, 2, 110, 21}) {
        instruments.append(labInstrument("powerSupply", "1100", number));
    }
    fixture.scanOf(instruments);
    fixture.table()->sortByColumn(DeviceTable::IpColumn, Qt::AscendingOrder);
    int row = 0;
    for (const int number : {2, 9, 10, 21, 110}) {
        const QString ip = QStringLiteral("192.168.0.%1").arg(number);
        QCOMPARE(fixture.table()->item(row, DeviceTable::IpColumn)->text(), ip);
        fixture.selectRow(row++);
        QCOMPARE(fixture.information().value(QStringLiteral("IP Address:")), ip);
    }
}

void TestMainWindow::filtersByFamily()
{
    LabWindow fixture;
    fixture.scanOf(showcase());
    fixture.find<QAction>("actionApply_Filter")->trigger();
    QCOMPARE(fixture.find<QAction>("actionApply_Filter")->text(), QStringLiteral("Remove Filter"));
    QHash<QString, QString> codeByIp;
    for (const auto &value : showcase()) {
        const QJsonObject expected = value.toObject().value(QLatin1String("expect")).toObject();
        codeByIp.insert(expected.value(QLatin1String("IP")).toString(),
                        expected.value(QLatin1String("CODE")).toString());
    }
    const QStringList digits{QStringLiteral("14"), QStringLiteral("2"), QStringLiteral("3")};
    for (int family = 0; family < digits.size(); ++family) {
        fixture.find<QComboBox>("comboBoxDeviceFilter")->setCurrentIndex(family);
        int shown = 0;
        for (int row = 0; row < fixture.table()->rowCount(); ++row) {
            const QString code = codeByIp.value(fixture.table()->item(row, DeviceTable::IpColumn)->text());
            QCOMPARE(fixture.table()->isRowHidden(row), !digits.at(family).contains(code.at(0)));
            shown += fixture.table()->isRowHidden(row) ? 0 : 1;
        }
        QVERIFY(shown > 0);
    }
    // A selected row takes the filter to its own family.
    const int supply = fixture.rowOf(DeviceTable::IpColumn, codeByIp.key(QStringLiteral("1100")));
    fixture.selectRow(supply);
    QCOMPARE(fixture.find<QComboBox>("comboBoxDeviceFilter")->currentIndex(), 0);
    QVERIFY(!fixture.table()->isRowHidden(supply));
}

void TestMainWindow::collapsedFilterBringsBackSixRowsOnly()
{
    LabWindow fixture;
    QJsonArray instruments;
    for (int number = 1; number <= 9; ++number) {
        instruments.append(labInstrument("powerSupply", "1100", number));
    }
    fixture.scanOf(instruments);
    QTest::mouseClick(fixture.find<QPushButton>("filterBtn"), Qt::LeftButton);
    fixture.find<QComboBox>("comboBoxDeviceFilter")->setCurrentIndex(2);
    QTest::mouseClick(fixture.find<QPushButton>("filterBtn"), Qt::LeftButton);
    for (int row = 0; row < 9; ++row) {
        QCOMPARE(fixture.table()->isRowHidden(row), row >= 6);
    }
    QVERIFY(fixture.scan());
    for (int row = 0; row < 9; ++row) {
        QVERIFY(!fixture.table()->isRowHidden(row));
    }
}

void TestMainWindow::spaceScansAndReturnPresses()
{
    LabWindow fixture;
    fixture.play({labInstrument("powerSupply", "1100", 7)});
    fixture.open();
    QTRY_COMPARE(fixture.find<QStackedWidget>("stackedWidget")->currentIndex(), 0);
    auto *configure = fixture.find<QPushButton>("configBtn");
    configure->setFocus();
    QTest::keyClick(configure, Qt::Key_Space);
    QVERIFY2(configure->isEnabled(), "Space pressed the focused button");
    QTRY_COMPARE(fixture.table()->rowCount(), 1);
    QTRY_VERIFY(fixture.find<QPushButton>("scanBtn")->isEnabled());
    QTest::keyClick(configure, Qt::Key_Return);
    QVERIFY(!configure->isEnabled());
    QCOMPARE(fixture.find<QStackedWidget>("stackedWidgetPageRight")->currentIndex(), 2);
}

void TestMainWindow::aScanWhileOneRunsIsIgnored()
{
    LabWindow fixture;
    fixture.play({labInstrument("powerSupply", "1100", 7)});
    fixture.writeSettings("[scan]\nscanTime=800\n");
    fixture.open();
    QTimer again;
    QObject::connect(&again, &QTimer::timeout, &*fixture, [&fixture] { fixture->onScanDevices(); });
    again.start(50);
    QVERIFY(fixture.scan());
    again.stop();
    QCOMPARE(fixture.table()->rowCount(), 1);
    int discoveryQueries = 0;
    for (const QJsonObject &event : fixture.lab.events(QStringLiteral("query"))) {
        discoveryQueries +=
            event.value(QLatin1String("to")).toString().endsWith(QLatin1String(":30719")) ? 1 : 0;
    }
    QCOMPARE(discoveryQueries, 2); // one an interface
}

void TestMainWindow::closingEndsARunningScan()
{
    WindowFixture fixture;
    fixture.writeSettings("[scan]\nscanTime=60000\n");
    fixture.open();
    QTimer::singleShot(300, &*fixture, [&fixture] { fixture->close(); });
    QElapsedTimer clock;
    clock.start();
    fixture->onScanDevices();
    QVERIFY2(clock.elapsed() < 30000, "the scan went on after the window was closed");
    QVERIFY(!fixture->isVisible());
}

void TestMainWindow::aTakenPortIsSaid()
{
    QUdpSocket other;
    QVERIFY(other.bind(QHostAddress(QHostAddress::AnyIPv4), 30719, QUdpSocket::DontShareAddress));
    LabWindow fixture;
    fixture.open();
    QVERIFY(fixture.scan());
    const QString said = fixture.said();
    QVERIFY2(said.contains(QStringLiteral("Not everyone could be asked or heard (UDP port 30719:")),
             qPrintable(said));
    QVERIFY(said.startsWith(QStringLiteral("0 instruments found on 0 network interfaces.")));
}

void TestMainWindow::pagesSwitch()
{
    WindowFixture fixture;
    fixture.open();
    struct Page
    {
        const char *button;
        const char *page;
        bool selectionShown;
        bool filterStays;
    };
    const QVector<Page> pages{{"updateBtn", "pageUpdate", true, true},
                              {"configBtn", "pageConfigure", false, false},
                              {"infoBtn", "pageInfo", false, false}};
    for (const Page &page : pages) {
        fixture.find<QAction>("actionApply_Filter")->trigger();
        auto *button = fixture.find<QPushButton>(page.button);
        QTest::mouseClick(button, Qt::LeftButton);
        QCOMPARE(fixture.find<QStackedWidget>("stackedWidgetPageRight")->currentWidget()->objectName(),
                 QLatin1String(page.page));
        QCOMPARE(fixture.table()->isColumnHidden(DeviceTable::SelectionColumn), !page.selectionShown);
        QCOMPARE(fixture.find<QComboBox>("comboBoxDeviceFilter")->maximumWidth() > 0, page.filterStays);
        for (const char *name : {"infoBtn", "updateBtn", "configBtn"}) {
            const auto *other = fixture.find<QPushButton>(name);
            QCOMPARE(other->isEnabled(), other != button);
            QCOMPARE(other->styleSheet().isEmpty(), other != button);
        }
        if (page.filterStays) {
            fixture.find<QAction>("actionApply_Filter")->trigger();
        }
    }
}

void TestMainWindow::fullScreenActionSaysWhatItDoes()
{
    WindowFixture fixture;
    fixture.open();
    auto *action = fixture.find<QAction>("actionToogle_Full_Screen");
    QCOMPARE(action->text(), QStringLiteral("Toggle Full Screen"));
    action->trigger();
    QCOMPARE(action->text(), QStringLiteral("Show Normal"));
    QVERIFY(fixture->isFullScreen());
    action->trigger();
    QCOMPARE(action->text(), QStringLiteral("Toogle Full Screen"));
    QVERIFY(!fixture->isFullScreen());
}

void TestMainWindow::textsFromTheNetworkStayLiteral()
{
    const QString markup = QStringLiteral("<b>bold</b><img src='x'>");
    LabWindow fixture;
    fixture.scanOf({labInstrument("json", "1F80", 7,
                                  {{QStringLiteral("texts"), QJsonObject{{QStringLiteral("ID"), markup}}}})});
    fixture.selectRow(0);
    QCOMPARE(fixture.table()->item(0, DeviceTable::ModuleIdColumn)->text(), markup);
    const auto *info = fixture.find<QTableWidget>("tableInfo");
    QCOMPARE(info->item(0, 1)->text(), markup);
    QVERIFY(info->item(0, 1)->toolTip().contains(QStringLiteral("&lt;b&gt;")));
}

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
