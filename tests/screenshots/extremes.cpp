#include "photographer.h"
#include "tour.h"

#include <QApplication>
#include <QJsonArray>
#include <QJsonObject>
#include <QScreen>
#include <QTableWidget>

namespace {

constexpr int crowd = 5000;
constexpr int crowdColumns = 200; // instruments with the same third number of their address

QJsonObject instrument(int number, const char *code, const QString &id, const QString &firmware)
{
    return {{QStringLiteral("kind"), QStringLiteral("json")},
            {QStringLiteral("code"), QLatin1String(code)},
            {QStringLiteral("mac"),
             QStringLiteral("00:1A:2B:FF:00:%1").arg(number, 2, 16, QLatin1Char('0')).toUpper()},
            {QStringLiteral("ip"), QStringLiteral("192.168.0.%1").arg(number)},
            {QStringLiteral("texts"), QJsonObject{{QStringLiteral("ID"), id},
                                                  {QStringLiteral("BRAND"), QString()},
                                                  {QStringLiteral("SN"), id},
                                                  {QStringLiteral("FW"), firmware}}}};
}

} // namespace

QJsonObject extremes()
{
    QString endless;
    for (int i = 0; i < 40; ++i) {
        endless += QStringLiteral("undulator ");
    }
    QJsonArray list{
        instrument(11, "1100", endless, QStringLiteral("2.1.04-with-a-very-long-suffix-of-a-test-build")),
        instrument(
            12, "1200",
            QString::fromUtf8("\xd7\x9e\xd7\x95\xd7\x93\xd7\x95\xd7\x9c 7 \xd7\xa9\xd7\xa0\xd7\x90\xd7\x99"),
            QStringLiteral("1.0.0")),
        instrument(13, "2100", QStringLiteral("<b>bold</b> & <img src=x>"), QStringLiteral("<i>1</i>")),
        instrument(14, "7777", QStringLiteral("of no known family"), QString()),
        instrument(15, "1900", QString(), QString()),
    };
    for (int i = 0; i < crowd; ++i) {
        QJsonObject one = instrument(0, "1100", QStringLiteral("QPS-%1").arg(i), QStringLiteral("2.1.04"));
        one.insert(QStringLiteral("interface"), QStringLiteral("lab0"));
        one.insert(QStringLiteral("mac"), QStringLiteral("00:1A:2B:00:%1:%2")
                                              .arg(i / 256, 2, 16, QLatin1Char('0'))
                                              .arg(i % 256, 2, 16, QLatin1Char('0'))
                                              .toUpper());
        one.insert(QStringLiteral("ip"),
                   QStringLiteral("192.168.%1.%2").arg(1 + i / crowdColumns).arg(1 + i % crowdColumns));
        list.append(one);
    }
    return {{QStringLiteral("title"), QStringLiteral("Hard to show")}, {QStringLiteral("instruments"), list}};
}

void Tour::visitExtremes()
{
    m_window.show();
    waitForDevicePage();
    m_window.onScanDevices();
    table()->sortByColumn(4, Qt::AscendingOrder);
    for (const char *ip : {"192.168.0.11", "192.168.0.12", "192.168.0.13", "192.168.0.14"}) {
        select(ip);
        table()->scrollToTop();
        m_camera.take(&m_window, QStringLiteral("texts-%1").arg(QLatin1String(ip).right(2)));
    }
    takeEverySize();
}

void Tour::takeEverySize()
{
    const QRect screen = QGuiApplication::primaryScreen()->geometry();
    const QList<QPair<QString, QSize>> sizes{{QStringLiteral("small"), QSize(1024, 700)},
                                             {QStringLiteral("screen"), screen.size()}};
    for (const auto &[name, size] : sizes) {
        m_window.move(screen.topLeft());
        m_window.resize(size);
        for (const char *page : {"infoBtn", "updateBtn", "configBtn"}) {
            press(page);
            select("192.168.0.11");
            m_camera.take(&m_window, QStringLiteral("%1-%2").arg(QLatin1String(page), name));
        }
    }
    m_camera.takeDialog(
        &m_window, [this] { trigger("actionAdvanced_network_config"); }, QStringLiteral("many-instruments"));
    m_camera.takeDialog(
        &m_window, [this] { trigger("actionSettings"); }, QStringLiteral("settings"));
}
