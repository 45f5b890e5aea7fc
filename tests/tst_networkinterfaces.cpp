#include "networkinterfaces.h"

#include <QCheckBox>
#include <QFile>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableWidget>
#include <QTest>

// The dialog as its user meets it: real boxes and buttons, clicked where they are drawn.
class TestNetworkInterfaces : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup() { m_dialog.reset(); }

    void listsEachAddress();
    void boxesStandWhereTheyCanBeClicked();
    void aClickInTheRowTicks();
    void applyHandsOverTheTicks();
    void cancelAndEscChangeNothing_data();
    void cancelAndEscChangeNothing();
    void choicesAreKeptByName();
    void anEmptyListSaysSo();

private:
    QTableWidget *table() const { return m_dialog->findChild<QTableWidget *>(); }
    QCheckBox *box(int row) const { return qobject_cast<QCheckBox *>(table()->cellWidget(row, 0)); }
    QPushButton *button(const char *name) const
    {
        return m_dialog->findChild<QPushButton *>(QString::fromLatin1(name));
    }

    std::unique_ptr<NetworkInterfaces> m_dialog;
};

namespace {

QList<interfaces_t> threeAddresses()
{
    return {
        {QStringLiteral("wst0"), QStringLiteral("192.168.0.100"), QStringLiteral("255.255.255.0"), true},
        {QStringLiteral("wst1"), QStringLiteral("10.20.30.100"), QStringLiteral("255.255.0.0"), false},
        {QStringLiteral("enx001122334455"), QStringLiteral("10.0.0.7"), QStringLiteral("255.0.0.0"), true}};
}

} // namespace

void TestNetworkInterfaces::initTestCase()
{
    qRegisterMetaType<QList<interfaces_t>>();
    QFile look(QStringLiteral(":/files/resources/styleSheet.qss"));
    QVERIFY(look.open(QIODevice::ReadOnly));
    qApp->setStyleSheet(QString::fromLatin1(look.readAll()));
}

void TestNetworkInterfaces::init()
{
    m_dialog = std::make_unique<NetworkInterfaces>();
    m_dialog->setInterfaces(threeAddresses());
    m_dialog->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_dialog.get()));
}

void TestNetworkInterfaces::listsEachAddress()
{
    QCOMPARE(m_dialog->windowTitle(), QStringLiteral("Network Interfaces"));
    const QStringList headers{QString(), QStringLiteral("Name"), QStringLiteral("IP"),
                              QStringLiteral("Mask")};
    QCOMPARE(table()->columnCount(), headers.size());
    for (int column = 0; column < headers.size(); ++column) {
        QCOMPARE(table()->horizontalHeaderItem(column)->text(), headers.at(column));
    }
    QCOMPARE(table()->rowCount(), 3);
    for (int row = 0; row < 3; ++row) {
        const interfaces_t expected = threeAddresses().at(row);
        QCOMPARE(box(row)->isChecked(), expected.selected);
        QCOMPARE(table()->item(row, 1)->text(), expected.name);
        QCOMPARE(table()->item(row, 2)->text(), expected.ip);
        QCOMPARE(table()->item(row, 3)->text(), expected.netmask);
        for (int column = 1; column < 4; ++column) {
            QCOMPARE(table()->item(row, column)->textAlignment(), static_cast<int>(Qt::AlignCenter));
        }
    }
    m_dialog->fillTable();
    QCOMPARE(table()->rowCount(), 3); // not six
}

// The column of the boxes is narrower than a box.
void TestNetworkInterfaces::boxesStandWhereTheyCanBeClicked()
{
    QCOMPARE(table()->columnWidth(0), 10);
    QCOMPARE(table()->columnWidth(1), 100);
    QCOMPARE(table()->columnWidth(2), 200);
    for (int row = 0; row < 3; ++row) {
        QVERIFY(box(row)->width() >= 20);
        QVERIFY(!box(row)->visibleRegion().isEmpty());
        const bool before = box(row)->isChecked();
        const QPoint middle = box(row)->mapTo(m_dialog.get(), QPoint(13, box(row)->height() / 2));
        QCOMPARE(m_dialog->childAt(middle), box(row));
        QTest::mouseClick(box(row), Qt::LeftButton, {}, QPoint(13, box(row)->height() / 2));
        QCOMPARE(box(row)->isChecked(), !before);
    }
}

void TestNetworkInterfaces::aClickInTheRowTicks()
{
    const QPoint address = table()->visualItemRect(table()->item(1, 2)).center();
    QTest::mouseClick(table()->viewport(), Qt::LeftButton, {}, address);
    QVERIFY(box(1)->isChecked());
    QTest::mouseClick(table()->viewport(), Qt::LeftButton, {}, address);
    QVERIFY(!box(1)->isChecked());
}

void TestNetworkInterfaces::applyHandsOverTheTicks()
{
    QSignalSpy applied(m_dialog.get(), &NetworkInterfaces::signalUpdateNetworkList);
    box(0)->setChecked(false);
    box(1)->setChecked(true);
    QTest::mousePress(button("applyBtn"), Qt::LeftButton);
    QCOMPARE(applied.size(), 0); // not before the button is let go
    QTest::mouseRelease(button("applyBtn"), Qt::LeftButton);

    QList<interfaces_t> expected = threeAddresses();
    expected[0].selected = false;
    expected[1].selected = true;
    QCOMPARE(applied.size(), 1);
    QVERIFY(applied.first().first().value<QList<interfaces_t>>() == expected);
    QVERIFY(m_dialog->interfaces() == expected);
    QVERIFY(m_dialog->isVisible()); // closing it is for whoever opened it
}

void TestNetworkInterfaces::cancelAndEscChangeNothing_data()
{
    QTest::addColumn<QString>("way");
    QTest::newRow("the button") << "button";
    QTest::newRow("Esc") << "esc";
    QTest::newRow("the window's close button") << "close";
}

void TestNetworkInterfaces::cancelAndEscChangeNothing()
{
    QFETCH(QString, way);
    QSignalSpy applied(m_dialog.get(), &NetworkInterfaces::signalUpdateNetworkList);
    QSignalSpy closed(m_dialog.get(), &NetworkInterfaces::signalClose);
    box(0)->setChecked(false);
    if (way == QLatin1String("button")) {
        QTest::mouseClick(button("cancelBtn"), Qt::LeftButton);
    } else if (way == QLatin1String("esc")) {
        QTest::keyClick(m_dialog.get(), Qt::Key_Escape);
    } else {
        m_dialog->close();
    }
    QCOMPARE(closed.size(), 1);
    QCOMPARE(applied.size(), 0);
    QVERIFY(m_dialog->interfaces() == threeAddresses());
    m_dialog->fillTable();
    QVERIFY(box(0)->isChecked());
}

// Names that this computer has, so that the refresh meets them again.
void TestNetworkInterfaces::choicesAreKeptByName()
{
    m_dialog->setInterfaces({});
    m_dialog->refresh();
    QList<interfaces_t> list = m_dialog->interfaces();
    QVERIFY2(list.size() >= 2, "the private network has two interfaces");
    for (const interfaces_t &interface : qAsConst(list)) {
        QVERIFY2(interface.selected, "an interface nobody has seen before is ticked");
        QVERIFY(interface.ip != QLatin1String("127.0.0.1"));
    }
    list[1].selected = false;
    m_dialog->setInterfaces(list);
    m_dialog->refresh();
    QVERIFY(m_dialog->interfaces() == list);
    QVERIFY(!box(1)->isChecked());

    // Two addresses of one interface follow the first of that name.
    interfaces_t second = list.first();
    second.selected = !second.selected;
    m_dialog->setInterfaces({list.first(), second});
    m_dialog->refresh();
    QCOMPARE(m_dialog->interfaces().first(), list.first());
}

void TestNetworkInterfaces::anEmptyListSaysSo()
{
    auto *hint = m_dialog->findChild<QWidget *>(QStringLiteral("labelNoNetwork"));
    QVERIFY(!hint->isVisible());
    m_dialog->setInterfaces({});
    QVERIFY(hint->isVisible());
    QSignalSpy applied(m_dialog.get(), &NetworkInterfaces::signalUpdateNetworkList);
    QTest::mouseClick(button("applyBtn"), Qt::LeftButton);
    QVERIFY(applied.first().first().value<QList<interfaces_t>>().isEmpty());
}

QTEST_MAIN(TestNetworkInterfaces)
#include "tst_networkinterfaces.moc"
