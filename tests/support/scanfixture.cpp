#include "scanfixture.h"

#include "client.h"

#include <QProcess>
#include <QTest>
#include <QUdpSocket>

#include <algorithm>

interfaces_t wst0()
{
    return {QStringLiteral("wst0"), QStringLiteral("192.168.0.100"), QStringLiteral("255.255.255.0"), true};
}

interfaces_t wst1()
{
    return {QStringLiteral("wst1"), QStringLiteral("10.20.30.100"), QStringLiteral("255.255.255.0"), true};
}

QJsonObject supply(int number, const QJsonObject &more)
{
    QJsonObject instrument{
        {QStringLiteral("kind"), QStringLiteral("powerSupply")},
        {QStringLiteral("code"), QStringLiteral("1100")},
        {QStringLiteral("mac"),
         QStringLiteral("00:1A:2B:00:00:%1").arg(number, 2, 16, QLatin1Char('0')).toUpper()},
        {QStringLiteral("ip"), QStringLiteral("192.168.0.%1").arg(number)}};
    for (auto entry = more.constBegin(); entry != more.constEnd(); ++entry) {
        instrument.insert(entry.key(), entry.value());
    }
    return instrument;
}

ScanLab::ScanLab(const QJsonArray &instruments)
{
    QVERIFY2(start({{QStringLiteral("instruments"), instruments}}), qPrintable(errorText()));
}

void walk(Client &client, const char *first, const char *last)
{
    client.setSendUnicast(true);
    client.setStartIp(QHostAddress(QString::fromLatin1(first)));
    client.setEndIp(QHostAddress(QString::fromLatin1(last)));
}

bool ip(const char *arguments)
{
    return QProcess::execute(QStringLiteral("ip"), QString::fromLatin1(arguments).split(QLatin1Char(' '))) ==
           0;
}

namespace {

constexpr char marker[] = "marker";

int markersSeen(const LabProcess &lab)
{
    const QString bytes = QString::fromLatin1(QByteArray(marker).toHex());
    const QVector<QJsonObject> ignored = lab.events(QStringLiteral("ignored"));
    return static_cast<int>(
        std::count_if(ignored.cbegin(), ignored.cend(), [&bytes](const QJsonObject &event) {
            return event.value(QStringLiteral("bytes")).toString() == bytes;
        }));
}

} // namespace

QStringList queriesSeen(LabProcess &lab)
{
    int markers = markersSeen(lab); // of earlier calls
    for (const interfaces_t &interface : {wst0(), wst1()}) {
        QUdpSocket socket;
        socket.bind(QHostAddress(interface.ip));
        for (const quint16 port : {quint16(30719), quint16(30718)}) {
            socket.writeDatagram(marker, QHostAddress(QHostAddress::Broadcast), port);
            ++markers;
        }
    }
    if (!QTest::qWaitFor([&lab, markers] { return markersSeen(lab) == markers; },
                         LabProcess::eventTimeoutMs)) {
        QTest::qFail("the lab did not see the markers", __FILE__, __LINE__);
    }
    QStringList queries;
    for (const QJsonObject &event : lab.events(QStringLiteral("query"))) {
        queries.append(QStringLiteral("%1 %2 %3 %4")
                           .arg(event.value(QStringLiteral("interface")).toString(),
                                event.value(QStringLiteral("from")).toString(),
                                event.value(QStringLiteral("to")).toString(),
                                event.value(QStringLiteral("bytes")).toString()));
    }
    return queries;
}
