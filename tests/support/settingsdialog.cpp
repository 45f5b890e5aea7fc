#include "settingsdialog.h"

#include <QTest>

namespace settingsdialog {

QString text(const char *latin1)
{
    return QString::fromLatin1(latin1);
}

QPushButton *button(const Settings &dialog, const char *caption)
{
    const QList<QPushButton *> buttons = dialog.findChildren<QPushButton *>();
    for (QPushButton *candidate : buttons) {
        if (candidate->text() == text(caption)) {
            return candidate;
        }
    }
    qFatal("no button %s", caption);
}

void record(Settings &dialog, QStringList &log)
{
    const auto number = [&dialog, &log](auto signal, const char *name) {
        QObject::connect(&dialog, signal, &dialog,
                         [&log, name](int value) { log << text(name) + QString::number(value); });
    };
    const auto flag = [&dialog, &log](auto signal, const char *name) {
        QObject::connect(&dialog, signal, &dialog,
                         [&log, name](bool on) { log << text(name) + text(on ? "on" : "off"); });
    };
    const auto address = [&dialog, &log](auto signal, const char *name) {
        QObject::connect(&dialog, signal, &dialog,
                         [&log, name](const QHostAddress &value) { log << text(name) + value.toString(); });
    };
    number(&Settings::signalChangeBroadcastTime, "scan ");
    number(&Settings::signalChangeTimeout, "timeout ");
    flag(&Settings::signalChangeFlagManualIP, "manual ");
    number(&Settings::signalChangeNumbeOfThreads, "threads ");
    number(&Settings::signalChangeWaitForBytesWritten, "written ");
    number(&Settings::signalChangeWaitForReadyRead, "read ");
    number(&Settings::signalChangeWaitForConnected, "connected ");
    flag(&Settings::signalChangeFlagUnicast, "unicast ");
    address(&Settings::signalChangeStartIp, "start ");
    address(&Settings::signalChangeEndIp, "end ");
    QObject::connect(&dialog, &Settings::signalClose, &dialog, [&log] { log << text("close"); });
}

void fill(Settings &dialog, bool unicast)
{
    dialog.setBroadcastTime(200);
    dialog.setTimeout(120000);
    dialog.setFlagManualIp(false);
    dialog.setFlagUnicast(unicast);
    dialog.setStartIp(QHostAddress(text("192.168.0.1")));
    dialog.setEndIp(QHostAddress(text("192.168.0.254")));
    dialog.setNumberOfThreads(10);
    dialog.setWaitForBytesWritten(1000);
    dialog.setWaitForReadyRead(1000);
    dialog.setWaitForConnected(1000);
}

void open(Settings &dialog)
{
    dialog.show();
    QVERIFY(QTest::qWaitForWindowActive(&dialog));
}

void type(QDoubleSpinBox *box, const QString &value)
{
    box->setFocus();
    box->selectAll();
    QTest::keyClicks(box, value);
}

void type(QLineEdit *field, const QString &value)
{
    field->setFocus();
    field->selectAll();
    QTest::keyClick(field, Qt::Key_Delete);
    QTest::keyClicks(field, value);
}

void click(QWidget *widget)
{
    QTest::mouseClick(widget, Qt::LeftButton);
}

QString message(const Settings &dialog)
{
    return child<QLabel>(dialog, "labelRange")->text();
}

} // namespace settingsdialog
