#include "labprocess.h"

#include <QTest>

class TestVirtualLab : public QObject
{
    Q_OBJECT

private slots:
    void startsTheShowcase();
};

void TestVirtualLab::startsTheShowcase()
{
    LabProcess lab;
    QVERIFY2(lab.startFile(QStringLiteral("showcase.json")), qPrintable(lab.errorText()));
    lab.command({{QStringLiteral("command"), QStringLiteral("reboot")},
                 {QStringLiteral("mac"), QStringLiteral("00:1A:2B:61:00:0D")}});
    QVERIFY(lab.waitForEvent(QStringLiteral("rebooted")));
    QVERIFY(lab.stop());
}

QTEST_GUILESS_MAIN(TestVirtualLab)
#include "tst_virtuallab.moc"
