#include "footer.h"
#include "windowfixture.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QHostAddress>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QStackedWidget>
#include <QTest>
#include <QUdpSocket>

#include <tuple>

namespace {

Device_t record(const char *code, int number, const char *text)
{
    Device_t device;
    device[Code] = QLatin1String(code);
    device[Ip] = addressOf(number);
    for (const DeviceField field : {Family, Id, Fw}) {
        device[field] = QLatin1String(text);
    }
    return device;
}

using Change = ChangeVerdict::State;
using Version = VersionVerdict::State;

ScanReport reportOf(const QVector<Change> &changes, const QVector<VersionVerdict> &versions = {},
                    bool lookingAgain = false)
{
    ScanReport report;
    report.instruments = 2;
    report.interfacesQueried = 1;
    report.lookingAgain = lookingAgain;
    for (const Change state : changes) {
        report.changes.append({macOf(report.changes.size()), addressOf(50), addressOf(10), state});
    }
    report.versions = versions;
    return report;
}

// What the footer shows of a report, behind "!" when it is red and "+" when it offers details.
QString footerOf(const ScanReport &report)
{
    QLabel label;
    QPushButton details;
    Footer(&label, &details).showReport(report);
    QString text = label.text().remove("2 instruments found on 1 network interface. "_s);
    text.prepend(QLatin1String(details.isHidden() ? "" : "+"));
    return text.prepend(QLatin1String(label.property("role").toString().isEmpty() ? "" : "!"));
}

} // namespace

// The window as a user meets it: real widgets, a real scan, the virtual lab on the other end.
class TestMainWindow : public QObject
{
    Q_OBJECT

private slots:
    void startsOnTheHomePage();
    void asksAboutAPreviousInstallation();
    void showsTheShowcaseSortedAndFiltered();
    void rowsOfALookKeepTheRest();
    void spaceScansAndReturnPresses();
    void closingEndsARunningScan();
    void aTakenPortIsSaid();
    void pagesSwitch();
    void footerSaysWhatBecameOfChanges();
    void footerSaysWhatBecameOfVersions();
    void footerSaysWhatWentWrong();

private:
    static void checkInformation(const WindowFixture &fixture, const QJsonObject &instrument);
};

void TestMainWindow::startsOnTheHomePage()
{
    WindowFixture fixture;
    fixture.open();
    const auto *stack = fixture.find<QStackedWidget>("stackedWidget");
    QCOMPARE(stack->currentWidget()->objectName(), "homePage"_s);
    QVERIFY(!fixture.find<QLabel>("labelHomeLogo")->pixmap(Qt::ReturnByValue).isNull());
    QTRY_COMPARE_WITH_TIMEOUT(stack->currentWidget()->objectName(), "devicePage"_s, 10000);
    QCOMPARE(fixture.find<QComboBox>("comboBoxDeviceFilter")->maximumWidth(), 0);
    QVERIFY(fixture.table()->isColumnHidden(DeviceTable::SelectionColumn));
    QVERIFY(fixture.find<QWidget>("frameWeb")->isHidden());
    QCOMPARE(fixture.said(), "Not scanned yet."_s);
    QCOMPARE(fixture.find<QProgressBar>("progressBar")->value(), 0);
    QVERIFY(fixture.boxes().isEmpty());
}

void TestMainWindow::asksAboutAPreviousInstallation()
{
    for (const auto &[answer, stays] :
         {std::pair("Yes", false), std::pair("No", true), std::pair("", true)}) {
        WindowFixture fixture;
        const QString folder = fixture.homePath() + "/Quorvex/DeviceManager"_s;
        QVERIFY(QDir().mkpath(folder + "/plugins"_s));
        fixture.answerBoxes(QLatin1String(answer));
        fixture.open();
        QCOMPARE(fixture.boxes().size(), 1);
        QCOMPARE(fixture.boxes().first().title, "Previous Installation Found"_s);
        QCOMPARE(fixture.lastBox(),
                 "A previous installation was found in:\n%1\n\nDo you want to remove it?"_s.arg(folder));
        QCOMPARE(QDir(folder).exists(), stays);
        QVERIFY(fixture->isVisible());
    }
}

// The information page of the selected row holds all that is known of that instrument.
void TestMainWindow::checkInformation(const WindowFixture &fixture, const QJsonObject &instrument)
{
    const QJsonObject expected = instrument.value("expect"_s).toObject();
    const QMap<QString, QString> shown = fixture.information();
    for (const auto &[key, caption] : {std::pair("ID", "Module ID:"), std::pair("SN", "Serial Number:"),
                                       std::pair("FW", "Firmware Version:"), std::pair("MAC", "MAC Address:"),
                                       std::pair("IP", "IP Address:"), std::pair("NETMASK", "SubnetMask:"),
                                       std::pair("GATEWAY", "Gateway:")}) {
        QCOMPARE(shown.value(QLatin1String(caption)), expected.value(QLatin1String(key)).toString());
    }
    const QString dhcp = expected.value("DHCP"_s).toString();
    QCOMPARE(shown.value("DHCP:"_s), dhcp == "1"_s ? "ON"_s : dhcp == "0"_s ? "OFF"_s : "Not Available"_s);
    const int extra = instrument.value("expectExtra"_s).toArray().size();
    QCOMPARE(shown.size(), 10 + extra); // with the group and the description; no brand
}

void TestMainWindow::showsTheShowcaseSortedAndFiltered()
{
    WindowFixture fixture;
    const QJsonArray instruments = showcase();
    fixture.scanOf(instruments);
    QCOMPARE(fixture.find<QProgressBar>("progressBar")->value(), 100);
    QVERIFY(
        fixture.said().startsWith("%1 instruments found on 2 network interfaces."_s.arg(instruments.size())));
    QVERIFY(fixture.table()->isSortingEnabled());
    fixture.table()->sortByColumn(DeviceTable::IpColumn, Qt::DescendingOrder);
    QHash<QString, QString> codeByIp;
    for (const QJsonValue &value : instruments) {
        const QJsonObject expected = value["expect"_s].toObject();
        const QString ip = expected.value("IP"_s).toString();
        codeByIp.insert(ip, expected.value("CODE"_s).toString());
        const int row = fixture.rowOf(DeviceTable::IpColumn, ip);
        fixture.selectRow(row);
        checkInformation(fixture, value.toObject());
        QVERIFY2(!fixture.table()->item(row, DeviceTable::IconColumn)->icon().isNull(), qPrintable(ip));
    }

    fixture.press("actionApply_Filter");
    QCOMPARE(fixture.find<QAction>("actionApply_Filter")->text(), "Remove Filter"_s);
    QVERIFY(!fixture.find<QPushButton>("filterBtn")->styleSheet().isEmpty()); // the look of one in use
    const auto code = [&](int row) {
        return codeByIp.value(fixture.table()->item(row, DeviceTable::IpColumn)->text());
    };
    const QStringList digits{"14"_s, "2"_s, "3"_s};
    for (int family = 0; family < digits.size(); ++family) {
        fixture.find<QComboBox>("comboBoxDeviceFilter")->setCurrentIndex(family);
        for (int row = 0; row < fixture.table()->rowCount(); ++row) {
            QCOMPARE(fixture.table()->isRowHidden(row), !digits.at(family).contains(code(row).at(0)));
        }
    }
    QVERIFY(fixture.information().isEmpty()); // whoever was selected is out of sight
    // A selected row takes the filter to its own family, if that has an entry.
    for (const auto &[number, family] :
         {std::pair(31, 1), std::pair(60, 0), std::pair(51, 0), std::pair(41, 2)}) {
        fixture.selectRow(fixture.rowOf(number));
        QCOMPARE(fixture.find<QComboBox>("comboBoxDeviceFilter")->currentIndex(), family);
    }
    // Collapsed, it brings back six rows only.
    fixture.press("filterBtn");
    QCOMPARE(fixture.find<QComboBox>("comboBoxDeviceFilter")->maximumWidth(), 0);
    for (int row = 0; row < fixture.table()->rowCount(); ++row) {
        QCOMPARE(fixture.table()->isRowHidden(row), row >= 6 && !code(row).startsWith(QLatin1Char('3')));
    }
    QVERIFY(fixture.scan());
    for (int row = 0; row < fixture.table()->rowCount(); ++row) {
        QVERIFY(!fixture.table()->isRowHidden(row));
    }
}

// A look changes one row or adds one; ticks, the selection and the sorting are the user's.
void TestMainWindow::rowsOfALookKeepTheRest()
{
    DeviceTable table;
    table.setColumnCount(6);
    table.prepareColumns();
    const QImage nobody = table.grab().toImage();
    table.setEmptyText("Nobody"_s);
    QVERIFY(table.grab().toImage() != nobody);
    table.fill({record("1100", 10, "a"), record("2100", 9, "b"), record("1100", 110, "c")});
    table.sortByColumn(DeviceTable::IpColumn, Qt::AscendingOrder);
    const auto order = [&table] {
        QList<int> indices;
        for (int row = 0; row < table.rowCount(); ++row) {
            indices.append(table.deviceIndex(row));
        }
        return indices;
    };
    QCOMPARE(order(), QList<int>({1, 0, 2})); // 9, 10, 110
    table.selectionBox(1)->setChecked(true);
    table.setCurrentCell(2, DeviceTable::GroupColumn);

    const QImage before = table.item(0, DeviceTable::IconColumn)->icon().pixmap(90).toImage();
    table.updateDevice(1, record("1210", 200, "new"));
    table.updateDevice(7, record("1210", 200, "nobody"));
    table.addDevice(record("3100", 50, "d"));
    QCOMPARE(order(), QList<int>({0, 3, 2, 1})); // 10, 50, 110, 200
    for (const DeviceTable::Column column :
         {DeviceTable::GroupColumn, DeviceTable::ModuleIdColumn, DeviceTable::FirmwareColumn}) {
        QCOMPARE(table.item(3, column)->text(), "new"_s);
        QCOMPARE(table.item(1, column)->text(), "d"_s);
    }
    const QTableWidgetItem *picture = table.item(3, DeviceTable::IconColumn);
    QVERIFY(picture->icon().pixmap(90).toImage() != before);
    QCOMPARE(picture->data(Qt::AccessibleTextRole).toString(), "new"_s);
    QVERIFY(table.item(1, DeviceTable::IpColumn)->data(Qt::FontRole).isValid()); // digits below each other
    QVERIFY(!table.item(1, DeviceTable::GroupColumn)->data(Qt::FontRole).isValid());
    QCOMPARE(table.currentDeviceIndex(), 2);
    QList<bool> ticked{false, false, false, false};
    table.readSelection(&ticked);
    QCOMPARE(ticked, QList<bool>({true, false, false, false}));
    QVERIFY(!table.selectionBox(1)->isEnabled()); // a transducer's
}

// A second order while the scan runs, which the table of orders refuses, changes nothing.
void TestMainWindow::spaceScansAndReturnPresses()
{
    WindowFixture fixture;
    fixture.play({supply(7)});
    fixture.open();
    QTRY_COMPARE(fixture.find<QStackedWidget>("stackedWidget")->currentIndex(), 0);
    auto *configure = fixture.find<QPushButton>("configBtn");
    const auto *bar = fixture.find<QProgressBar>("progressBar");
    QString during;
    connect(bar, &QProgressBar::valueChanged, bar, [&](int value) {
        if (value > 0 && value < 100 && during.isEmpty()) {
            fixture->onScanDevices();
            during = fixture.said();
            QVERIFY(!fixture.find<QAction>("actionNew_Scan")->isEnabled());
            QVERIFY(!fixture.find<QAction>("actionAdvanced_network_config")->isEnabled());
            QVERIFY(fixture.isLocked() && configure->isEnabled());
        }
    });
    configure->setFocus();
    QTest::keyClick(configure, Qt::Key_Space);
    QVERIFY2(configure->isEnabled(), "Space pressed the focused button");
    QTRY_VERIFY(fixture.find<QPushButton>("scanBtn")->isEnabled());
    QCOMPARE(during, "Scanning... Esc stops."_s); // no more words than that
    QVERIFY(fixture.find<QAction>("actionAdvanced_network_config")->isEnabled() && !fixture.isLocked());
    QTest::keyClick(configure, Qt::Key_Return);
    QVERIFY(!configure->isEnabled());
    QCOMPARE(fixture.find<QStackedWidget>("stackedWidgetPageRight")->currentIndex(), 2);
}

void TestMainWindow::closingEndsARunningScan()
{
    WindowFixture fixture;
    fixture.writeSettings("[scan]\nscanTime=600000\n"); // longer than any test may take
    fixture.open();
    QTimer::singleShot(300, &*fixture, [&fixture] { fixture->close(); });
    fixture->onScanDevices();
    QVERIFY(!fixture->isVisible());
}

void TestMainWindow::aTakenPortIsSaid()
{
    QUdpSocket other;
    QVERIFY(other.bind(QHostAddress(QHostAddress::AnyIPv4), 30719, QUdpSocket::DontShareAddress));
    WindowFixture fixture;
    fixture.open();
    QVERIFY(fixture.scan());
    QVERIFY2(fixture.said().startsWith("0 instruments found on 0 network interfaces. Not everyone "
                                       "could be asked or heard (UDP port 30719:"_s),
             qPrintable(fixture.said()));
}

void TestMainWindow::pagesSwitch()
{
    WindowFixture fixture;
    fixture.open();
    struct Page
    {
        const char *button;
        const char *page;
        bool keepsFilter; // and shows the boxes
    };
    for (const Page &page : {Page{"updateBtn", "pageUpdate", true}, Page{"configBtn", "pageConfigure", false},
                             Page{"infoBtn", "pageInfo", false}}) {
        fixture.press("actionApply_Filter");
        fixture.press(page.button);
        QCOMPARE(fixture.find<QStackedWidget>("stackedWidgetPageRight")->currentWidget()->objectName(),
                 QLatin1String(page.page));
        QCOMPARE(fixture.table()->isColumnHidden(DeviceTable::SelectionColumn), !page.keepsFilter);
        QCOMPARE(fixture.find<QComboBox>("comboBoxDeviceFilter")->maximumWidth() > 0, page.keepsFilter);
        for (const char *name : {"infoBtn", "updateBtn", "configBtn"}) {
            const auto *other = fixture.find<QPushButton>(name);
            QCOMPARE(other->isEnabled(), QLatin1String(name) != QLatin1String(page.button));
            QCOMPARE(other->styleSheet().isEmpty(), other->isEnabled());
        }
        if (page.keepsFilter) {
            fixture.press("actionApply_Filter");
        }
    }
    const auto *action = fixture.find<QAction>("actionToogle_Full_Screen");
    for (const auto &[full, text] :
         {std::pair(true, "Show Normal"), std::pair(false, "Toogle Full Screen")}) {
        fixture.press("actionToogle_Full_Screen");
        QCOMPARE(action->text(), QLatin1String(text));
        QCOMPARE(fixture->isFullScreen(), full);
    }
}

void TestMainWindow::footerSaysWhatBecameOfChanges()
{
    const QVector<QPair<QVector<Change>, const char *>> cases{
        {{Change::Proven}, "The changed instrument answers at its new address."},
        {{Change::WaitsForReboot}, "+The changed instrument takes its new address when it is rebooted."},
        {{Change::NotLookedFor}, "+The changed instrument was not looked for at its new address."},
        {{Change::Silent}, "!+The changed instrument does not answer at its new address."},
        {{Change::Elsewhere}, "!+The changed instrument does not answer at its new address."},
        {{Change::Proven, Change::Proven}, "2 of 2 changed instruments answer at their new address."},
        {{Change::Proven, Change::WaitsForReboot, Change::NotLookedFor, Change::Silent, Change::Elsewhere},
         "!+1 of 5 changed instruments answer at their new address, 1 when rebooted, 1 not looked for."}};
    for (const auto &[states, text] : cases) {
        QCOMPARE(footerOf(reportOf(states)), QLatin1String(text));
    }
    QCOMPARE(footerOf(reportOf({Change::Silent}, {}, true)),
             "+The changed instrument does not answer at its new address yet. Looking again..."_s);
    QCOMPARE(Footer::missingInstruments(reportOf(cases.last().first)),
             "00:1A:2B:00:00:01\tshould have 192.168.0.50\twaits for its reboot\n"
             "00:1A:2B:00:00:02\tshould have 192.168.0.50\twas not looked for\n"
             "00:1A:2B:00:00:03\tshould have 192.168.0.50\tdoes not answer\n"
             "00:1A:2B:00:00:04\tshould have 192.168.0.50\tanswers at 192.168.0.10"_s);
}

void TestMainWindow::footerSaysWhatBecameOfVersions()
{
    const QVector<std::tuple<const char *, Version, const char *>> cases{
        {"1.0", Version::Changed, "1.0 before, 1.1 now"},
        {"Unknown", Version::Told, "1.1 now"},
        {"1.0", Version::Unchanged, "!still 1.0, not changed"},
        {"1.0", Version::Untold, "!answers, but does not say its version"},
        {"Unknown", Version::Untold, "answers, but does not say its version"},
        {"1.0", Version::NotLookedFor, "was not looked for"},
        {"1.0", Version::Silent, "!was 1.0, does not answer yet"},
        {"", Version::Silent, "!does not answer yet"}};
    for (const auto &[version, state, text] : cases) {
        const bool bad = *text == '!';
        Device_t before = record("1100", 10, version);
        before[Id] = "QPS"_s;
        const VersionVerdict verdict{before, "1.1"_s, state};
        const QString said = "Firmware of QPS (192.168.0.10): %1."_s.arg(QLatin1String(text + bad));
        QCOMPARE(footerOf(reportOf({}, {verdict})), (bad ? "!"_s : QString()) + said);
        QCOMPARE(footerOf(reportOf({}, {verdict}, true)), said + " Looking again..."_s);
    }
}

void TestMainWindow::footerSaysWhatWentWrong()
{
    ScanReport report;
    report.instruments = 1;
    report.interfacesQueried = 2;
    report.settingsRefused = true;
    QCOMPARE(footerOf(report), "!1 instrument found on 2 network interfaces. The new settings were refused: "
                               "nothing was sent."_s);
    report = reportOf({Change::Proven});
    report.problem = "port"_s;
    QCOMPARE(footerOf(report),
             "!Not everyone could be asked or heard (port). The changed instrument answers at "
             "its new address."_s);
    // Who was not reached is not missing.
    report = reportOf({Change::Silent}, {{record("1100", 10, ""), {}, Version::Silent}});
    report.stopped = true;
    report.problem = "port"_s;
    QCOMPARE(footerOf(report), "Stopped: 2 instruments found on 1 network interface."_s);

    QLabel label;
    QPushButton details;
    Footer footer(&label, &details);
    footer.say("before"_s);
    QSet<QString> texts;
    for (int refusal = 0; refusal <= static_cast<int>(Refusal::UnusableSettings); ++refusal) {
        footer.showRefusal(static_cast<Refusal>(refusal));
        texts.insert(label.text());
    }
    QCOMPARE(texts.size(), 5); // no words for none and closing, and for a scan and an update: they say so
    QCOMPARE(label.property("role").toString(), "error"_s);
}

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
