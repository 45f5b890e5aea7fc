#include "changeproof.h"

#include "macaddress.h"

#include <QCoreApplication>
#include <QHash>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("ChangeProof", text);
}

} // namespace

void ChangeProof::begin()
{
    changes.clear();
    missing.clear();
}

void ChangeProof::expect(const QString &mac, const QString &ip)
{
    changes.append({plainMac(mac), ip});
}

void ChangeProof::check(const QList<Device_t> &devices)
{
    QHash<QString, QString> addressByMac;
    for (const Device_t &device : devices) {
        addressByMac.insert(plainMac(device[Mac]), device[Ip]);
    }
    missing.clear();
    for (const Change &change : qAsConst(changes)) {
        const auto found = addressByMac.constFind(change.mac);
        const QString wanted = change.ip.isEmpty() ? tr("an address by DHCP") : change.ip;
        if (found == addressByMac.constEnd()) {
            missing.append(tr("%1\tshould have %2\tdoes not answer").arg(change.mac, wanted));
        } else if (!change.ip.isEmpty() && *found != change.ip) {
            missing.append(tr("%1\tshould have %2\tanswers at %3").arg(change.mac, wanted, *found));
        }
    }
}

QString ChangeProof::summary() const
{
    const int wanted = changes.size();
    const int there = wanted - missing.size();
    if (wanted == 1) {
        return there == 1 ? tr("The changed instrument answers at its new address.")
                          : tr("The changed instrument does not answer at its new address.");
    }
    return tr("%1 of %2 changed instruments answer at their new address.").arg(there).arg(wanted);
}
