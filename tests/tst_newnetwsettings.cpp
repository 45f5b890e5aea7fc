#include "support/netwsettingstest.h"

#include <QAction>
#include <QClipboard>
#include <QFile>
#include <QHeaderView>
#include <QTextDocument>

using namespace networkrow;

// Typing, pasting, sorting and finding, and what is sent then.
class TestNewNetwSettings : public NetwSettingsTest
{
    Q_OBJECT

private slots:
    void cleanup() { m_dialog.reset(); }

    void showsTheInstruments();
    void judgesWhileTyping();
    void judges();
    void leavesUnchangedRowsAlone();
    void marksSharedAddresses();
    void marksHaveTheColoursOfTheLook();
    void keysNeverApply();
    void escapeAsksBeforeItDiscards();
    void sendsTheRightInstruments();
    void pastes_data();
    void pastes();
    void pastesIntoEditorAndSelection();
    void tellsOfLockedCells();
    void copiesAndRestores();
    void finds();
    void foreignTextsStayLiteral();
    void thousandsOfRows();
};

void TestNewNetwSettings::showsTheInstruments()
{
    Rows rows = threeRows();
    rows[2][MacColumn] = text("Unknown"); // names no instrument, so there is nothing to change
    open(rows);
    QStringList titles;
    for (int i = 0; i < 6; ++i) {
        titles.append(m_table->model()->headerData(i, Qt::Horizontal).toString());
        QCOMPARE(column(i), QStringList({rows.at(0).at(i), rows.at(1).at(i), rows.at(2).at(i)}));
        QCOMPARE(bool(cell(1, i).flags() & Qt::ItemIsEditable), i >= IpColumn);
        QVERIFY(!(cell(2, i).flags() & Qt::ItemIsEditable));
    }
    QCOMPARE(titles.join(QLatin1Char('|')),
             text("Family|Serial Number|MAC Address|IP Address|Subnet Mask|Gateway"));
    QVERIFY(!canApply() && !reason().isEmpty());
}

void TestNewNetwSettings::judgesWhileTyping()
{
    open();
    type(1, IpColumn, "10.0.0.", false);
    QCOMPARE(mark(1, IpColumn), int(NetworkSettingsModel::InvalidMark));
    QVERIFY(editor()->property("invalid").toBool() && !canApply());
    QVERIFY(reason().contains(text("SN2: the IP address \"10.0.0.\" is not an IPv4 address")));
    QTest::keyClicks(editor(), text("77"));
    QCOMPARE(mark(1, IpColumn), int(NetworkSettingsModel::NoMark));
    QVERIFY(!editor()->property("invalid").toBool() && canApply() && reason().isEmpty());

    editor()->setCursorPosition(0); // and there it stays
    QTest::keyClicks(editor(), text("12"));
    QCOMPARE(editor()->text(), text("1210.0.0.77"));
    QTest::keyClick(editor(), Qt::Key_Return);
    m_table->selectAll(); // the mark is also seen in a selected cell
    const QImage drawn = m_table->viewport()->grab(m_table->visualRect(cell(1, IpColumn))).toImage();
    QCOMPARE(drawn.pixelColor(drawn.width() / 2, 1).name(), text("#b3261e"));

    type(1, IpColumn, "1.1.1.1", false);
    QTest::keyClick(editor(), Qt::Key_Escape);
    QCOMPARE(shown(1, IpColumn), text("1210.0.0.77"));
    QVERIFY(!canApply() && m_dialog->isVisible());

    // Another cell is pressed while one is typed into.
    type(1, IpColumn, "10.0.0.77", false);
    QTest::mouseClick(m_table->viewport(), Qt::LeftButton, {},
                      m_table->visualRect(cell(0, MacColumn)).center());
    QCOMPARE(m_table->currentIndex(), cell(0, MacColumn));
    type(0, IpColumn, "10.0.0.78", false);
    click("applyBtn");
    QCOMPARE(m_sent, Rows({row(1, "10.0.0.78"), row(2, "10.0.0.77")}));
}

void TestNewNetwSettings::judges()
{
    for (int i = IpColumn; i <= GatewayColumn; ++i) {
        for (const bool good : {true, false}) {
            open();
            type(0, i, good ? " 10.0.0.7 " : "255.255.255.255");
            QCOMPARE(mark(0, i) == NetworkSettingsModel::InvalidMark, !good);
            QCOMPARE(canApply(), good);
            QCOMPARE(find<QLabel>("labelReason")->property("role").toString(), text(good ? "hint" : "error"));
            click("applyBtn");
            QCOMPARE(m_sent.size(), good ? 1 : 0);
            QVERIFY(!good || m_sent.first().at(i) == text("10.0.0.7"));
        }
    }
}

// An instrument without a gateway reports 0.0.0.0. It must not stand in the way of its neighbours.
void TestNewNetwSettings::leavesUnchangedRowsAlone()
{
    open({row(1, "10.0.0.1", "", "0.0.0.0"), row(2, "10.0.0.2")});
    type(1, IpColumn, "10.0.0.7");
    QVERIFY(canApply());
    QCOMPARE(mark(0, GatewayColumn), int(NetworkSettingsModel::NoMark));
    type(0, IpColumn, "10.0.0.8");
    QCOMPARE(mark(0, GatewayColumn), int(NetworkSettingsModel::InvalidMark));
    QVERIFY(!canApply() && reason().contains(text("subnet mask is missing")));
    type(0, IpColumn, "10.0.0.1"); // as it was
    click("applyBtn");
    QCOMPARE(m_sent, Rows{row(2, "10.0.0.7")});
}

void TestNewNetwSettings::marksSharedAddresses()
{
    open();
    type(2, IpColumn, "10.0.0.10");
    QCOMPARE(mark(0, IpColumn), int(NetworkSettingsModel::SharedMark));
    QCOMPARE(mark(1, IpColumn), int(NetworkSettingsModel::NoMark));
    QCOMPARE(mark(2, IpColumn), int(NetworkSettingsModel::SharedMark));
    QCOMPARE(mark(0, NetmaskColumn), int(NetworkSettingsModel::NoMark));
    QVERIFY(canApply() && !reason().isEmpty());
    type(0, IpColumn, "10.0.0.11");
    QCOMPARE(mark(2, IpColumn), int(NetworkSettingsModel::NoMark));
    QVERIFY(reason().isEmpty());
}

void TestNewNetwSettings::marksHaveTheColoursOfTheLook()
{
    QFile sheet(text(":/files/resources/styleSheet.qss"));
    QVERIFY(sheet.open(QIODevice::ReadOnly));
    qApp->setStyleSheet(QString::fromLatin1(sheet.readAll()));
    open();
    type(0, IpColumn, "10.0.0.9"); // the second one's
    type(2, IpColumn, "10.0.0");
    m_table->setCurrentIndex(cell(2, FamilyColumn));
    QStringList colours;
    for (const QModelIndex &marked : {cell(0, IpColumn), cell(1, IpColumn), cell(2, IpColumn)}) {
        const QImage drawn = m_table->viewport()->grab(m_table->visualRect(marked)).toImage();
        colours += drawn.pixelColor(drawn.width() / 2, 1).name();
        colours += drawn.pixelColor(drawn.width() - 6, drawn.height() / 2).name(); // right of the text
    }
    qApp->setStyleSheet(QString());
    QCOMPARE(colours.join(QLatin1Char(' ')), text("#b26a00 #fdf3e3 #b26a00 #fdf3e3 #b3261e #fdf1f0"));
}

void TestNewNetwSettings::keysNeverApply()
{
    open();
    type(0, IpColumn, "10.0.0.1"); // ends with Return
    QCOMPARE(m_table->currentIndex(), cell(1, IpColumn));
    QTest::keyClick(m_table, Qt::Key_Return); // opens the cell below
    QVERIFY(editor());
    QTest::keyClick(editor(), Qt::Key_Enter);
    m_table->setCurrentIndex(cell(0, FamilyColumn));
    QTest::keyClick(m_table, Qt::Key_Return);
    find<QLineEdit>("lineEditFind")->setFocus();
    QTest::keyClick(find<QLineEdit>("lineEditFind"), Qt::Key_Return);
    QVERIFY(canApply() && m_sent.isEmpty() && m_dialog->isVisible());
}

void TestNewNetwSettings::escapeAsksBeforeItDiscards()
{
    open();
    QTest::keyClick(m_table, Qt::Key_Escape);
    QVERIFY(!m_dialog->isVisible() && m_closed->size() == 1);
    open();
    type(0, IpColumn, "10.0.0.1");
    QTest::keyClick(m_table, Qt::Key_Escape);
    QTest::mouseClick(box()->button(QMessageBox::Cancel), Qt::LeftButton);
    QVERIFY(m_dialog->isVisible() && m_closed->isEmpty());
    QTRY_VERIFY(!box());
    m_dialog->close();
    QTest::mouseClick(box()->button(QMessageBox::Discard), Qt::LeftButton);
    QVERIFY(!m_dialog->isVisible() && m_closed->size() == 1 && m_sent.isEmpty());
}

// However the table is sorted, what is typed into a row goes to the instrument that it shows.
void TestNewNetwSettings::sendsTheRightInstruments()
{
    Rows rows = threeRows();
    rows.append(row(4, "unknown"));
    open(rows);
    const QPoint header(m_table->columnViewportPosition(IpColumn) + 10, 5);
    QTest::mouseClick(m_table->horizontalHeader()->viewport(), Qt::LeftButton, {}, header);
    QCOMPARE(column(IpColumn).join(QLatin1Char(' ')), text("2.0.0.1 10.0.0.9 10.0.0.10 unknown"));
    type(1, IpColumn, "200.0.0.1"); // stays where it is
    type(2, IpColumn, "1.0.0.1");
    type(0, GatewayColumn, "1.1.1.1");
    type(0, GatewayColumn, "10.0.0.254"); // as it was
    click("applyBtn");
    QCOMPARE(m_sent, Rows({row(1, "1.0.0.1"), row(2, "200.0.0.1")}));
    QVERIFY(!m_dialog->isVisible() && m_closed->size() == 1);
}

void TestNewNetwSettings::pastes_data()
{
    QTest::addColumn<QString>("clipboard");
    QTest::addColumn<int>("startRow");
    QTest::addColumn<int>("startColumn");
    QTest::addColumn<QString>("addresses");
    QTest::addColumn<QString>("message");

    const char *before = "10.0.0.10 10.0.0.9 2.0.0.1"; // sorted downwards: instruments 1, 2, 3
    const auto row = [](const char *name, const char *clipboard, int startRow, int startColumn,
                        const char *addresses, const char *message) {
        QTest::newRow(name) << text(clipboard) << startRow << startColumn << text(addresses) << text(message);
    };
    row("a column", "1.0.0.1\n1.0.0.2\n1.0.0.3", 0, IpColumn, "1.0.0.1 1.0.0.2 1.0.0.3",
        "Pasted into 3 rows.");
    row("from a spreadsheet", "1.0.0.2\r\n1.0.0.3\r\n", 1, IpColumn, "10.0.0.10 1.0.0.2 1.0.0.3",
        "Pasted into 2 rows.");
    row("too many lines", "1.0.0.2\n1.0.0.3\n1.0.0.4\n", 1, IpColumn, "10.0.0.10 1.0.0.2 1.0.0.3",
        "have no row here");
    row("one line", "1.0.0.2\t255.0.0.0\n", 1, IpColumn, "10.0.0.10 1.0.0.2 2.0.0.1", "Pasted into 1 row.");
    row("a gap", "1.0.0.1\n\n1.0.0.3\n", 0, IpColumn, "1.0.0.1  1.0.0.3", "3 rows");
    row("MAC addresses written otherwise",
        "00-1a-2b-00-00-01\t1.0.0.1\n00 1A 2B 00 00 02 (rack 7)\t1.0.0.2\n", 0, MacColumn,
        "1.0.0.1 1.0.0.2 2.0.0.1", "2 rows");
    row("no MAC address", "\t1.0.0.1\n\t1.0.0.2\n", 0, MacColumn, before, "line 1 is for another instrument");
    row("other MAC addresses", "00:1A:2B:00:00:01\t1.0.0.1\n00:1A:2B:00:00:03\t1.0.0.3\n", 0, MacColumn,
        before, "line 2 is for another instrument");
    row("what cannot change", "a\nb\n", 0, FamilyColumn, before, "cannot be changed");
    row("nothing", "", 0, IpColumn, before, "");
}

void TestNewNetwSettings::pastes()
{
    QFETCH(QString, clipboard);
    QFETCH(int, startRow);
    QFETCH(int, startColumn);
    QFETCH(QString, addresses);
    QFETCH(QString, message);

    open({threeRows().at(2), threeRows().at(0), threeRows().at(1)});
    m_table->sortByColumn(IpColumn, Qt::DescendingOrder);
    select(startRow, startColumn, startRow, startColumn);
    paste(m_table, clipboard);
    QCOMPARE(column(IpColumn).join(QLatin1Char(' ')), addresses);
    QCOMPARE(column(SerialNumberColumn).join(QLatin1Char(' ')), text("SN1 SN2 SN3"));
    QVERIFY2(status().contains(message), qPrintable(status()));
}

void TestNewNetwSettings::pastesIntoEditorAndSelection()
{
    open();
    type(0, IpColumn, "1", false);
    paste(editor(), text("1.0.0.1\t255.0.0.0\n1.0.0.2\t255.255.0.0\n"));
    QCOMPARE(column(IpColumn), QStringList({text("1.0.0.1"), text("1.0.0.2"), text("2.0.0.1")}));
    QCOMPARE(shown(1, NetmaskColumn), text("255.255.0.0"));

    select(0, GatewayColumn, 1, GatewayColumn); // one copied cell goes into all selected ones
    paste(m_table, text("1.0.0.254\n"));
    QCOMPARE(column(GatewayColumn), QStringList({text("1.0.0.254"), text("1.0.0.254"), text("10.0.0.254")}));
}

void TestNewNetwSettings::tellsOfLockedCells()
{
    Rows rows = threeRows();
    rows[1][MacColumn] = text("Unknown");
    open(rows);
    select(0, IpColumn, 0, IpColumn);
    paste(m_table, text("1.0.0.1\n1.0.0.2\n1.0.0.3\n"));
    QCOMPARE(status(), text("Pasted into 2 rows."));
    select(0, IpColumn, 0, IpColumn);
    paste(m_table, text("1.0.0.5\n1.0.0.6\n"));
    QCOMPARE(status(), text("Pasted into 1 row."));
    QCOMPARE(column(IpColumn), QStringList({text("1.0.0.5"), text("10.0.0.9"), text("1.0.0.3")}));

    select(0, FamilyColumn, 1, MacColumn);
    m_table->selectionModel()->select(cell(1, IpColumn), QItemSelectionModel::Select);
    paste(m_table, text("1.0.0.7"));
    QCOMPARE(status(), text("Nothing pasted: these cells cannot be changed."));
    select(0, IpColumn, 1, IpColumn);
    paste(m_table, text("1.0.0.8"));
    QCOMPARE(status(), text("Pasted into the selected cells."));
    QCOMPARE(column(IpColumn), QStringList({text("1.0.0.8"), text("10.0.0.9"), text("1.0.0.3")}));
}

void TestNewNetwSettings::copiesAndRestores()
{
    Rows rows = threeRows();
    rows[0][SerialNumberColumn] = text("tab\there\nand there");
    open(rows);
    m_table->sortByColumn(IpColumn, Qt::AscendingOrder);
    select(1, SerialNumberColumn, 2, IpColumn);
    QTest::keySequence(m_table, QKeySequence::Copy);
    QCOMPARE(QApplication::clipboard()->text(),
             text("SN2\t00:1A:2B:00:00:02\t10.0.0.9\ntab here and there\t00:1A:2B:00:00:01\t10.0.0.10"));
    select(1, GatewayColumn, 1, GatewayColumn); // cells here and there keep their places
    m_table->selectionModel()->select(cell(0, IpColumn), QItemSelectionModel::Select);
    QTest::keySequence(m_table, QKeySequence::Copy);
    QCOMPARE(QApplication::clipboard()->text(), text("2.0.0.1\t\n\t10.0.0.254"));

    type(0, IpColumn, "1.0.0.1");
    type(1, GatewayColumn, "wrong");
    select(0, IpColumn, 2, GatewayColumn);
    QTest::keyClick(m_table, Qt::Key_Delete);
    QCOMPARE(shown(0, IpColumn), text("2.0.0.1"));
    QVERIFY(!canApply() && !reason().contains(text("wrong")));
}

void TestNewNetwSettings::finds()
{
    open({row(1, "10.0.0.10"), row(2, "10.0.0.9"), row(3, "2.0.0.1", "255.0.0.0", "2.0.0.254")});
    m_table->sortByColumn(IpColumn, Qt::AscendingOrder);
    type(0, NetmaskColumn, "255.0.0");
    auto *sought = find<QLineEdit>("lineEditFind");
    QTest::keyClicks(sought, text("sn2"));
    QCOMPARE(column(SerialNumberColumn), QStringList{text("SN2")});
    QVERIFY(find<QLabel>("labelCount")->text().contains(text("1 of 3")));
    sought->setText(text("10.0.0.25")); // in the gateway
    QCOMPARE(column(SerialNumberColumn), QStringList({text("SN2"), text("SN1")}));
    type(0, IpColumn, "200.0.0.1"); // stays where it is

    click("showProblemBtn"); // of a row that is hidden
    QCOMPARE(column(SerialNumberColumn), QStringList({text("SN3"), text("SN1"), text("SN2")}));
    QCOMPARE(m_table->currentIndex(), cell(0, NetmaskColumn));
}

void TestNewNetwSettings::foreignTextsStayLiteral()
{
    QStringList hostile = row(1, "<img src=\"x\">");
    hostile[SerialNumberColumn] = text("<b>%1</b> %2");
    open({hostile, hostile});
    type(0, NetmaskColumn, "<i>mask</i>");
    QVERIFY(reason().contains(hostile.at(SerialNumberColumn)));
    type(1, NetmaskColumn, "%1");
    QCOMPARE(reason(),
             text("Serial number <b>%1</b> %2: the IP address \"<img src=\"x\">\" is not an IPv4 address; "
                  "and 1 more"));
    const auto labels = m_dialog->findChildren<QLabel *>();
    for (const QLabel *label : labels) {
        QVERIFY(label->textFormat() == Qt::PlainText || !Qt::mightBeRichText(label->text()));
    }
    for (int i = 0; i < 6; ++i) {
        QVERIFY(!Qt::mightBeRichText(cell(0, i).data(Qt::ToolTipRole).toString()));
    }
}

// If a keystroke or a pasted line cost more with every row, the test's time would run out.
void TestNewNetwSettings::thousandsOfRows()
{
    constexpr int count = 5000;
    Rows rows;
    QStringList lines;
    for (int i = 0; i < count; ++i) {
        rows.append(row(i % 256, "10.0.0.1"));
        rows.last()[MacColumn] = QStringLiteral("00:00:00:00:%1:00").arg(i % 100, 2, 10, QLatin1Char('0'));
        lines.append(QStringLiteral("10.0.%1.%2\t255.255.0.0").arg(i / 250).arg(i % 250 + 1));
    }
    open(rows);
    select(0, IpColumn, 0, IpColumn);
    paste(m_table, lines.join(QLatin1Char('\n')));
    type(0, IpColumn, "10.0.0.2"); // shared from here on
    for (int i = 0; i < 100; ++i) {
        type(i, GatewayColumn, "10.0.255.254");
    }
    m_table->sortByColumn(IpColumn, Qt::DescendingOrder);
    QCOMPARE(shown(0, IpColumn), text("10.0.19.250"));
    click("applyBtn");
    QCOMPARE(m_sent.size(), count);
}

QTEST_MAIN(TestNewNetwSettings)
#include "tst_newnetwsettings.moc"
