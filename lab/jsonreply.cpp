#include "jsonreply.h"

#include "devicecatalogue.h"

#include <QJsonDocument>

QByteArray encodeReply(const NetworkIdentity &identity, const JsonTexts &texts)
{
    QJsonObject object{
        {QStringLiteral("CODE"), identity.code},
        {QStringLiteral("FAMILY"), devicecatalogue::group(identity.code)},
        {QStringLiteral("DEVICE"), devicecatalogue::desc(identity.code)},
        {QStringLiteral("MAC"), macText(identity.mac)},
        {QStringLiteral("IP"), addressText(identity.ip)},
        {QStringLiteral("NETMASK"), addressText(identity.netmask)},
        {QStringLiteral("GATEWAY"), addressText(identity.gateway)},
        {QStringLiteral("DHCP"), identity.dhcp ? QStringLiteral("1") : QStringLiteral("0")},
    };
    for (auto key = texts.keys.constBegin(); key != texts.keys.constEnd(); ++key) {
        if (key->isNull()) {
            object.remove(key.key());
        } else {
            object.insert(key.key(), *key);
        }
    }
    return QByteArrayLiteral("Quorvex MS2:") + QJsonDocument(object).toJson(QJsonDocument::Compact);
}
