#include "motorupdate.h"
#include "windowfixture.h"

#include <QCheckBox>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QTest>

// A motor driver gets both its programs through the window, at the window's own pace: each button takes
// its own file, and each file reaches its own processor.
class TestRovanWindow : public QObject
{
    Q_OBJECT

private slots:
    void bothProcessors();

private:
    // Ticks the motor driver, which is alone in the table, presses the button and waits for the end.
    static void update(const WindowFixture &fixture, const char *button);
};

void TestRovanWindow::update(const WindowFixture &fixture, const char *button)
{
    const auto *start = fixture.find<QPushButton>(button);
    fixture.selectRow(0);
    fixture.table()->selectionBox(0)->setChecked(true);
    QVERIFY(QTest::qWaitFor([start] { return start->isVisible(); })); // behind the home page
    QTest::mouseClick(fixture.find<QPushButton>(button), Qt::LeftButton);
    QVERIFY(!start->isEnabled());
    QVERIFY(QTest::qWaitFor([start] { return start->isEnabled(); }, MotorUpdate::runTimeoutMs));
}

void TestRovanWindow::bothProcessors()
{
    MotorUpdate driver;
    // An erase that is answered within a second counts as not answered.
    driver.startLab({{QStringLiteral("eraseMs"), 3000}});
    QVector<QPair<quint32, QByteArray>> control = MotorUpdate::program();
    for (auto &[address, bytes] : control) {
        bytes.append("control");
        bytes.resize(bytes.size() & ~1);
    }
    WindowFixture fixture;
    fixture.writeSettings("[scan]\nscanTime=400\n");
    fixture.open();
    QVERIFY(fixture.scan());
    QCOMPARE(fixture.table()->rowCount(), 1);
    fixture.find<QPushButton>("updateBtn")->click();
    fixture.find<QLineEdit>("lineEditFirmware1")
        ->setText(driver.file("Rovan_Motor_Communication_DSP.hex", MotorUpdate::program()));
    fixture.find<QLineEdit>("lineEditFirmware2")
        ->setText(driver.file("Rovan_Motor_Control_DSP.hex", control));

    const QByteArray untouched = driver.dump(QStringLiteral("control"));
    update(fixture, "updateFwBtn");
    const QString log = fixture.find<QPlainTextEdit>("plainTextEditFirmware")->toPlainText();
    QVERIFY2(!log.contains(QStringLiteral("ERROR")), qPrintable(log));
    QCOMPARE(fixture.find<QProgressBar>("progressBarFirmware")->value(), 100);
    QCOMPARE(fixture.boxes().last().text, QStringLiteral("Device succesfuly updated!"));
    QVERIFY(driver.dump(QStringLiteral("communication")) == MotorUpdate::flashWith(MotorUpdate::program()));
    QVERIFY(driver.dump(QStringLiteral("control")) == untouched);

    update(fixture, "updateFw2Btn");
    QCOMPARE(fixture.boxes().size(), 2);
    QCOMPARE(fixture.boxes().last().text, QStringLiteral("Device succesfuly updated!"));
    QVERIFY(driver.dump(QStringLiteral("control")) == MotorUpdate::flashWith(control));
    QVERIFY(driver.dump(QStringLiteral("communication")) == MotorUpdate::flashWith(MotorUpdate::program()));
}

QTEST_MAIN(TestRovanWindow)
#include "tst_rovanwindow.moc"
