#include "versionproof.h"

#include <QCoreApplication>
#include <QStringList>

#include <algorithm>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("VersionProof", text);
}

QString sentence(const Device_t &old, const QList<Device_t> &devices)
{
    const auto now = std::find_if(devices.begin(), devices.end(),
                                  [&old](const Device_t &device) { return device[Mac] == old[Mac]; });
    if (now == devices.end()) {
        return tr("%1: was %2, does not answer yet").arg(old[Mac], old[Fw]);
    }
    if ((*now)[Fw] == old[Fw]) {
        return tr("%1: still %2, not changed").arg(old[Mac], old[Fw]);
    }
    return tr("%1: %2 before, %3 now").arg(old[Mac], old[Fw], (*now)[Fw]);
}

} // namespace

void VersionProof::noteBefore(const Device_t &device)
{
    before.append(device);
}

QString VersionProof::summary(const QList<Device_t> &devices) const
{
    QStringList sentences;
    for (const Device_t &old : before) {
        sentences.append(sentence(old, devices));
    }
    return tr("Firmware %1.").arg(sentences.join(QStringLiteral("; ")));
}
