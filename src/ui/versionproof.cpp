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

// As the table shows it.
QString nameOf(const Device_t &device)
{
    return device[Id].isEmpty() ? device[Ip] : QStringLiteral("%1 (%2)").arg(device[Id], device[Ip]);
}

QString sentence(const Device_t &old, const QList<Device_t> &devices)
{
    const auto now = find(devices, old);
    if (now == devices.end()) {
        return isKnown(old[Fw]) ? tr("%1: was %2, does not answer yet").arg(nameOf(old), old[Fw])
                                : tr("%1: does not answer yet").arg(nameOf(old));
    }
    if (!isKnown((*now)[Fw])) {
        return tr("%1: answers, but does not say its version").arg(nameOf(old));
    }
    if (!isKnown(old[Fw])) {
        return tr("%1: %2 now").arg(nameOf(old), (*now)[Fw]);
    }
    if ((*now)[Fw] == old[Fw]) {
        return tr("%1: still %2, not changed").arg(nameOf(old), old[Fw]);
    }
    return tr("%1: %2 before, %3 now").arg(nameOf(old), old[Fw], (*now)[Fw]);
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
    const auto answered = [&devices](const Device_t &old) {
        const auto now = find(devices, old);
        return now != devices.end() && (isKnown((*now)[Fw]) || !isKnown(old[Fw]));
    };
    before.erase(std::remove_if(before.begin(), before.end(), answered), before.end());
}

bool VersionProof::isAnyUnchanged(const QList<Device_t> &devices) const
{
    return std::any_of(before.begin(), before.end(), [&devices](const Device_t &old) {
        const auto now = find(devices, old);
        return now != devices.end() && isKnown(old[Fw]) && (*now)[Fw] == old[Fw];
    });
}

QString VersionProof::summary(const QList<Device_t> &devices) const
{
    QStringList sentences;
    for (const Device_t &old : before) {
        sentences.append(sentence(old, devices));
    }
    return tr("Firmware of %1.").arg(sentences.join(QStringLiteral("; ")));
}
