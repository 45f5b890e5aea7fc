#include "footer.h"

#include "styleproperty.h"

#include <QCoreApplication>
#include <QLabel>
#include <QPushButton>
#include <QStringList>

#include <algorithm>

namespace {

using Change = ChangeVerdict::State;
using Version = VersionVerdict::State;

// Sentences one behind the other, and whether one of them is bad news.
struct Saying
{
    QStringList sentences;
    bool bad = false;
};

QString count(int n, const QString &one, const QString &many)
{
    return QStringLiteral("%1 %2").arg(n).arg(n == 1 ? one : many);
}

int countOf(const QVector<ChangeVerdict> &changes, Change state)
{
    return static_cast<int>(std::count_if(changes.begin(), changes.end(),
                                          [state](const auto &change) { return change.state == state; }));
}

QString changeOfOne(Change state, bool lookingAgain)
{
    switch (state) {
    case Change::Proven:
        return QStringLiteral("The changed instrument answers at its new address.");
    case Change::WaitsForReboot:
        return QStringLiteral("The changed instrument takes its new address when it is rebooted.");
    case Change::NotLookedFor:
        return QStringLiteral("The changed instrument was not looked for at its new address.");
    case Change::Elsewhere:
    case Change::Silent:
        break;
    }
    return lookingAgain ? QStringLiteral("The changed instrument does not answer at its new address yet.")
                        : QStringLiteral("The changed instrument does not answer at its new address.");
}

void sayChanges(const ScanReport &report, Saying &saying)
{
    const QVector<ChangeVerdict> &changes = report.changes;
    if (changes.isEmpty()) {
        return;
    }
    const int waiting = countOf(changes, Change::WaitsForReboot);
    const int unseen = countOf(changes, Change::NotLookedFor);
    if (changes.size() == 1) {
        saying.sentences.append(changeOfOne(changes.first().state, report.lookingAgain));
    } else {
        QString text = QStringLiteral("%1 of %2 changed instruments answer at their new address")
                           .arg(countOf(changes, Change::Proven))
                           .arg(changes.size());
        if (waiting > 0) {
            text += QStringLiteral(", %1 when rebooted").arg(waiting);
        }
        if (unseen > 0) {
            text += QStringLiteral(", %1 not looked for").arg(unseen);
        }
        saying.sentences.append(text + QLatin1Char('.'));
    }
    const bool missing = countOf(changes, Change::Elsewhere) + countOf(changes, Change::Silent) > 0;
    saying.bad = saying.bad || (missing && !report.lookingAgain);
}

// As the table shows it.
QString nameOf(const Device_t &device)
{
    return device[Id].isEmpty() ? device[Ip] : QStringLiteral("%1 (%2)").arg(device[Id], device[Ip]);
}

QString versionOf(const VersionVerdict &verdict)
{
    const QString name = nameOf(verdict.before);
    const QString &before = verdict.before[Fw];
    switch (verdict.state) {
    case Version::Changed:
        return QStringLiteral("%1: %2 before, %3 now").arg(name, before, verdict.now);
    case Version::Told:
        return QStringLiteral("%1: %2 now").arg(name, verdict.now);
    case Version::Unchanged:
        return QStringLiteral("%1: still %2, not changed").arg(name, before);
    case Version::Untold:
        return QStringLiteral("%1: answers, but does not say its version").arg(name);
    case Version::NotLookedFor:
        return QStringLiteral("%1: was not looked for").arg(name);
    case Version::Silent:
        break;
    }
    return isKnownVersion(before) ? QStringLiteral("%1: was %2, does not answer yet").arg(name, before)
                                  : QStringLiteral("%1: does not answer yet").arg(name);
}

void sayVersions(const ScanReport &report, Saying &saying)
{
    QStringList parts;
    bool bad = false;
    for (const VersionVerdict &verdict : report.versions) {
        parts.append(versionOf(verdict));
        bad = bad || verdict.state == Version::Unchanged || verdict.state == Version::Silent ||
              (verdict.state == Version::Untold && isKnownVersion(verdict.before[Fw]));
    }
    if (!parts.isEmpty()) {
        saying.sentences.append(QStringLiteral("Firmware of %1.").arg(parts.join(QStringLiteral("; "))));
    }
    saying.bad = saying.bad || (bad && !report.lookingAgain);
}

Saying sayingOf(const ScanReport &report)
{
    Saying saying;
    saying.sentences.append(
        (report.stopped ? QStringLiteral("Stopped: %1 found on %2.") : QStringLiteral("%1 found on %2."))
            .arg(count(report.instruments, QStringLiteral("instrument"), QStringLiteral("instruments")),
                 count(report.interfacesQueried, QStringLiteral("network interface"),
                       QStringLiteral("network interfaces"))));
    if (!report.problem.isEmpty() && !report.stopped) {
        saying.bad = true;
        saying.sentences.append(
            QStringLiteral("Not everyone could be asked or heard (%1).").arg(report.problem));
    }
    if (report.settingsRefused) {
        saying.bad = true;
        saying.sentences.append(QStringLiteral("The new settings were refused: nothing was sent."));
    }
    if (!report.stopped) { // who was not reached is not missing
        sayChanges(report, saying);
        sayVersions(report, saying);
    }
    if (report.lookingAgain) {
        saying.sentences.append(QStringLiteral("Looking again..."));
    }
    return saying;
}

} // namespace

Footer::Footer(QLabel *label, QPushButton *details) : m_label(label), m_details(details)
{
    m_details->hide();
}

void Footer::say(const QString &text, bool bad)
{
    m_label->setText(text);
    setStyleProperty(m_label, "role", bad ? QStringLiteral("error") : QString());
    m_details->hide();
}

void Footer::showReport(const ScanReport &report)
{
    const Saying saying = sayingOf(report);
    say(saying.sentences.join(QLatin1Char(' ')), saying.bad);
    m_details->setVisible(!report.stopped && !missingInstruments(report).isEmpty());
}

void Footer::showUpdate(const UpdateQueue &updates)
{
    const bool failed = updates.lastState() != UpdateOutcome::State::Updated;
    say((failed ? QStringLiteral("The update of %1 failed; the log says why.")
                : QStringLiteral("The update of %1 has ended."))
            .arg(updates.currentIp()),
        failed);
}

void Footer::showRefusal(Refusal refusal)
{
    const QString text = refusalText(refusal);
    const bool told =
        refusal == Refusal::Scanning || refusal == Refusal::Updating; // what runs says so itself
    if (!text.isEmpty() && !told) {
        say(text, true);
    }
}

QString Footer::missingInstruments(const ScanReport &report)
{
    QStringList lines;
    for (const ChangeVerdict &change : report.changes) {
        const QString wanted = change.wanted.isEmpty() ? QStringLiteral("an address by DHCP") : change.wanted;
        const QString start = QStringLiteral("%1\tshould have %2\t").arg(change.mac, wanted);
        switch (change.state) {
        case Change::Proven:
            break;
        case Change::Elsewhere:
            lines.append(start + QStringLiteral("answers at %1").arg(change.seen));
            break;
        case Change::Silent:
            lines.append(start + QStringLiteral("does not answer"));
            break;
        case Change::WaitsForReboot:
            lines.append(start + QStringLiteral("waits for its reboot"));
            break;
        case Change::NotLookedFor:
            lines.append(start + QStringLiteral("was not looked for"));
            break;
        }
    }
    return lines.join(QLatin1Char('\n'));
}

QString Footer::refusalText(Refusal refusal)
{
    switch (refusal) {
    case Refusal::Scanning:
    case Refusal::Updating:
        return QStringLiteral("Wait until the scan or the firmware update that is running has ended.");
    case Refusal::Sending:
        return QStringLiteral("Wait until the new settings have been sent.");
    case Refusal::AwaitingAddresses:
        return QStringLiteral(
            "Wait until the changed instruments have been looked for at their new addresses.");
    case Refusal::NoInterface:
        return QStringLiteral("No network interface is selected, so nothing can be sent.");
    case Refusal::UnusableSettings:
        return QStringLiteral("The new settings were refused: nothing was sent.");
    case Refusal::Closing:
    case Refusal::None:
        break;
    }
    return {};
}
