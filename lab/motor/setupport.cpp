#include "setupport.h"

#include <utility>

SetupPort::SetupPort(const SetupPortSpec &spec, const Pace &replies, const EventLog &log)
    : m_spec(spec), m_log(log), m_port(ClientPort::Second::Reset, log)
{
    m_port.setPace(replies);
    m_port.setCut(spec.cutAfterBytes);
    for (QTimer *timer : {&m_bannerPause, &m_window, &m_store}) {
        timer->setSingleShot(true);
    }
    connect(&m_port, &ClientPort::clientArrived, this, &SetupPort::greet);
    connect(&m_port, &ClientPort::received, this, &SetupPort::receive);
    connect(&m_port, &ClientPort::clientLeft, this, &SetupPort::forgetClient);
    connect(&m_bannerPause, &QTimer::timeout, this, &SetupPort::finishGreeting);
    connect(&m_window, &QTimer::timeout, &m_port, &ClientPort::hangUp);
    connect(&m_store, &QTimer::timeout, this, &SetupPort::restarts);
}

bool SetupPort::open(const QByteArray &mac, const ModuleSettings &settings)
{
    m_mac = mac;
    m_settings = settings;
    return m_port.open(settings.ip, 9999);
}

void SetupPort::close()
{
    m_port.close();
    m_store.stop();
}

void SetupPort::greet()
{
    m_menu.emplace(m_settings, m_spec.menu);
    print(setuptexts::banner(m_mac));
    if (m_spec.bannerPauseMs > 0) {
        m_bannerPause.start(m_spec.bannerPauseMs);
    } else {
        finishGreeting();
    }
}

void SetupPort::finishGreeting()
{
    print(setuptexts::pressEnter());
    m_window.start(m_spec.windowMs);
    type(std::exchange(m_early, {}));
}

void SetupPort::receive(const QByteArray &bytes)
{
    m_log.report("setupReceived", {{"bytes", hexDigits(bytes)}});
    if (m_bannerPause.isActive()) {
        m_early += bytes;
    } else {
        type(bytes);
    }
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
    m_log.report("parametersStored", {{"baudrate", int(m_settings.channel[setuptexts::Baudrate])},
                                      {"port", int(m_settings.channel[setuptexts::Port])}});
    m_store.start(m_spec.storeMs); // goes on when the client does not wait for it
    emit stored(m_settings);
}

void SetupPort::print(QByteArray text)
{
    if (!m_spec.hiddenText.isEmpty()) {
        text.replace(m_spec.hiddenText, QByteArray());
    }
    m_port.send(text);
}

void SetupPort::forgetClient()
{
    m_bannerPause.stop();
    m_window.stop();
    m_early.clear();
    m_menu.reset();
}
