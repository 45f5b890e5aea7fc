#include "tooloutput.h"

#include <QTest>

// However the tool's output is cut into pieces, what is kept of it says the same as the whole.
class TestToolOutput : public QObject
{
    Q_OBJECT

private slots:
    void markIsFoundWhereverItStands_data();
    void markIsFoundWhereverItStands();
};

void TestToolOutput::markIsFoundWhereverItStands_data()
{
    QTest::addColumn<int>("before"); // bytes in front of the mark
    QTest::addColumn<int>("piece");  // bytes that arrive at a time
    QTest::addColumn<int>("zeroAt"); // -1: no zero byte
    QTest::addColumn<bool>("found");
    const int kept = ToolOutput::keptBytes;
    QTest::newRow("in the beginning") << 0 << 4096 << -1 << true;
    for (int offset = -9; offset <= 1; ++offset) {
        QTest::addRow("across the limit %d", offset) << kept + offset << 4096 << -1 << true;
    }
    QTest::newRow("all at once") << 3 * kept << 8 * kept << -1 << true;
    QTest::newRow("in single bytes") << kept - 4 << 1 << -1 << true;
    QTest::newRow("far behind, cut in pieces") << 2 * kept << 5 << -1 << true;
    QTest::newRow("behind a zero byte") << 100 << 4096 << 50 << false;
    QTest::newRow("behind a zero byte behind the limit") << 2 * kept << 4096 << kept + 7 << false;
    QTest::newRow("before a zero byte") << 2 * kept << 4096 << 2 * kept + 9 << true;
    QTest::newRow("cut by a zero byte") << kept + 2 << 4096 << kept + 10 << false;
}

void TestToolOutput::markIsFoundWhereverItStands()
{
    QFETCH(int, before);
    QFETCH(int, piece);
    QFETCH(int, zeroAt);
    QByteArray whole = QByteArray(before, 'x') + "<updates>" + QByteArray(100, 'y');
    if (zeroAt >= 0) {
        whole[zeroAt] = '\0';
    }
    ToolOutput output;
    for (int at = 0; at < whole.size(); at += piece) {
        output.append(whole.mid(at, piece));
    }
    QVERIFY(output.data().size() <= ToolOutput::keptBytes + 9);
    QVERIFY(!output.data().contains('\0'));
    QTEST(output.data().contains("<updates>"), "found");
}

QTEST_GUILESS_MAIN(TestToolOutput)
#include "tst_tooloutput.moc"
