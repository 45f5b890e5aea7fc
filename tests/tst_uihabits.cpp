#include "devicetable.h"
#include "elapsedlabel.h"
#include "elidedtooltips.h"
#include "tablecopy.h"
#include "windowstate.h"

#include <QAction>
#include <QClipboard>
#include <QFile>
#include <QGuiApplication>
#include <QHeaderView>
#include <QMainWindow>
#include <QScrollBar>
#include <QSplitter>
#include <QTemporaryDir>
#include <QTest>

namespace {

QList<Device_t> devices(const QStringList &ids)
{
    QList<Device_t> list;
    for (const QString &id : ids) {
        Device_t device;
        device[Code] = QStringLiteral("1100");
        device[Family] = QStringLiteral("Group");
        device[Id] = id;
        device[Ip] = QStringLiteral("10.0.0.%1").arg(list.size() + 1);
        list.append(device);
    }
    return list;
}

void fill(DeviceTable &table, const QStringList &ids)
{
    table.setColumnCount(6);
    table.setHorizontalHeaderLabels({QStringLiteral("Selection"), QStringLiteral("Icon"),
                                     QStringLiteral("Group"), QStringLiteral("Module ID"),
                                     QStringLiteral("IP Address"), QStringLiteral("Firmware")});
    table.prepareColumns();
    table.resize(700, 400);
    table.fill(devices(ids));
    table.show();
    QVERIFY(QTest::qWaitForWindowExposed(&table));
}

// A window with what its state is remembered of.
struct Sample
{
    QMainWindow window;
    QSplitter *splitter = new QSplitter(&window);
    QTableWidget *table = new QTableWidget(0, 2);
    QTableWidget *other = new QTableWidget(0, 2);

    Sample()
    {
        table->setObjectName(QStringLiteral("table"));
        other->setObjectName(QStringLiteral("other"));
        other->horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch);
        splitter->addWidget(table);
        splitter->addWidget(other);
        window.setCentralWidget(splitter);
        window.resize(640, 480);
        splitter->setSizes({300, 300});
    }
    WindowState state(const QString &path) { return {&window, splitter, {table, other}, path}; }
};

} // namespace

// What the tables and the window do beyond showing: copy, tell the whole text, come back as they were.
class TestUiHabits : public QObject
{
    Q_OBJECT

private slots:
    void copiesWhatIsSeen();
    void copiesTheTableWithHeaders();
    void doesNotAddASecondCopy();
    void tellsCutTextsLiterally();
    void strangeTextsFitTheirRows();
    void damagedStateIsIgnored_data();
    void damagedStateIsIgnored();
    void elapsedTime_data();
    void elapsedTime();
    void clockStartsOnceAndKeepsItsTime();
};

void TestUiHabits::copiesWhatIsSeen()
{
    DeviceTable table;
    const TableCopy *copy = new TableCopy(&table);
    fill(table, {QStringLiteral("A"), QStringLiteral("B\tb\nb"), QStringLiteral("C")});
    table.setSelectionMode(QAbstractItemView::ExtendedSelection);
    table.sortByColumn(DeviceTable::IpColumn, Qt::DescendingOrder);
    table.selectAll();
    table.setRowHidden(0, true); // C
    QCOMPARE(copy->selectedText().trimmed(),
             QStringLiteral("Group\tB b b\t10.0.0.2\t\nGroup\tA\t10.0.0.1").trimmed());
    table.clearSelection();
    table.setCurrentCell(1, DeviceTable::ModuleIdColumn);
    QCOMPARE(copy->selectedText().split(QLatin1Char('\n')).first(),
             QStringLiteral("Group\tB b b\t10.0.0.2\t"));
}

void TestUiHabits::copiesTheTableWithHeaders()
{
    DeviceTable table;
    new TableCopy(&table);
    fill(table, {QStringLiteral("A")});
    const QList<QAction *> actions = table.actions();
    QCOMPARE(table.contextMenuPolicy(), Qt::ActionsContextMenu);
    QCOMPARE(actions.first()->text(), QStringLiteral("Copy"));
    actions.last()->trigger();
    QCOMPARE(QGuiApplication::clipboard()->text().trimmed(),
             QStringLiteral("Group\tModule ID\tIP Address\tFirmware\nGroup\tA\t10.0.0.1"));
    table.fill({});
    actions.first()->trigger();
    QCOMPARE(QGuiApplication::clipboard()->text(), QString());
}

void TestUiHabits::doesNotAddASecondCopy()
{
    QWidget parent;
    auto *table = new QTableWidget(&parent);
    TableCopy::addTo(&parent);
    TableCopy::addTo(&parent);
    QCOMPARE(table->actions().size(), 2);
}

void TestUiHabits::tellsCutTextsLiterally()
{
    DeviceTable table;
    auto *tooltips = new ElidedTooltips(&table);
    const QString longText = QStringLiteral("<img src='x'>") + QString(300, QLatin1Char('W'));
    fill(table, {longText, QStringLiteral("A")});
    const auto tooltip = [&table, tooltips](int row) {
        return tooltips->tooltipAt(
            table.visualItemRect(table.item(row, DeviceTable::ModuleIdColumn)).center());
    };
    QCOMPARE(tooltip(0), QStringLiteral("<span>%1</span>").arg(longText.toHtmlEscaped()));
    QCOMPARE(tooltip(1), QString());
    QCOMPARE(tooltips->tooltipAt({-5, -5}), QString());
}

void TestUiHabits::strangeTextsFitTheirRows()
{
    DeviceTable table;
    const QString rightToLeft = QString::fromUtf8("\u05de\u05db\u05e9\u05d9\u05e8 \u0639\u0631\u0628\u064a");
    fill(table, {QString(5000, QLatin1Char('x')), rightToLeft, QStringLiteral("a\nb\nc\nd\ne\nf\ng\nh")});
    for (int row = 0; row < table.rowCount(); ++row) {
        QCOMPARE(table.rowHeight(row), 96);
    }
    QCOMPARE(table.horizontalScrollBar()->maximum(), 0);
    QCOMPARE(table.item(1, DeviceTable::ModuleIdColumn)->text(), rightToLeft);
}

void TestUiHabits::damagedStateIsIgnored_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("noise") << QByteArray("\0\xff=\x01,\n=,,,=\n", 12);
    QTest::newRow("serialised value") << QByteArray("window=@Variant(\\x7f\\xff\\xff\\xff)\n");
    QTest::newRow("words") << QByteArray("window=wide,high,1\nsplitter=left\ntable=a,b\n");
    QTest::newRow("too few") << QByteArray("window=640\nsplitter=1\ntable=50\n");
    QTest::newRow("negative") << QByteArray("window=-1,-1,0\nsplitter=-10,5\ntable=-50,0\n");
    QTest::newRow("huge") << QByteArray("window=99999999,99999999,0\nsplitter=2147483647,2147483647\n"
                                        "table=2147483647,99999999999999\n");
    QTest::newRow("endless") << QByteArray(20000, '1');
}

void TestUiHabits::damagedStateIsIgnored()
{
    QFETCH(QByteArray, content);
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("windowState.ini"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(content);
    file.close();
    Sample sample;
    const int width = sample.table->columnWidth(1);
    sample.state(path).restore();
    WindowState unreadable = sample.state(folder.path()); // a folder where the file should be
    unreadable.restore();
    unreadable.save();
    QCOMPARE(sample.window.size(), QSize(640, 480));
    QCOMPARE(sample.table->columnWidth(1), width);
    QVERIFY(!sample.window.isMaximized());
    sample.window.show();
    const QList<int> sizes = sample.splitter->sizes();
    QVERIFY(qAbs(sizes.at(0) - sizes.at(1)) <= 1);
}

void TestUiHabits::elapsedTime_data()
{
    QTest::addColumn<qint64>("ms");
    QTest::addColumn<QString>("text");
    QTest::newRow("start") << qint64{0} << "0:00";
    QTest::newRow("seconds are not rounded up") << qint64{7999} << "0:07";
    QTest::newRow("minutes") << qint64{760000} << "12:40";
    QTest::newRow("hours") << qint64{3723000} << "1:02:03";
}

void TestUiHabits::elapsedTime()
{
    QFETCH(qint64, ms);
    QFETCH(QString, text);
    QCOMPARE(ElapsedLabel::clockText(ms), text);
}

void TestUiHabits::clockStartsOnceAndKeepsItsTime()
{
    ElapsedLabel label;
    label.stop();
    QVERIFY(label.isHidden());
    label.start();
    QCOMPARE(label.text(), QStringLiteral("Running for 0:00"));
    QTRY_VERIFY(label.text() != QStringLiteral("Running for 0:00"));
    QVERIFY2(label.text().startsWith(QStringLiteral("Running for 0:0")), qPrintable(label.text()));
    label.start(); // the next instrument of the same update
    label.reset();
    QVERIFY(label.text() != QStringLiteral("Running for 0:00"));
    label.stop();
    QVERIFY(label.text().startsWith(QStringLiteral("Took 0:0")));
    label.reset();
    QVERIFY(label.isHidden());
}

QTEST_MAIN(TestUiHabits)
#include "tst_uihabits.moc"
