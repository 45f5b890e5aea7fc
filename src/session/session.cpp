#include "session.h"

#include "client.h"
#include "macaddress.h"
#include "networksettingsrow.h"

#include <QEventLoop>
#include <QHostAddress>

#include <algorithm>
#include <utility>

Session::Hold::Hold(Session &session) : m_session(session)
{
    ++m_session.m_holds;
    emit m_session.signalActivityChanged();
}

Session::Hold::~Hold()
{
    --m_session.m_holds;
    emit m_session.signalActivityChanged();
}

Session::Session(Client &client, const Options &options, Interfaces interfaces, QObject *parent,
                 const LookPacing &pacing)
    : QObject(parent), m_client(client), m_interfaces(std::move(interfaces)), m_pacing(pacing)
{
    setOptions(options);
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, &Session::onDue);
    connect(&m_updates, &UpdateQueue::signalBegun, this, [this](const Device_t &device) {
        if (!device[Mac].isEmpty()) {
            m_versions.noteBefore(device);
        }
    });
    connect(&m_updates, &UpdateQueue::signalEnded, this, &Session::onUpdateEnded);
}

Session::~Session() = default;

void Session::setOptions(const Options &options)
{
    m_options = options;
    m_client.setScanTime(options.scanTime);
    m_client.setSendUnicast(options.sendUnicast);
    m_client.setStartIp(options.startIp);
    m_client.setEndIp(options.endIp);
    m_client.setTcpThreads(options.tcpThreads);
    m_client.setTcpWaitWritten(options.tcpWaitWritten);
    m_client.setTcpWaitRead(options.tcpWaitRead);
    m_client.setTcpWaitConnected(options.tcpWaitConnected);
}

Activity Session::activity() const
{
    if (m_closing) {
        return Activity::Closing;
    }
    switch (m_work) {
    case Work::Scanning:
        return Activity::Scanning;
    case Work::Sending:
        return Activity::Sending;
    case Work::Updating:
        return Activity::Updating;
    case Work::Idle:
        break;
    }
    if (isAwaitingAddresses()) {
        return Activity::AwaitingAddresses;
    }
    return m_restartLooks.isOpen() ? Activity::AwaitingRestart : Activity::Idle;
}

const Device_t *Session::device(int index) const
{
    return index >= 0 && index < m_devices.size() ? &m_devices.at(index) : nullptr;
}

void Session::setWork(Work work)
{
    m_work = work;
    schedule();
    emit signalActivityChanged();
}

bool Session::hasLeave() const
{
    return m_holds == 0 && (!m_mayLook || m_mayLook());
}

Refusal Session::scan()
{
    const Refusal reason = refusal(Order::Scan);
    if (reason != Refusal::None) {
        return reason;
    }
    if (m_client.isScanning()) { // for a look, which lies below us
        m_client.requestStop();
        m_scanDue = true;
        m_timer.start(0);
        return Refusal::None;
    }
    m_versions.forgetAnswered();
    m_changes.forgetIfComplete();
    m_devices.clear();
    setWork(Work::Scanning);
    emit signalScanBegun();
    m_devices = m_client.scan(m_interfaces());
    m_client.clearDevices();
    finishScan();
    return Refusal::None;
}

void Session::finishScan()
{
    m_report = {};
    m_report.instruments = m_devices.size();
    m_report.interfacesQueried = m_client.interfacesQueried();
    m_report.stopped = m_client.wasStopped();
    m_report.settingsRefused = std::exchange(m_lastSettings, Refusal::None) == Refusal::UnusableSettings;
    m_report.problem = m_client.problem();
    if (!m_report.stopped) { // who was not reached is not missing
        m_changes.check(m_devices);
        m_versions.check(m_devices);
    }
    if (std::exchange(m_scanDue, false)) {
        m_addressLooks.begin(patience(), m_pacing.second);
    }
    if (std::exchange(m_restartsExpected, false)) {
        m_restartLooks.begin(patience(), m_pacing.second);
    }
    closeLooks();
    reportProofs();
    emit signalScanEnded();
    setWork(Work::Idle);
    emit signalReportChanged();
}

void Session::stopScan()
{
    if (m_work == Work::Scanning) {
        m_client.requestStop();
    }
}

Refusal Session::sendSettings(const NetworkSettings &settings)
{
    const Refusal reason = refusal(Order::SendSettings);
    if (reason != Refusal::None) {
        return reason;
    }
    if (!isAwaitingAddresses()) {
        m_changes.forgetSettled();
    }
    setWork(Work::Sending);
    changeNetworkConfiguration sender;
    const bool sent = sender.setConfiguration(
        m_interfaces(), settings.device[Mac], changeNetworkConfiguration::devicePort, settings.ip,
        settings.netmask, settings.gateway, settings.dhcp ? 1 : 0, QHostAddress(settings.device[Ip]));
    m_lastSettings = sent ? Refusal::None : Refusal::UnusableSettings;
    if (sent) {
        m_changes.expect(settings.device[Mac],
                         settings.dhcp ? QString() : QHostAddress(settings.ip).toString(),
                         settings.device[Code]);
        m_scanDue = true;
    }
    setWork(Work::Idle);
    return m_lastSettings;
}

Refusal Session::sendSettings(const QList<QStringList> &rows, const BeforeRow &beforeRow)
{
    const Refusal reason = refusal(Order::SendSettings);
    if (reason != Refusal::None) {
        return reason;
    }
    const QList<interfaces_t> interfaces = m_interfaces();
    if (std::none_of(interfaces.begin(), interfaces.end(), [](const auto &one) { return one.selected; })) {
        return Refusal::NoInterface;
    }
    if (!isAwaitingAddresses()) {
        m_changes.forgetSettled();
    }
    setWork(Work::Sending);
    const QHash<QString, QString> codes = codesByMac();
    changeNetworkConfiguration().applyList(interfaces, rows, [&](int row) {
        const bool goOn = !beforeRow || beforeRow(row);
        if (goOn && networkrow::rowProblem(rows.at(row)).isEmpty()) {
            const QString &mac = rows.at(row).at(networkrow::MacColumn);
            m_changes.expect(mac, rows.at(row).at(networkrow::IpColumn).trimmed(),
                             codes.value(plainMac(mac)));
        }
        return goOn;
    });
    m_scanDue = true;
    setWork(Work::Idle);
    return Refusal::None;
}

QHash<QString, QString> Session::codesByMac() const
{
    QHash<QString, QString> codes;
    for (const Device_t &device : m_devices) {
        codes.insert(plainMac(device[Mac]), device[Code]);
    }
    return codes;
}

Refusal Session::update(const UpdateStep &first, const UpdateQueue::Next &next)
{
    const Refusal reason = refusal(Order::Update);
    if (reason != Refusal::None) {
        return reason;
    }
    if (m_client.isScanning()) {
        m_client.requestStop(); // a look, which goes on below us
    }
    m_restartLooks.end();
    setWork(Work::Updating);
    m_updates.start(first, m_devices, m_options.updateTimeout, next);
    return Refusal::None;
}

void Session::onUpdateEnded()
{
    m_restartsExpected = m_updates.report().end == UpdateReport::End::Completed;
    setWork(Work::Idle);
    if (!m_closing) {
        emit signalUpdateEnded();
    }
}

Refusal Session::close()
{
    const Refusal reason = refusal(Order::Close);
    if (reason == Refusal::None) {
        m_client.requestStop();
    }
    return reason;
}

// The program stays alive meanwhile, or the desktop would offer to kill what must not be killed.
void Session::stopUpdate()
{
    if (!m_updates.isRunning() || m_closing) {
        return;
    }
    m_closing = true;
    emit signalActivityChanged();
    QEventLoop loop;
    connect(&m_updates, &UpdateQueue::signalEnded, &loop, &QEventLoop::quit);
    m_updates.stop();
    if (m_updates.isRunning()) {
        loop.exec();
    }
    m_closing = false;
    emit signalActivityChanged();
}
