#include "versionproof.h"

#include <QCoreApplication>
#include <QStringList>

#include <algorithm>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("VersionProof", text);
}

QList<Device_t>::const_iterator find(const QList<Device_t> &devices, const Device_t &old)
{
    return std::find_if(devices.begin(), devices.end(),
                        [&old](const Device_t &device) { return device[Mac] == old[Mac]; });
}

bool isKnown(const QString &version)
{
    return !version.isEmpty() && version != QLatin1String("Unknown");
}

QString sentence(const Device_t &old, const QList<Device_t> &devices)
{
    const auto now = find(devices, old);
    if (now == devices.end()) {
        return isKnown(old[Fw]) ? tr("%1: was %2, does not answer yet").arg(old[Mac], old[Fw])
                                : tr("%1: does not answer yet").arg(old[Mac]);
    }
    if (!isKnown((*now)[Fw])) {
        return tr("%1: answers, but does not say its version").arg(old[Mac]);
    }
    if (!isKnown(old[Fw])) {
        return tr("%1: %2 now").arg(old[Mac], (*now)[Fw]);
    }
    if ((*now)[Fw] == old[Fw]) {
        return tr("%1: still %2, not changed").arg(old[Mac], old[Fw]);
    }
    return tr("%1: %2 before, %3 now").arg(old[Mac], old[Fw], (*now)[Fw]);
}

} // namespace

void VersionProof::noteBefore(const Device_t &device)
{
    const auto known = std::find_if(before.begin(), before.end(),
                                    [&device](const Device_t &old) { return old[Mac] == device[Mac]; });
    if (known == before.end()) {
        before.append(device);
    } else {
        *known = device;
    }
}

void VersionProof::forgetAnswered(const QList<Device_t> &devices)
{
    before.erase(
        std::remove_if(before.begin(), before.end(),
                       [&devices](const Device_t &old) { return find(devices, old) != devices.end(); }),
        before.end());
}

QString VersionProof::summary(const QList<Device_t> &devices) const
{
    QStringList sentences;
    for (const Device_t &old : before) {
        sentences.append(sentence(old, devices));
    }
    return tr("Firmware %1.").arg(sentences.join(QStringLiteral("; ")));
}
