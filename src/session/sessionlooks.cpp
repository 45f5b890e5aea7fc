// How a session looks again for instruments that were told new addresses or restarted: quietly, so that
// nobody at the front end is disturbed, and not for ever.

#include "client.h"
#include "instrumentrules.h"
#include "macaddress.h"
#include "session.h"

#include <algorithm>

namespace {

using milliseconds = std::chrono::milliseconds;

// False when the schedule has come to its end without a single look.
bool passIfDue(LookSchedule &schedule, bool looked)
{
    if (!schedule.isOpen() || schedule.untilNext() > milliseconds(0)) {
        return true;
    }
    schedule.pass(looked);
    return schedule.isOpen() || schedule.hasLooked();
}

} // namespace

void Session::schedule()
{
    m_timer.stop();
    if (refusal(Order::LookAgain) != Refusal::None) {
        return; // the end of what runs schedules anew
    }
    if (m_scanDue) {
        m_timer.start(m_pacing.settingsApply);
        return;
    }
    for (const LookSchedule &looks : {m_addressLooks, m_restartLooks}) {
        if (looks.isOpen() &&
            (!m_timer.isActive() || looks.untilNext() < m_timer.remainingTimeAsDuration())) {
            m_timer.start(looks.untilNext());
        }
    }
}

void Session::onDue()
{
    if (m_client.isScanning() || refusal(Order::LookAgain) != Refusal::None) {
        return; // its end schedules anew
    }
    if (!hasLeave()) {
        m_scanDue ? m_timer.start(m_pacing.leaveRetry) : passLooks(false);
        return;
    }
    if (!m_scanDue) {
        lookAgain();
    } else if (scan() != Refusal::None) {
        m_timer.start(m_pacing.leaveRetry);
    }
}

void Session::lookAgain()
{
    const QList<Device_t> answers = m_client.scan(m_interfaces());
    m_client.clearDevices();
    if (m_scanDue) { // has come up meanwhile, and finds out more
        if (!m_timer.isActive()) {
            m_timer.start(0);
        }
        return;
    }
    if (refusal(Order::LookAgain) != Refusal::None) {
        return;
    }
    const bool whole = !m_client.wasStopped();
    takeRecords(answers);
    if (whole) {
        m_changes.check(answers);
        m_versions.check(answers);
    }
    passLooks(whole);
}

// Only of those that are looked for: nobody else's row may change under the user's hands.
void Session::takeRecords(const QList<Device_t> &answers)
{
    for (const Device_t &answer : answers) {
        if (!m_changes.awaits(answer[Mac]) && !m_versions.awaits(answer[Mac])) {
            continue;
        }
        const auto known =
            std::find_if(m_devices.begin(), m_devices.end(), [&answer](const Device_t &device) {
                return plainMac(device[Mac]) == plainMac(answer[Mac]);
            });
        if (known == m_devices.end()) {
            m_devices.append(answer);
            emit signalDeviceAdded();
        } else if (!(*known == answer)) {
            *known = answer;
            emit signalDeviceChanged(static_cast<int>(known - m_devices.begin()));
        }
    }
}

void Session::passLooks(bool looked)
{
    if (!passIfDue(m_addressLooks, looked)) {
        m_changes.giveUp();
    }
    if (!passIfDue(m_restartLooks, looked)) {
        m_versions.giveUp();
    }
    closeLooks();
    reportProofs();
    schedule();
    emit signalActivityChanged();
    emit signalReportChanged();
}

// Where nothing is left to be found.
void Session::closeLooks()
{
    if (!m_changes.isOpen()) {
        m_addressLooks.end();
    }
    if (!m_versions.isOpen()) {
        m_restartLooks.end();
    }
}

void Session::reportProofs()
{
    m_report.instruments = m_devices.size();
    m_report.lookingAgain = m_addressLooks.isOpen() || m_restartLooks.isOpen();
    m_report.changes = m_changes.verdicts();
    m_report.versions = m_versions.verdicts();
    for (const VersionVerdict &verdict : qAsConst(m_report.versions)) {
        if (verdict.state == VersionVerdict::State::Unchanged && !m_report.lookingAgain) {
            m_updates.noteUnchanged(verdict.before[Mac]);
        }
    }
}

// As long as the slowest of those that are looked for takes.
milliseconds Session::patience() const
{
    milliseconds longest{0};
    for (const ChangeVerdict &change : m_changes.verdicts()) {
        longest = std::max(longest, instrumentrules::restartTime(change.code));
    }
    for (const VersionVerdict &version : m_versions.verdicts()) {
        longest = std::max(longest, instrumentrules::restartTime(version.before[Code]));
    }
    return longest;
}
