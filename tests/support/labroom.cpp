#include "labroom.h"

#include "labprocess.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>

namespace labroom {

QByteArray discoveryQuery()
{
    return QByteArrayLiteral("Quorvex Dev?");
}

QString onCable0()
{
    return QStringLiteral("192.168.0.100");
}

QString onCable1()
{
    return QStringLiteral("10.20.30.100");
}

QString everyone()
{
    return QStringLiteral("255.255.255.255");
}

QByteArray hex(const char *digits)
{
    return QByteArray::fromHex(digits);
}

QJsonObject object(const char *json)
{
    return QJsonDocument::fromJson(json).object();
}

QJsonObject scenarioOf(const QList<QJsonObject> &instruments)
{
    QJsonArray array;
    for (const QJsonObject &instrument : instruments) {
        array.append(instrument);
    }
    return {{QStringLiteral("instruments"), array}};
}

void play(LabProcess &lab, const QList<QJsonObject> &instruments)
{
    QVERIFY2(lab.start(scenarioOf(instruments)), qPrintable(lab.errorText()));
}

QJsonObject plain(const char *mac, const char *ip, const char *cable)
{
    return {{QStringLiteral("kind"), QStringLiteral("beamline")},
            {QStringLiteral("code"), QStringLiteral("2100")},
            {QStringLiteral("mac"), QString::fromLatin1(mac)},
            {QStringLiteral("ip"), QString::fromLatin1(ip)},
            {QStringLiteral("interface"), QString::fromLatin1(cable)}};
}

QJsonObject module(const char *mac, const char *ip)
{
    return {{QStringLiteral("kind"), QStringLiteral("module")},
            {QStringLiteral("mac"), QString::fromLatin1(mac)},
            {QStringLiteral("ip"), QString::fromLatin1(ip)}};
}

QJsonObject with(QJsonObject instrument, const char *key, const QJsonValue &value)
{
    instrument.insert(QString::fromLatin1(key), value);
    return instrument;
}

QString field(const QJsonObject &event, const char *key)
{
    return event.value(QString::fromLatin1(key)).toString();
}

} // namespace labroom
