#include "appsettings.h"
#include "labwindow.h"
#include "networkconfigurationfile.h"
#include "networkinterfaces.h"
#include "newnetwsettings.h"
#include "settings.h"

#include <QAction>
#include <QCheckBox>
#include <QDoubleSpinBox>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QTextEdit>
#include <QThreadPool>

namespace {

QJsonArray supplies(int count)
{
    return {labInstrument("powerSupply", "1100", 1,
                          {{QStringLiteral("ip"), QStringLiteral("10.20.28.1")},
                           {QStringLiteral("gateway"), QStringLiteral("10.20.30.1")},
                           {QStringLiteral("interface"), QStringLiteral("lab1")},
                           {QStringLiteral("applyMs"), 200},
                           {QStringLiteral("count"), count}})};
}

// The IP addresses in a file of network settings by MAC addresses.
QMap<QString, QString> addressesIn(const QByteArray &file)
{
    QMap<QString, QString> addresses;
    for (const QByteArray &line : file.split('\n')) {
        const QByteArrayList fields = line.split(',');
        if (fields.value(3).count(':') == 5) {
            addresses.insert(QString::fromLatin1(fields[3]), QString::fromLatin1(fields.value(4)));
        }
    }
    return addresses;
}

int broadcasts(const LabProcess &lab)
{
    int seen = 0;
    for (const QJsonObject &event : lab.events(QStringLiteral("query"))) {
        seen += event.value(QLatin1String("to")).toString() == QLatin1String("255.255.255.255:30719") ? 1 : 0;
    }
    return seen;
}

} // namespace

// The dialogs that the window conducts: what the user decides there is stored, sent and in force.
class TestWindowDialogs : public QObject
{
    Q_OBJECT

private slots:
    void changedSettingsAreStoredAndInForce();
    void manualIpAppearsAndGoes();
    void untickedInterfaceIsNotAsked();
    void helpTextsOpenEachTime();
    void threeHundredInstrumentsMoveByFile();
};

void TestWindowDialogs::changedSettingsAreStoredAndInForce()
{
    LabWindow fixture;
    fixture.open();
    fixture.find<QAction>("actionSettings")->trigger();
    auto *dialog = fixture->findChild<Settings *>();
    QVERIFY(dialog);
    QVERIFY(dialog->isVisible());
    const auto spin = [dialog](const char *name) {
        return dialog->findChild<QDoubleSpinBox *>(QLatin1String(name));
    };
    spin("doubleSpinBoxBroadcastTime")->setValue(1.25);
    spin("doubleSpinBoxTimeout")->setValue(90);
    spin("doubleSpinBoxThreadsNumber")->setValue(20);
    spin("doubleSpinBoxWaitForBytesWritten")->setValue(1100);
    spin("doubleSpinBoxWaitForReadyRead")->setValue(1200);
    spin("doubleSpinBoxWaitForConnected")->setValue(1300);
    dialog->findChild<QCheckBox *>(QStringLiteral("checkBoxEnableUnicast"))->setChecked(true);
    dialog->findChild<QLineEdit *>(QStringLiteral("lineEditStart"))->setText(QStringLiteral("192.168.0.20"));
    dialog->findChild<QLineEdit *>(QStringLiteral("lineEditStop"))->setText(QStringLiteral("192.168.0.22"));
    QTest::mouseClick(dialog->findChild<QPushButton *>(QStringLiteral("applyBtn")), Qt::LeftButton);
    QTRY_VERIFY(!fixture->findChild<Settings *>());

    const AppSettings stored;
    QCOMPARE(stored.scanTime(), 1250);
    QCOMPARE(stored.updateTimeout(), 90000);
    QCOMPARE(stored.tcpThreads(), 20);
    QCOMPARE(stored.tcpWaitWritten(), 1100);
    QCOMPARE(stored.tcpWaitRead(), 1200);
    QCOMPARE(stored.tcpWaitConnected(), 1300);
    QVERIFY(stored.sendUnicast());
    QCOMPARE(stored.startIp().toString(), QStringLiteral("192.168.0.20"));
    QCOMPARE(stored.endIp().toString(), QStringLiteral("192.168.0.22"));
    QCOMPARE(QThreadPool::globalInstance()->maxThreadCount(), 20);

    // In force without a restart: an instrument within the range hears the question by unicast.
    fixture.play({labInstrument("powerSupply", "1100", 21)});
    QVERIFY(fixture.scan());
    QCOMPARE(fixture.table()->rowCount(), 1);
    QVERIFY(fixture.lab.waitForEvent([](const QJsonObject &event) {
        return event.value(QLatin1String("to")).toString() == QLatin1String("192.168.0.21:30719");
    }));
}

void TestWindowDialogs::manualIpAppearsAndGoes()
{
    WindowFixture fixture;
    fixture.open();
    fixture.find<QPushButton>("updateBtn")->click();
    const auto *frame = fixture.find<QWidget>("frameManualIp");
    QVERIFY(frame->isHidden());
    for (const bool offered : {true, false}) {
        fixture.find<QAction>("actionSettings")->trigger();
        auto *dialog = fixture->findChild<Settings *>();
        dialog->findChild<QCheckBox *>(QStringLiteral("checkBoxEnable"))->setChecked(offered);
        QTest::mouseClick(dialog->findChild<QPushButton *>(QStringLiteral("applyBtn")), Qt::LeftButton);
        QTRY_VERIFY(!fixture->findChild<Settings *>());
        QCOMPARE(frame->isHidden(), !offered);
        QCOMPARE(AppSettings().manualIp(), offered);
        fixture.find<QCheckBox>("checkBoxManualIP")->setChecked(offered);
    }
    QVERIFY(fixture.table()->isEnabled());
}

void TestWindowDialogs::untickedInterfaceIsNotAsked()
{
    LabWindow fixture;
    fixture.scanOf(supplies(1));
    QCOMPARE(fixture.table()->rowCount(), 1);
    fixture.find<QAction>("actionSelect_network_interfaces")->trigger();
    auto *dialog = fixture->findChild<NetworkInterfaces *>();
    QVERIFY(dialog && dialog->isVisible());
    auto *list = dialog->findChild<QTableWidget *>();
    for (int row = 0; row < list->rowCount(); ++row) {
        QWidget *cell = list->cellWidget(row, 0);
        auto *box = qobject_cast<QCheckBox *>(cell);
        box = box ? box : cell->findChild<QCheckBox *>();
        box->setChecked(list->item(row, 1)->text() == QLatin1String("wst0"));
    }
    dialog->onApply();
    QTRY_VERIFY(!fixture->findChild<NetworkInterfaces *>());
    const int before = broadcasts(fixture.lab);
    QVERIFY(fixture.scan());
    QCOMPARE(fixture.table()->rowCount(), 0); // the instrument is on the other cable
    QCOMPARE(broadcasts(fixture.lab), before + 1);
    QVERIFY(fixture.said().startsWith(QStringLiteral("0 instruments found on 1 network interface.")));
}

void TestWindowDialogs::helpTextsOpenEachTime()
{
    WindowFixture fixture;
    fixture.open();
    fixture.find<QAction>("actionChangelog")->trigger();
    fixture.find<QAction>("actionChangelog")->trigger();
    fixture.find<QAction>("actionAbout")->trigger();
    fixture.find<QAction>("actionShow_supported_devices")->trigger();
    QStringList titles;
    for (const QTextEdit *text : fixture->findChildren<QTextEdit *>()) {
        titles.append(text->window()->windowTitle());
        QVERIFY(text->isReadOnly() && !text->toPlainText().isEmpty());
    }
    titles.sort();
    QCOMPARE(titles, QStringList({QStringLiteral("About"), QStringLiteral("Changelog"),
                                  QStringLiteral("Changelog"), QStringLiteral("Supported Devices")}));
}

void TestWindowDialogs::threeHundredInstrumentsMoveByFile()
{
    constexpr int count = 300;
    LabWindow fixture;
    fixture.writeSettings("[scan]\nscanTime=1000\n");
    fixture.scanOf(supplies(count));
    QCOMPARE(fixture.table()->rowCount(), count);

    const QString path = fixture.homePath() + QLatin1String("/rack.csv");
    fixture.find<QAction>("actionAdvanced_network_config")->trigger();
    auto *dialog = fixture->findChild<NewNetwSettings *>();
    QVERIFY(dialog && dialog->isVisible());
    dialog->setFileChoosers([&path] { return QString(path); }, [&path] { return QString(path); });
    QTest::mouseClick(dialog->findChild<QPushButton *>(QStringLiteral("saveFileBtn")), Qt::LeftButton);
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QByteArray text = file.readAll();
    file.close();
    QCOMPARE(text.count(",10.20.28.") + text.count(",10.20.29."), count);
    text.replace(",10.20.28.", ",10.20.50.").replace(",10.20.29.", ",10.20.51."); // the edit by hand
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(text), qint64{text.size()});
    file.close();

    QTest::mouseClick(dialog->findChild<QPushButton *>(QStringLiteral("uploadFileBtn")), Qt::LeftButton);
    QTRY_VERIFY_WITH_TIMEOUT(!fixture.boxes().isEmpty(), 60000);
    QCOMPARE(fixture.boxes().last().title, QStringLiteral("Upload csv-file"));
    QCOMPARE(fixture.boxes().last().text, QStringLiteral("upload completed!"));
    QTRY_VERIFY_WITH_TIMEOUT(fixture.said().endsWith(QStringLiteral("answer at their new address.")), 60000);
    QVERIFY2(fixture.said().endsWith(
                 QStringLiteral("300 of 300 changed instruments answer at their new address.")),
             qPrintable(fixture.said()));
    QCOMPARE(fixture.table()->rowCount(), count);
    const QMap<QString, QString> wanted = addressesIn(text);
    QCOMPARE(wanted.size(), count);
    QMap<QString, QString> moved;
    for (const QJsonObject &event : fixture.lab.events(QStringLiteral("addressChanged"))) {
        moved.insert(event.value(QLatin1String("mac")).toString(),
                     event.value(QLatin1String("to")).toString());
    }
    QCOMPARE(moved, wanted);
    QVERIFY(fixture.rowOf(DeviceTable::IpColumn, QStringLiteral("10.20.50.1")) >= 0);
    QVERIFY(fixture.rowOf(DeviceTable::IpColumn, QStringLiteral("10.20.28.1")) < 0);
}

QTEST_MAIN(TestWindowDialogs)
#include "tst_windowdialogs.moc"
