#include "scanfixture.h"

#include "client.h"
#include "labroom.h"

#include <QHostAddress>
#include <QTest>
#include <QUdpSocket>

#include <algorithm>

QList<interfaces_t> interfacesOf(const char *text)
{
    QList<interfaces_t> list;
    for (QString word : QString::fromLatin1(text).split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
        const bool ticked = !word.startsWith(QLatin1Char('-'));
        word.remove(QLatin1Char('-'));
        list.append({word.section(QLatin1Char('@'), 0, 0), word.section(QLatin1Char('@'), 1),
                     QStringLiteral("255.255.255.0"), ticked});
    }
    return list;
}

QJsonObject supply(int number)
{
    return {{QStringLiteral("kind"), QStringLiteral("powerSupply")},
            {QStringLiteral("code"), QStringLiteral("1100")},
            {QStringLiteral("mac"), QStringLiteral("00:1A:2B:00:00:%1").arg(number)},
            {QStringLiteral("ip"), QStringLiteral("192.168.0.%1").arg(number)}};
}

bool ip(const char *arguments)
{
    return QProcess::execute(QStringLiteral("ip"), QString::fromLatin1(arguments).split(QLatin1Char(' '))) ==
           0;
}

QStringList queriesSeen(LabProcess &lab)
{
    static int call = 0;
    const QByteArray marker = "marker " + QByteArray::number(++call);
    for (const QString &address : {labroom::onCable0(), labroom::onCable1()}) {
        QUdpSocket socket;
        socket.bind(QHostAddress(address));
        for (const quint16 port : {labroom::discoveryPort, labroom::modulePort}) {
            socket.writeDatagram(marker, QHostAddress(QHostAddress::Broadcast), port);
        }
    }
    const auto allSeen = [&lab, &marker] {
        const QVector<QJsonObject> ignored = lab.events(QStringLiteral("ignored"));
        return 4 == std::count_if(ignored.cbegin(), ignored.cend(), [&marker](const QJsonObject &event) {
                   return labroom::field(event, "bytes").toLatin1() == marker.toHex();
               });
    };
    if (!QTest::qWaitFor(allSeen, LabProcess::eventTimeoutMs)) {
        QTest::qFail("the lab did not see the markers", __FILE__, __LINE__);
    }
    QStringList queries;
    for (const QJsonObject &event : lab.events(QStringLiteral("query"))) {
        queries.append(QStringLiteral("%1 %2 %3 %4")
                           .arg(labroom::field(event, "interface"), labroom::field(event, "from"),
                                labroom::field(event, "to"), labroom::field(event, "bytes")));
    }
    return queries;
}

void walk(Client &client, const char *from, const char *to)
{
    client.setSendUnicast(true);
    client.setStartIp(QHostAddress(QString::fromLatin1(from)));
    client.setEndIp(QHostAddress(QString::fromLatin1(to)));
}
