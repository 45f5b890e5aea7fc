#include "firmwareroom.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QJsonArray>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTest>

#include <memory>

// What the keyboard does in the window, where a key could do less, or more, than the user believes.
class TestWindowKeys : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void savingTakesWhatIsBeingTyped_data();
    void savingTakesWhatIsBeingTyped();
    void returnTicksBoxes();
    void escapeEndsAScan();

private:
    std::unique_ptr<FirmwareRoom> room;
};

void TestWindowKeys::init()
{
    room.reset();
    room = std::make_unique<FirmwareRoom>();
}

void TestWindowKeys::savingTakesWhatIsBeingTyped_data()
{
    QTest::addColumn<bool>("byKey");
    QTest::newRow("Alt+S") << true;
    QTest::newRow("mouse") << false;
}

// The cell is still being edited when the button is pressed.
void TestWindowKeys::savingTakesWhatIsBeingTyped()
{
    QFETCH(bool, byKey);
    room->openPage({FirmwareRoom::instrument("beamline", "2100", 11)});
    room->window.find<QPushButton>("configBtn")->click();
    room->window.selectRow(0);
    auto *table = room->window.find<QTableWidget>("tableDeviceConfig");
    QTRY_VERIFY(table->isVisible()); // behind the home page
    table->setFocus();
    table->setCurrentCell(0, 1);
    table->editItem(table->item(0, 1));
    QTest::keyClicks(QApplication::focusWidget(), QStringLiteral("192.168.0.77"));
    if (byKey) {
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_S, Qt::AltModifier);
    } else {
        QTest::mouseClick(room->window.find<QPushButton>("saveConfBtn"), Qt::LeftButton);
    }
    QVERIFY(room->lab.waitForEvent(QStringLiteral("set")));
    QVERIFY(room->lab.events(QStringLiteral("set"))
                .first()
                .value(QLatin1String("bytes"))
                .toString()
                .contains(QStringLiteral("c0a8004d")));
    QTRY_VERIFY_WITH_TIMEOUT(room->window.find<QPushButton>("scanBtn")->isEnabled(), 30000);
}

// Space belongs to the scan, so Return is what ticks a box.
void TestWindowKeys::returnTicksBoxes()
{
    room->openPage({FirmwareRoom::instrument("powerSupply", "1100", 11)},
                   "[scan]\nscanTime=400\n[update]\nmanualIp=true\n");
    QTRY_VERIFY(room->boxOf(11)->isVisible());
    const auto press = [](QCheckBox *box) {
        const bool before = box->isChecked();
        box->setFocus(Qt::TabFocusReason);
        QTest::keyClick(box, Qt::Key_Return);
        return box->isChecked() != before;
    };
    QVERIFY(press(room->boxOf(11)));
    QVERIFY(press(room->window.find<QCheckBox>("checkBoxManualIP")));
    room->window.find<QPushButton>("configBtn")->click();
    room->window.selectRow(0);
    QVERIFY(press(
        qobject_cast<QCheckBox *>(room->window.find<QTableWidget>("tableDeviceConfig")->cellWidget(3, 1))));
}

// A range of addresses that was meant to be smaller need not be waited for, nor the window be closed.
void TestWindowKeys::escapeEndsAScan()
{
    QVERIFY(room->lab.start(
        {{QStringLiteral("instruments"), QJsonArray{FirmwareRoom::instrument("powerSupply", "1100", 11)}}}));
    room->window.writeSettings("[scan]\nscanTime=40000\n");
    room->window.open();
    const auto *footer = room->window.find<QLabel>("labelFooter");
    bool told = false;
    // Some steps into the scan, so that the instrument has answered.
    connect(room->window.find<QProgressBar>("progressBar"), &QProgressBar::valueChanged, footer,
            [this, footer, &told](int value) {
                if (value == 4) {
                    told = footer->text().contains(QStringLiteral("Esc"));
                    QTest::keyClick(&*room->window, Qt::Key_Escape);
                }
            });
    QVERIFY(room->window.scan());
    QVERIFY(told);
    QCOMPARE(room->window.table()->rowCount(), 1); // it had answered by then
    QVERIFY(
        room->window.find<QLabel>("labelFooter")->text().startsWith(QStringLiteral("Stopped: 1 instrument")));
}

QTEST_MAIN(TestWindowKeys)
#include "tst_windowkeys.moc"
