#pragma once

#include "networkidentity.h"

#include <QJsonObject>
#include <QObject>
#include <QString>

// What a serial-server module offers over TCP: the tunnel to the instrument behind it, and whatever
// belongs to that. The module owns it, starts it each time it comes up at an address and stops it when
// it leaves it; stop() ends every connection.
class ModuleService : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    // Listens at the module's address. False when it cannot.
    virtual bool start(const NetworkIdentity &identity) = 0;

    virtual void stop() = 0;

    // The part "motor" of the module's state; empty when there is none.
    virtual QJsonObject state() const { return {}; }

    // Why this service cannot do it; nothing when it did.
    virtual QString carryOut(const QJsonObject &) { return QStringLiteral("not for this instrument"); }

signals:
    void restartWanted(); // of the module: it has new settings
};
