#include "changeproof.h"

#include "instrumentrules.h"
#include "macaddress.h"

#include <QHash>

#include <algorithm>

namespace {

using State = ChangeVerdict::State;

bool isMissing(const ChangeVerdict &verdict)
{
    return verdict.state == State::Elsewhere || verdict.state == State::Silent;
}

} // namespace

void ChangeProof::expect(const QString &mac, const QString &ip, const QString &code)
{
    const ChangeVerdict expected{plainMac(mac),
                                 ip,
                                 {},
                                 instrumentrules::needsRebootForAddress(code) ? State::WaitsForReboot
                                                                              : State::Silent,
                                 code};
    const auto known =
        std::find_if(m_changes.begin(), m_changes.end(),
                     [&expected](const ChangeVerdict &change) { return change.mac == expected.mac; });
    if (known == m_changes.end()) {
        m_changes.append(expected);
    } else {
        *known = expected;
    }
}

void ChangeProof::forgetSettled()
{
    const auto settled = [](const ChangeVerdict &change) { return change.state != State::WaitsForReboot; };
    m_changes.erase(std::remove_if(m_changes.begin(), m_changes.end(), settled), m_changes.end());
}

void ChangeProof::check(const QList<Device_t> &answers)
{
    QHash<QString, QString> addressByMac;
    for (const Device_t &device : answers) {
        addressByMac.insert(plainMac(device[Mac]), device[Ip]);
    }
    for (ChangeVerdict &change : m_changes) {
        if (change.state == State::Proven) {
            continue;
        }
        const bool heard = addressByMac.contains(change.mac);
        change.seen = addressByMac.value(change.mac);
        if (heard && (change.wanted.isEmpty() || change.seen == change.wanted)) {
            change.state = State::Proven;
        } else if (change.state != State::WaitsForReboot) {
            change.state = heard ? State::Elsewhere : State::Silent;
        }
    }
}

void ChangeProof::giveUp()
{
    for (ChangeVerdict &change : m_changes) {
        if (isMissing(change)) {
            change.state = State::NotLookedFor;
        }
    }
}

void ChangeProof::forgetIfComplete()
{
    const auto proven = [](const ChangeVerdict &change) { return change.state == State::Proven; };
    if (std::all_of(m_changes.cbegin(), m_changes.cend(), proven)) {
        m_changes.clear();
    }
}

bool ChangeProof::isOpen() const
{
    return std::any_of(m_changes.cbegin(), m_changes.cend(), isMissing);
}

bool ChangeProof::awaits(const QString &mac) const
{
    const QString plain = plainMac(mac);
    return std::any_of(m_changes.cbegin(), m_changes.cend(), [&plain](const ChangeVerdict &change) {
        return change.mac == plain && change.state != State::Proven;
    });
}
