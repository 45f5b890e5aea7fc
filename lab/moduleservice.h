#pragma once

#include <QJsonObject>
#include <QObject>
#include <QString>

// One TCP service of a serial-server module: the tunnel to the instrument behind it, and whatever
// else a module offers. The module owns its services, starts them each time it comes up at an address
// and stops them when it leaves it; stop() ends every connection.
class ModuleService : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    // Listens at this address, a host-order number. False when it cannot.
    virtual bool start(quint32 address) = 0;

    virtual void stop() = 0;

    // Goes into the module's state.
    virtual QJsonObject state() const { return {}; }

    // Why this service cannot do it; nothing when it did.
    virtual QString carryOut(const QJsonObject &) { return QStringLiteral("not for this instrument"); }
};
