#include "support/netwsettingstest.h"

#include <QClipboard>
#include <QFile>
#include <QHeaderView>
#include <QPushButton>
#include <QTextDocument>

using namespace networkrow;

// Typing, pasting, sorting and finding, files, and what is sent then.
class TestNetwSettings : public NetwSettingsTest
{
    Q_OBJECT

private slots:
    void initTestCase();
    void judges();
    void followsTheKeys();
    void marksAreSeen();
    void asksBeforeItDiscards();
    void sendsTheRightInstruments();
    void pastes();
    void copiesAndRestores();
    void finds();
    void stops();
    void savesWhatIsSeen();
    void uploads();
    void uploadKeepsTypedChanges();
};

namespace {

// The row of instrument `n`: "SNn" with a MAC address that ends in n.
QStringList row(int n, const char *ip, const char *mask = "255.0.0.0", const char *gateway = "10.0.0.254")
{
    const QString mac = QStringLiteral("00:1A:2B:00:00:%1").arg(n, 2, 10, QLatin1Char('0'));
    return {text("Bipolar"), QStringLiteral("SN%1").arg(n), mac, text(ip), text(mask), text(gateway)};
}

const Rows three{row(1, "10.0.0.10"), row(2, "10.0.0.9"), row(3, "2.0.0.1")};

// An instrument that nothing can be sent to: it has no MAC address.
QStringList locked(const char *ip)
{
    QStringList texts = row(9, ip);
    texts[MacColumn] = text("Unknown");
    return texts;
}

} // namespace

void TestNetwSettings::initTestCase()
{
    QFile sheet(text(":/files/resources/styleSheet.qss"));
    QVERIFY(sheet.open(QIODevice::ReadOnly));
    qApp->setStyleSheet(QString::fromLatin1(sheet.readAll()));
}

// Edits (instrument, column, text); the marks of addresses, masks and gateways, 1 for invalid and 2 for
// shared ones; the reason, and what is sent.
void TestNetwSettings::judges()
{
    const char *unmarked = "0 0 0 0|0 0 0 0|0 0 0 0";
    const char *rows[][4] = {
        {"", unmarked, "Nothing is changed yet.", ""},
        {"2,3, 10.0.0.7 ", unmarked, "", "2=10.0.0.7"},
        {"2,4,255.255.0.0", unmarked, "", "2=10.0.0.9/255.255.0.0"},
        {"2,5,1.1.1.1", unmarked, "", "2=10.0.0.9@1.1.1.1"},
        {"2,3,10.0.0.7;2,3,10.0.0.9 ", unmarked, "Nothing is changed yet.", ""},
        {"2,3,10.0.0.", "0 1 0 0|0 0 0 0|0 0 0 0",
         "Serial number SN2: the IP address \"10.0.0.\" is not an IPv4 address", ""},
        {"2,4,255.255.255.255", "0 0 0 0|0 1 0 0|0 0 0 0",
         "Serial number SN2: the subnet mask \"255.255.255.255\" cannot be given to an instrument", ""},
        {"3,5,", "0 0 0 0|0 0 0 0|0 0 1 0", "Serial number SN3: the gateway is missing", ""},
        {"1,5,%1;2,5,a", "0 0 0 0|0 0 0 0|1 1 0 0",
         "Serial number SN1: the gateway \"%1\" is not an IPv4 address; and 1 more", ""},
        // It reports no mask and no gateway, which stands in nobody's way until its row is changed.
        {"4,3,10.0.0.7", "0 0 0 0|0 0 0 1|0 0 0 1", "Serial number SN4: the subnet mask is missing", ""},
        {"3,3,10.0.0.10", "2 0 2 0|0 0 0 0|0 0 0 0", "More than one instrument has the same IP address.",
         "3=10.0.0.10"},
        {"3,3,10.0.0.10;1,3,10.0.0.11", unmarked, "", "1=10.0.0.11 3=10.0.0.10"}};
    for (const auto &line : rows) {
        const QStringList expected{text(line[0]), text(line[1]), text(line[2]), text(line[3])};
        open(Rows(three) << row(4, "10.0.0.4", "", "0.0.0.0"));
        for (const QString &edit : expected.first().split(QLatin1Char(';'), Qt::SkipEmptyParts)) {
            const QStringList parts = edit.split(QLatin1Char(','));
            type(parts.at(0).toInt() - 1, parts.at(1).toInt(), parts.at(2));
        }
        const int role = NetworkSettingsModel::MarkRole;
        const QString marks = column(IpColumn, role) + text("|") + column(NetmaskColumn, role) + text("|") +
                              column(GatewayColumn, role);
        const QString why = reason();
        QCOMPARE(find<QLabel>("labelReason")->property("role").toString(),
                 text(marks.contains(text("1")) ? "error" : "hint"));
        QCOMPARE(canApply(), !expected.last().isEmpty());
        click("applyBtn");
        QCOMPARE(QStringList({expected.first(), marks, why, sent()}), expected);
        QVERIFY(m_sent.isEmpty() ? isOpen() : isClosed());
    }
}

// Every keystroke counts, and none applies.
void TestNetwSettings::followsTheKeys()
{
    open(three);
    QCOMPARE(m_table->currentIndex(), cell(0, IpColumn)); // where typing begins
    type(1, IpColumn, text("10.0.0."), false);
    QVERIFY(editor()->property("invalid").toBool() && !canApply());
    QTest::keyClicks(editor(), text("77"));
    QVERIFY(!editor()->property("invalid").toBool() && canApply() && reason().isEmpty());
    editor()->setCursorPosition(0); // and there it stays
    QTest::keyClicks(editor(), text("12"));
    QCOMPARE(editor()->text(), text("1210.0.0.77"));
    QTest::keyClick(editor(), Qt::Key_Escape);
    QCOMPARE(shown(1, IpColumn), text("10.0.0.9"));
    QVERIFY(!canApply() && isOpen());

    type(0, IpColumn, text("1.0.0.1")); // ends with Return
    QCOMPARE(m_table->currentIndex(), cell(1, IpColumn));
    QTest::keyClick(m_table, Qt::Key_Return); // opens the cell below
    QVERIFY(editor());
    QTest::keyClick(editor(), Qt::Key_Enter);
    m_table->setCurrentIndex(cell(0, FamilyColumn));
    QTest::keyClick(m_table, Qt::Key_Return);
    find<QLineEdit>("lineEditFind")->setFocus();
    QTest::keyClick(find<QLineEdit>("lineEditFind"), Qt::Key_Return);
    QVERIFY(canApply() && m_sent.isEmpty() && isOpen());

    type(2, IpColumn, text("1"), false); // a block goes into the cells, not into the editor
    paste(editor(), "1.0.0.3\t255.255.0.0\n");
    type(1, IpColumn, text("1.0.0.2"), false); // another cell is pressed while one is typed into
    QTest::mouseClick(m_table->viewport(), Qt::LeftButton, {},
                      m_table->visualRect(cell(0, MacColumn)).center());
    QCOMPARE(m_table->currentIndex(), cell(0, MacColumn));
    click("applyBtn");
    QCOMPARE(sent(), text("1=1.0.0.1 2=1.0.0.2 3=1.0.0.3/255.255.0.0"));
}

// With the look's style sheet, and the frame in a selected cell, too.
void TestNetwSettings::marksAreSeen()
{
    open(three);
    type(0, IpColumn, text("10.0.0.9")); // the second one's
    type(2, IpColumn, text("10.0.0"));
    m_table->setCurrentIndex(cell(2, FamilyColumn));
    QStringList colours;
    const auto look = [this, &colours](int row) {
        const QImage drawn = m_table->viewport()->grab(m_table->visualRect(cell(row, IpColumn))).toImage();
        colours += drawn.pixelColor(drawn.width() / 2, 1).name();
        colours += drawn.pixelColor(drawn.width() - 6, drawn.height() / 2).name(); // right of the text
    };
    look(0);
    look(1);
    look(2);
    m_table->selectAll();
    look(2);
    colours.removeLast();
    QCOMPARE(colours.join(QLatin1Char(' ')), text("#b26a00 #fdf3e3 #b26a00 #fdf3e3 #b3261e #fdf1f0 #b3261e"));
}

void TestNetwSettings::asksBeforeItDiscards()
{
    open(three);
    QTest::keyClick(m_table, Qt::Key_Escape);
    QVERIFY(isClosed());
    open(three);
    type(0, IpColumn, text("10.0.0.1"));
    QTest::keyClick(m_table, Qt::Key_Escape);
    answer(QMessageBox::Cancel);
    QVERIFY(isOpen());
    QTRY_VERIFY(!box());
    m_dialog->close();
    answer(QMessageBox::Discard);
    QVERIFY(isClosed() && m_sent.isEmpty());
}

// However the table is sorted, what is typed into a row goes to the instrument that it shows.
void TestNetwSettings::sendsTheRightInstruments()
{
    open(Rows(three) << row(4, "unknown"));
    const QPoint header(m_table->columnViewportPosition(IpColumn) + 10, 5);
    QTest::mouseClick(m_table->horizontalHeader()->viewport(), Qt::LeftButton, {}, header);
    QCOMPARE(column(IpColumn), text("2.0.0.1 10.0.0.9 10.0.0.10 unknown"));
    type(1, IpColumn, text("200.0.0.1")); // stays where it is
    type(2, IpColumn, text("1.0.0.1"));
    click("applyBtn");
    QCOMPARE(sent(), text("1=1.0.0.1 2=200.0.0.1"));
}

// Into the selection from this row and column to that one, among instruments 1, 2, 3 and a locked one.
void TestNetwSettings::pastes()
{
    const char *before = "10.0.0.10 10.0.0.9 2.0.0.1 1.1.1.1";
    const char *nothing = "Nothing pasted: these cells cannot be changed.";
    const struct
    {
        const char *from, *to, *clipboard, *addresses, *message;
    } rows[] = {
        {"03", "03", "1.0.0.1\n1.0.0.2\n1.0.0.3", "1.0.0.1 1.0.0.2 1.0.0.3 1.1.1.1", "Pasted into 3 rows."},
        {"13", "13", "1.0.0.2\r\n1.0.0.3\r\n", "10.0.0.10 1.0.0.2 1.0.0.3 1.1.1.1", "Pasted into 2 rows."},
        {"23", "23", "1.0.0.3\n1.0.0.4\n1.0.0.5\n", "10.0.0.10 10.0.0.9 1.0.0.3 1.1.1.1",
         "Pasted into 1 row; the lines behind have no row here."},
        {"13", "13", "1.0.0.2\t255.0.0.0\n", "10.0.0.10 1.0.0.2 2.0.0.1 1.1.1.1", "Pasted into 1 row."},
        {"14", "14", "255.0.0.0\t1.1.1.1\tno\tcolumn\n", before, "Pasted into 1 row."},
        {"03", "03", "1.0.0.1\n\n1.0.0.3\n", "1.0.0.1  1.0.0.3 1.1.1.1", "Pasted into 3 rows."},
        {"02", "02", "00-1a-2b-00-00-01\t1.0.0.1\n00 1A 2B 00 00 02 (rack 7)\t1.0.0.2\n",
         "1.0.0.1 1.0.0.2 2.0.0.1 1.1.1.1", "Pasted into 2 rows."},
        {"02", "02", "00:1A:2B:00:00:01\t1.0.0.1\n00:1A:2B:00:00:03\t1.0.0.3\n", before,
         "Nothing pasted: line 2 is for another instrument (00:1A:2B:00:00:03, not 00:1A:2B:00:00:02)."},
        {"02", "02", "\t1.0.0.1\n\t1.0.0.2\n", before,
         "Nothing pasted: line 1 is for another instrument (, not 00:1A:2B:00:00:01)."},
        {"30", "30", "F\tS\tunknown\t1.0.0.1\nF\tS\tx\t1.0.0.2\n", before, nothing},
        {"00", "00", "a\nb\n", before, nothing},
        {"02", "32", "1.0.0.8", before, nothing},
        {"03", "33", "1.0.0.8\n", "1.0.0.8 1.0.0.8 1.0.0.8 1.1.1.1", "Pasted into the selected cells."},
        {"03", "03", "", before, ""}};
    for (const auto &expected : rows) {
        open({three.at(2), locked("1.1.1.1"), three.at(0), three.at(1)});
        m_table->sortByColumn(IpColumn, Qt::DescendingOrder);
        select(expected.from[0] - '0', expected.from[1] - '0', expected.to[0] - '0', expected.to[1] - '0');
        paste(m_table, expected.clipboard);
        QCOMPARE(status(), text(expected.message));
        QCOMPARE(column(IpColumn), text(expected.addresses));
        QCOMPARE(column(SerialNumberColumn), text("SN1 SN2 SN3 SN9"));
    }
}

void TestNetwSettings::copiesAndRestores()
{
    Rows rows = three;
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

    type(0, IpColumn, text("1.0.0.1"));
    type(1, GatewayColumn, text("wrong"));
    select(0, IpColumn, 2, GatewayColumn);
    QTest::keyClick(m_table, Qt::Key_Delete);
    QCOMPARE(column(IpColumn), text("2.0.0.1 10.0.0.9 10.0.0.10"));
    QVERIFY(!canApply() && !reason().contains(text("wrong")));
}

void TestNetwSettings::finds()
{
    open({row(1, "10.0.0.10"), row(2, "10.0.0.9"), row(3, "2.0.0.1", "255.0.0.0", "2.0.0.254")});
    m_table->sortByColumn(IpColumn, Qt::AscendingOrder);
    type(0, NetmaskColumn, text("<i>255.0.0</i>"));
    auto *sought = find<QLineEdit>("lineEditFind");
    QTest::keyClicks(sought, text("sn2"));
    QCOMPARE(column(SerialNumberColumn), text("SN2"));
    QCOMPARE(find<QLabel>("labelCount")->text(), text("1 of 3 instruments shown, 1 changed"));
    sought->setText(text("10.0.0.25")); // in the gateway
    QCOMPARE(column(SerialNumberColumn), text("SN2 SN1"));
    type(0, IpColumn, text("200.0.0.1")); // stays where it is

    click("showProblemBtn"); // of a row that is hidden
    QCOMPARE(column(SerialNumberColumn), text("SN3 SN1 SN2"));
    QCOMPARE(m_table->currentIndex(), cell(0, NetmaskColumn));
    for (const QLabel *label : m_dialog->findChildren<QLabel *>()) { // foreign texts stay literal
        QVERIFY(label->textFormat() == Qt::PlainText || !Qt::mightBeRichText(label->text()));
    }
    QVERIFY(!Qt::mightBeRichText(cell(0, NetmaskColumn).data(Qt::ToolTipRole).toString()));
}

void TestNetwSettings::stops()
{
    open(three);
    select(0, IpColumn, 2, IpColumn);
    paste(m_table, "1.0.0.1\n1.0.0.2\n1.0.0.3\n");
    m_stopBefore = 1;
    click("applyBtn");
    QCOMPARE(sent(), text("1=1.0.0.1"));
    QVERIFY(isOpen());
    QCOMPARE(status(), text("Stopped: 1 of 3 instruments were sent their settings."));
    m_stopBefore = -1;
    click("applyBtn"); // what was sent is not sent again
    QCOMPARE(sent(), text("1=1.0.0.1 2=1.0.0.2 3=1.0.0.3"));
    QVERIFY(isClosed());

    open(three);
    type(0, IpColumn, text("1.0.0.1"));
    m_dialog->disconnect(this);
    click("applyBtn");
    for (const char *button : {"applyBtn", "cancelBtn", "saveFileBtn", "uploadFileBtn"}) {
        QVERIFY(!find<QPushButton>(button)->isEnabled());
    }
    QVERIFY(m_dialog->onProgress(0, 1));
    m_dialog->close(); // means "stop" while rows are sent
    QVERIFY(isOpen() && m_dialog->stopRequested() && !m_dialog->onProgress(0, 1));
    m_dialog->onNotApplied(text("No interface is selected."));
    QVERIFY(canApply() && status() == text("No interface is selected."));

    open(three);
    m_stopBefore = 1;
    const QByteArray second = "2180,,,00:1A:2B:00:00:02,1.0.0.2,255.0.0.0,10.0.0.254\n";
    QCOMPARE(upload("2180,,,00:1A:2B:00:00:01,1.0.0.1,255.0.0.0,10.0.0.254\n" + second.repeated(4)),
             QString());
    QCOMPARE(sent(), text("1=1.0.0.1"));
    QCOMPARE(status(), text("Stopped: 1 of 5 instruments were sent their settings."));
    QCOMPARE(column(IpColumn), text("1.0.0.1 10.0.0.9 2.0.0.1"));
    QVERIFY(!canApply() && isOpen());
}

void TestNetwSettings::savesWhatIsSeen()
{
    QString path = m_folder.filePath(text("rack.csv"));
    open(three);
    Device_t second;
    second[Code] = text("2180");
    second[Mac] = three.at(1).at(MacColumn);
    m_dialog->setDevices({second});
    type(1, IpColumn, text("1.0.0.2"));
    m_table->sortByColumn(IpColumn, Qt::AscendingOrder);
    m_dialog->setFileChoosers([&path] { return path; }, [] { return QString(); });
    click("saveFileBtn");
    QCOMPARE(status(), text("Saved 3 instruments to ") + path + text("."));
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QList<QByteArray> lines = file.readAll().split('\n');
    QCOMPARE(lines.value(6), QByteArray(",Bipolar,SN1,00:1A:2B:00:00:01,10.0.0.10,255.0.0.0,10.0.0.254"));
    QCOMPARE(lines.value(7), QByteArray("2180,Bipolar,SN2,00:1A:2B:00:00:02,1.0.0.2,255.0.0.0,10.0.0.254"));
    path += text("/rack.csv");
    click("saveFileBtn");
    QVERIFY2(status().startsWith(text("ERROR:")), qPrintable(status()));
    click("uploadFileBtn"); // no file chosen after all
    QVERIFY(!box() && m_sent.isEmpty());
}

// Whoever supports the user knows the title and the first line, so these are the same everywhere.
void TestNetwSettings::uploads()
{
    const QByteArray good = "2180,F,S,00:1A:2B:00:00:01,1.0.0.1,255.0.0.0,10.0.0.254\n";
    const struct
    {
        QByteArray content;
        const char *told, *sent;
    } rows[] = {
        {good + good, "upload completed!|2 instruments were sent their settings.|", "1=1.0.0.1 1=1.0.0.1"},
        {"moved <b>away</b> %1\n" + QByteArray(good).replace(",1.0.0.1", ",1.0.0") + good,
         "upload completed!|1 instrument was sent its settings. Refused, and not sent: 1. The details say "
         "why.|"
         "Lines that were refused: 1\nline 2: the IP address \"1.0.0\" is not an IPv4 address\n"
         "    2180,F,S,00:1A:2B:00:00:01,1.0.0,255.0.0.0,10.0.0.254\n\n"
         "Lines that were skipped: 1\nline 1: fewer than seven fields between commas\n"
         "    moved <b>away</b> %1",
         "1=1.0.0.1"},
        {"\n1,F,S,no,1.0.0.1,255.0.0.0,1.0.0.2\n[Quorvex]\n" + QByteArray("a\n").repeated(199),
         "Error: incorrect file|Nothing was sent. No line of the file names an instrument and its settings.|"
         "Lines that were skipped: 201\nline 2: the fourth field is not a MAC address\n"
         "    1,F,S,no,1.0.0.1,255.0.0.0,1.0.0.2\nline 3: heading of the file\n    [Quorvex]",
         ""},
        {good + "\xFF", "Error: incorrect file|The file is not UTF-8 text.|The file is not UTF-8 text.", ""}};
    for (const auto &expected : rows) {
        open(three);
        const QString told = upload(expected.content);
        QCOMPARE(told.section(text("\nline 4:"), 0, 0), text("Upload csv-file|") + text(expected.told));
        QCOMPARE(told.endsWith(text("\n... and 1 more")), told.contains(text("201")));
        QCOMPARE(sent(), text(expected.sent));
        QVERIFY(isOpen());
        answer(QMessageBox::Ok);
        QVERIFY(m_sent.isEmpty() ? isOpen() : isClosed());
    }
}

// What was typed and not sent is still there, on top of what the file has made of the instruments: sent
// with an address from before, it would move one back.
void TestNetwSettings::uploadKeepsTypedChanges()
{
    open(three);
    type(0, NetmaskColumn, text("255.255.0.0"));
    type(1, IpColumn, text("10.0.0.77"));
    upload("2180,Bipolar,SN1,00-1a-2b-00-00-01 ,1.0.0.1,255.0.0.0,10.0.0.254\n"
           "2180,Bipolar,SN3,00:1A:2B:00:00:03,1.0.0.2,255.0.0.0,1.0.0.254\n"
           "2180,Bipolar,SN3,00:1A:2B:00:00:03,1.0.0.3,255.0.0.0,1.0.0.254\n");
    answer(QMessageBox::Ok);
    QVERIFY(isOpen());
    QCOMPARE(status(), text("The file was sent. Not sent yet: the changes to 2 instruments in this table."));
    QCOMPARE(column(IpColumn), text("1.0.0.1 10.0.0.77 1.0.0.3"));
    QCOMPARE(column(NetmaskColumn), text("255.255.0.0 255.0.0.0 255.0.0.0"));
    m_sent.clear();
    click("applyBtn");
    QCOMPARE(sent(), text("1=1.0.0.1/255.255.0.0 2=10.0.0.77"));
    QVERIFY(isClosed());
}

QTEST_MAIN(TestNetwSettings)
#include "tst_netwsettings.moc"
