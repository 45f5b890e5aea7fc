#include "support/netwsettingstest.h"

#include <QFile>

using namespace networkrow;

// What "Save csv-file" writes, what "Upload csv-file" sends, and stopping either way of sending.
class TestNetwSettingsFile : public NetwSettingsTest
{
    Q_OBJECT

private slots:
    void cleanup() { m_dialog.reset(); }

    void stops();
    void savesWhatIsSeen();
    void uploads();
    void uploadKeepsTypedChanges();
    void uploadStopped();
    void tellsWhichLinesReachNobody();
};

void TestNetwSettingsFile::stops()
{
    open();
    select(0, IpColumn, 2, IpColumn);
    paste(m_table, text("1.0.0.1\n1.0.0.2\n1.0.0.3\n"));
    m_stopBefore = 1;
    click("applyBtn");
    QCOMPARE(m_sent, Rows{row(1, "1.0.0.1")});
    QVERIFY(m_dialog->isVisible() && m_closed->isEmpty());
    QVERIFY(status().contains(text("1 of 3 instruments")));
    m_stopBefore = -1;
    click("applyBtn"); // what was sent is not sent again
    QCOMPARE(m_sent, Rows({row(1, "1.0.0.1"), row(2, "1.0.0.2"), row(3, "1.0.0.3")}));
    QCOMPARE(m_closed->size(), 1);

    open();
    type(0, IpColumn, "1.0.0.1");
    m_dialog->disconnect(this);
    click("applyBtn");
    for (const char *button : {"applyBtn", "cancelBtn", "saveFileBtn", "uploadFileBtn"}) {
        QVERIFY(!find<QPushButton>(button)->isEnabled());
    }
    QVERIFY(m_dialog->onProgress(0, 1));
    m_dialog->close(); // means "stop" while rows are sent
    QVERIFY(m_dialog->isVisible() && m_dialog->stopRequested() && !m_dialog->onProgress(0, 1));
    m_dialog->onNotApplied(text("No interface is selected."));
    QVERIFY(canApply() && status() == text("No interface is selected."));
}

void TestNetwSettingsFile::savesWhatIsSeen()
{
    QString path = m_folder.filePath(text("rack.csv"));
    open();
    Device_t second;
    second[Code] = text("2180");
    second[Mac] = threeRows().at(1).at(MacColumn);
    m_dialog->setDevices({second});
    type(1, IpColumn, "1.0.0.2");
    m_table->sortByColumn(IpColumn, Qt::AscendingOrder);
    m_dialog->setFileChoosers([&path] { return path; }, {});
    click("saveFileBtn");
    QVERIFY2(status().contains(path), qPrintable(status()));
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QList<QByteArray> lines = file.readAll().split('\n');
    QCOMPARE(lines.value(6), QByteArray(",Bipolar,SN1,00:1A:2B:00:00:01,10.0.0.10,255.0.0.0,10.0.0.254"));
    QCOMPARE(lines.value(7), QByteArray("2180,Bipolar,SN2,00:1A:2B:00:00:02,1.0.0.2,255.0.0.0,10.0.0.254"));

    m_dialog->setFileChoosers([path] { return path + text("/rack.csv"); }, [] { return QString(); });
    click("saveFileBtn");
    QVERIFY2(status().startsWith(text("ERROR:")), qPrintable(status()));
    click("uploadFileBtn"); // no file chosen after all
    QVERIFY(!box() && m_sent.isEmpty());
}

void TestNetwSettingsFile::uploads()
{
    open();
    QCOMPARE(upload("2180,Bipolar,SN1,00:1A:2B:00:00:01,1.0.0.1,255.0.0.0,10.0.0.254\n"
                    "moved <b>away</b> %1\n"
                    "2180,Bipolar,SN2,00:1A:2B:00:00:02,1.0.0,255.0.0.0,10.0.0.254\n"
                    "2180,Bipolar,SN9,00:1A:2B:00:00:09,1.0.0.9,255.0.0.0,10.0.0.254\n"),
             text("Upload csv-file|upload completed!"));
    QCOMPARE(m_sent, Rows({row(1, "1.0.0.1"), row(9, "1.0.0.9")}));
    const QString details = box()->detailedText();
    QVERIFY(details.contains(text("line 2: fewer than seven")) && details.contains(text("<b>away</b> %1")));
    QVERIFY(details.contains(text("line 3: the IP address \"1.0.0\" is not an IPv4 address")));
    QVERIFY(!details.contains(text("line 1:")) && !details.contains(text("line 4:")));
    QVERIFY(m_dialog->isVisible() && m_closed->isEmpty());
    acceptBox();
    QCOMPARE(m_closed->size(), 1);
}

// What was typed and not sent is still there, on top of what the file has made of the instruments: sent
// with an address from before, it would move one back.
void TestNetwSettingsFile::uploadKeepsTypedChanges()
{
    open();
    type(0, NetmaskColumn, "255.255.0.0");
    type(1, IpColumn, "10.0.0.77");
    QCOMPARE(upload("2180,Bipolar,SN1,00-1a-2b-00-00-01 ,1.0.0.1,255.0.0.0,10.0.0.254\n"
                    "2180,Bipolar,SN3,00:1A:2B:00:00:03,1.0.0.2,255.0.0.0,1.0.0.254\n"
                    "2180,Bipolar,SN3,00:1A:2B:00:00:03,1.0.0.3,255.0.0.0,1.0.0.254\n"),
             text("Upload csv-file|upload completed!"));
    acceptBox();
    QVERIFY(m_dialog->isVisible() && m_closed->isEmpty());
    QVERIFY2(status().contains(text("2 instruments")), qPrintable(status()));
    QCOMPARE(column(IpColumn), QStringList({text("1.0.0.1"), text("10.0.0.77"), text("1.0.0.3")}));
    QCOMPARE(shown(0, NetmaskColumn), text("255.255.0.0"));

    m_sent.clear();
    click("applyBtn");
    QCOMPARE(m_sent, Rows({row(1, "1.0.0.1", "255.255.0.0"), row(2, "10.0.0.77")}));
    QCOMPARE(m_closed->size(), 1);

    open();
    type(0, IpColumn, "1.0.0.1");
    upload("2180,Bipolar,SN1,00:1A:2B:00:00:01,1.0.0.1,255.0.0.0,10.0.0.254\n");
    acceptBox();
    QCOMPARE(m_closed->size(), 1); // nothing is left to be sent
}

void TestNetwSettingsFile::uploadStopped()
{
    open();
    m_stopBefore = 1;
    QCOMPARE(upload("2180,,,00:1A:2B:00:00:01,1.0.0.1,255.0.0.0,1.0.0.9\n" +
                    QByteArray("2180,,,00:1A:2B:00:00:02,1.0.0.2,255.0.0.0,1.0.0.9\n").repeated(4)),
             QString());
    QCOMPARE(m_sent.size(), 1);
    QVERIFY(status().contains(text("1 of 5 instruments")) && m_dialog->isVisible());
    QCOMPARE(column(IpColumn), QStringList({text("1.0.0.1"), text("10.0.0.9"), text("2.0.0.1")}));
    QVERIFY(!canApply());
}

// Whoever supports the user knows the title and the first line, so these are the same everywhere.
void TestNetwSettingsFile::tellsWhichLinesReachNobody()
{
    open();
    QCOMPARE(upload("no, line\n1,F,S,00:1A:2B:00:00:01,1.0.0,255.0.0.0,1.0.0.2\n"),
             text("Upload csv-file|Error: incorrect file"));
    QCOMPARE(box()->informativeText(),
             text("Nothing was sent. Refused, and not sent: 1. The details say why."));
    QCOMPARE(box()->detailedText(), text("Lines that were refused: 1\n"
                                         "line 2: the IP address \"1.0.0\" is not an IPv4 address\n"
                                         "    1,F,S,00:1A:2B:00:00:01,1.0.0,255.0.0.0,1.0.0.2\n\n"
                                         "Lines that were skipped: 1\n"
                                         "line 1: fewer than seven fields between commas\n    no, line"));
    acceptBox();
    QTRY_VERIFY(!box());
    QCOMPARE(upload("1,F,S,00:1A:2B:00:00:01,1.0.0.1,255.0.0.0,1.0.0.2\n\xFF"),
             text("Upload csv-file|Error: incorrect file"));
    QCOMPARE(box()->informativeText(), text("The file is not UTF-8 text."));
    acceptBox();
    QVERIFY(m_sent.isEmpty() && m_dialog->isVisible());
}

QTEST_MAIN(TestNetwSettingsFile)
#include "tst_netwsettingsfile.moc"
