#include "versionproof.h"

#include <algorithm>

namespace {

using State = VersionVerdict::State;

// Not heard of as an updated instrument should be.
bool isMissing(const VersionVerdict &verdict)
{
    return verdict.state == State::Silent ||
           (verdict.state == State::Untold && isKnownVersion(verdict.before[Fw]));
}

// One that still tells its old version may not have begun to restart.
bool mayStillChange(const VersionVerdict &verdict)
{
    return isMissing(verdict) || verdict.state == State::Unchanged;
}

State stateOf(const QString &before, const QString &now)
{
    if (!isKnownVersion(now)) {
        return State::Untold;
    }
    if (!isKnownVersion(before)) {
        return State::Told;
    }
    return now == before ? State::Unchanged : State::Changed;
}

} // namespace

bool isKnownVersion(const QString &version)
{
    return !version.isEmpty() && version != QLatin1String("Unknown");
}

void VersionProof::noteBefore(const Device_t &device)
{
    const auto known = std::find_if(m_verdicts.begin(), m_verdicts.end(), [&device](const auto &verdict) {
        return verdict.before[Mac] == device[Mac];
    });
    if (known == m_verdicts.end()) {
        m_verdicts.append({device, {}, State::Silent});
    } else {
        *known = {device, {}, State::Silent};
    }
}

void VersionProof::check(const QList<Device_t> &answers)
{
    for (VersionVerdict &verdict : m_verdicts) {
        if (verdict.state == State::Changed || verdict.state == State::Told) {
            continue;
        }
        const auto now = std::find_if(answers.cbegin(), answers.cend(), [&verdict](const Device_t &device) {
            return device[Mac] == verdict.before[Mac];
        });
        const bool found = now != answers.cend();
        verdict.now = found ? (*now)[Fw] : QString();
        verdict.state = found ? stateOf(verdict.before[Fw], verdict.now) : State::Silent;
    }
}

void VersionProof::giveUp()
{
    for (VersionVerdict &verdict : m_verdicts) {
        if (isMissing(verdict)) {
            verdict.state = State::NotLookedFor;
        }
    }
}

void VersionProof::forgetAnswered()
{
    m_verdicts.erase(std::remove_if(m_verdicts.begin(), m_verdicts.end(),
                                    [](const auto &verdict) {
                                        return !isMissing(verdict) && verdict.state != State::NotLookedFor;
                                    }),
                     m_verdicts.end());
}

bool VersionProof::isOpen() const
{
    return std::any_of(m_verdicts.cbegin(), m_verdicts.cend(), mayStillChange);
}

bool VersionProof::awaits(const QString &mac) const
{
    return std::any_of(m_verdicts.cbegin(), m_verdicts.cend(), [&mac](const VersionVerdict &verdict) {
        return verdict.before[Mac] == mac && mayStillChange(verdict);
    });
}
