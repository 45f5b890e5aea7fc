#include "setupport.h"

#include "setuptexts.h"

SetupPort::SetupPort(const SetupPortSpec &spec, const Pace &replies, QObject *parent)
    : QObject(parent), m_spec(spec)
{
    m_output.setPace(replies);
    const QVector<QPair<QTimer *, int>> timers{
        {&m_bannerPause, spec.bannerPauseMs}, {&m_window, spec.windowMs}, {&m_store, spec.storeMs}};
    for (const auto &[timer, ms] : timers) {
        timer->setSingleShot(true);
        timer->setInterval(ms);
    }
    connect(&m_port, &ModulePort::clientArrived, this, &SetupPort::greet);
    connect(&m_port, &ModulePort::received, this, &SetupPort::receive);
    connect(&m_port, &ModulePort::clientLeft, this, &SetupPort::forgetClient);
    connect(&m_port, &ModulePort::happened, this, &SetupPort::happened);
    connect(&m_output, &PacedBytes::passed, &m_port, &ModulePort::send);
    connect(&m_bannerPause, &QTimer::timeout, this, &SetupPort::finishGreeting);
    connect(&m_window, &QTimer::timeout, &m_port, &ModulePort::hangUp);
    connect(&m_store, &QTimer::timeout, this, &SetupPort::restarts);
}

bool SetupPort::open(const QHostAddress &address, quint16 port, const QByteArray &mac,
                     const ModuleSettings &settings)
{
    m_listensAt = port;
    m_mac = mac;
    m_settings = settings;
    return m_port.open(address, port, int(settings.keepaliveS));
}

void SetupPort::close()
{
    m_port.close();
    m_store.stop();
}

void SetupPort::greet()
{
    m_menu.emplace(m_settings, m_spec.menu);
    m_received = 0;
    print(setuptexts::banner(m_mac));
    if (m_spec.bannerPauseMs > 0) {
        m_bannerPause.start();
    } else {
        finishGreeting();
    }
}

void SetupPort::finishGreeting()
{
    print(setuptexts::pressEnter());
    m_window.start();
    const QByteArray early = m_early;
    m_early.clear();
    type(early);
}

void SetupPort::receive(const QByteArray &bytes)
{
    emit happened(QStringLiteral("setupReceived"),
                  {{QStringLiteral("bytes"), QString::fromLatin1(bytes.toHex())}});
    m_received += bytes.size();
    if (m_spec.cutAfterBytes > 0 && m_received >= m_spec.cutAfterBytes) {
        emit happened(QStringLiteral("connectionCut"),
                      {{QStringLiteral("port"), m_listensAt}, {QStringLiteral("bytes"), m_received}});
        return m_port.reset();
    }
    if (m_bannerPause.isActive()) {
        m_early += bytes;
        return;
    }
    type(bytes);
}

void SetupPort::type(const QByteArray &keys)
{
    const bool wasOpen = m_menu->end() == SetupMenu::End::Open;
    print(m_menu->receive(keys));
    if (m_menu->isEntered()) {
        m_window.stop();
    }
    if (wasOpen && m_menu->end() == SetupMenu::End::Dropped) {
        m_port.hangUp();
    }
    if (wasOpen && m_menu->end() == SetupMenu::End::Saved) {
        store();
    }
}

void SetupPort::store()
{
    m_settings = m_menu->settings();
    emit happened(QStringLiteral("parametersStored"), {{QStringLiteral("baudrate"), int(m_settings.baudrate)},
                                                       {QStringLiteral("port"), int(m_settings.port)}});
    m_store.start(); // goes on when the client does not wait for it
    emit stored(m_settings);
}

void SetupPort::print(const QByteArray &text)
{
    QByteArray shown = text;
    if (!m_spec.hiddenText.isEmpty()) {
        shown.replace(m_spec.hiddenText, QByteArray());
    }
    if (!shown.isEmpty()) {
        m_output.push(shown);
    }
}

void SetupPort::forgetClient()
{
    m_bannerPause.stop();
    m_window.stop();
    m_output.clear();
    m_early.clear();
    m_menu.reset();
}
