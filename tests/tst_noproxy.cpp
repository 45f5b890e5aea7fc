#include "dspprogmode.h"
#include "lineconversation.h"
#include "motorupdate.h"
#include "sendfirmware.h"
#include "xportconfiguration.h"

#include <QNetworkProxy>
#include <QTest>

#include <functional>

// Instruments stand in the same network, whatever the desktop says of the way out of it.
class TestNoProxy : public QObject
{
    Q_OBJECT

private slots:
    void noProxyIsAsked_data();
    void noProxyIsAsked();
};

using Step = std::function<void(const QString &host, const QString &file)>;
Q_DECLARE_METATYPE(Step)

void TestNoProxy::noProxyIsAsked_data()
{
    QTest::addColumn<Step>("step");
    QTest::addColumn<int>("port");
    const auto row = [](const char *name, quint16 port, const Step &step) {
        QTest::newRow(name) << step << int(port);
    };
    row("setup menu", motorbench::setupPort, [](const QString &host, const QString &) {
        xPortConfiguration(nullptr, Interruption::Honoured, labPacing()).readBannerWord(host);
    });
    row("pins", motorbench::gpioPort, [](const QString &host, const QString &) {
        dspProgMode(nullptr, Interruption::Honoured, labPacing()).setState(dspProgMode::Normal, host);
    });
    row("boot loader", motorbench::tunnelPort, [](const QString &host, const QString &) {
        dspProgMode mode(nullptr, Interruption::Honoured, labPacing());
        mode.setState(dspProgMode::ProgramControl, host);
        mode.loadBootloader();
    });
    row("flash", motorbench::tunnelPort, [](const QString &host, const QString &file) {
        SendFirmware(nullptr, labPacing()).program(file, host);
    });
    row("lines", motorbench::tunnelPort, [](const QString &host, const QString &) {
        const Pacing pacing = labPacing();
        LineConversation('\n', pacing.written)
            .open(host, motorbench::tunnelPort, pacing.versionConnect, Interruption::Honoured);
    });
}

void TestNoProxy::noProxyIsAsked()
{
    QFETCH(Step, step);
    QFETCH(int, port);
    MotorUpdate driver;
    driver.startLab();
    const QString file = driver.file("firmware.hex", MotorUpdate::program());
    const QNetworkProxy before = QNetworkProxy::applicationProxy();
    QNetworkProxy::setApplicationProxy(
        {QNetworkProxy::Socks5Proxy, QStringLiteral("127.0.0.1"), 1}); // nobody
    step(QLatin1String(motorbench::address), file);
    QNetworkProxy::setApplicationProxy(before);
    driver.state(); // what was reported before it is here
    QList<int> ports;
    for (const QJsonObject &event : driver.lab.events(QStringLiteral("connected"))) {
        ports.append(event.value(QStringLiteral("port")).toInt());
    }
    QVERIFY(ports.contains(port));
}

QTEST_GUILESS_MAIN(TestNoProxy)
#include "tst_noproxy.moc"
