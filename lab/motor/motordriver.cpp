#include "motordriver.h"

MotorDriver::MotorDriver(const MotorDriverSpec &spec, QObject *parent)
    : QObject(parent),
      m_spec(spec),
      m_dsps(spec.dsps),
      m_setup(spec.setup, spec.replies),
      m_gpio(m_pins, spec.gpioWrongAnswerAt),
      m_unheard(spec.oldBytes.value_or(QByteArray()))
{
    m_output.setPace(spec.replies);
    connectSetup();
    connectTunnel();
    connectLine();
}

void MotorDriver::connectSetup()
{
    connect(&m_setup, &SetupPort::stored, this, &MotorDriver::setSettings);
    connect(&m_setup, &SetupPort::restarts, this, &MotorDriver::restarts);
    connect(&m_setup, &SetupPort::happened, this, &MotorDriver::happened);
    connect(&m_gpio, &GpioPort::happened, this, &MotorDriver::happened);
    connect(&m_gpio, &GpioPort::changed, this, [this] { m_dsps.setPins(m_pins.levels()); });
}

void MotorDriver::connectTunnel()
{
    connect(&m_tunnel, &ModulePort::clientArrived, this, &MotorDriver::greetClient);
    connect(&m_tunnel, &ModulePort::received, this, &MotorDriver::takeFromClient);
    connect(&m_tunnel, &ModulePort::clientLeft, &m_output, &PacedBytes::clear);
    connect(&m_tunnel, &ModulePort::happened, this, &MotorDriver::happened);
    connect(&m_output, &PacedBytes::passed, &m_tunnel, &ModulePort::send);
}

void MotorDriver::connectLine()
{
    connect(&m_lineIn, &PacedBytes::passed, this, &MotorDriver::passToDsps);
    connect(&m_lineOut, &PacedBytes::passed, this, &MotorDriver::passToClient);
    connect(&m_dsps, &DspPair::sends, this, &MotorDriver::takeFromDsps);
    connect(&m_dsps, &DspPair::happened, this, &MotorDriver::happened);
}

bool MotorDriver::open(const QHostAddress &address, const QByteArray &mac)
{
    const ModuleSettings &settings = m_spec.settings;
    m_baudrate = int(settings.baudrate);
    const Pace pace = m_spec.pacedLine ? Pace::ofBaudrate(m_baudrate) : Pace();
    m_lineIn.setPace(pace);
    m_lineOut.setPace(pace);
    const bool setup =
        settings.telnetSetupDisabled != 0 || m_setup.open(address, m_spec.setupPort, mac, settings);
    const bool gpio = settings.port77f0Disabled != 0 || m_gpio.open(address, m_spec.gpioPort);
    const bool tunnel = m_tunnel.open(address, quint16(settings.port), int(settings.keepaliveS));
    return setup && gpio && tunnel;
}

void MotorDriver::close()
{
    m_tunnel.close();
    m_gpio.close();
    m_setup.close(); // last: whoever sees the menu go finds the other ports closed
    m_lineIn.clear();
    m_lineOut.clear();
    m_unheard.clear();
    m_pins.restart();
    m_dsps.setPins(m_pins.levels());
}

void MotorDriver::greetClient()
{
    ++m_connection;
    m_fromClient = 0;
    const QByteArray unheard = m_unheard;
    m_unheard.clear();
    passToClient(unheard);
}

void MotorDriver::takeFromClient(const QByteArray &bytes)
{
    m_fromClient += bytes.size();
    if (!isCutDue()) {
        return m_lineIn.push(bytes);
    }
    emit happened(QStringLiteral("connectionCut"), {{QStringLiteral("port"), int(m_spec.settings.port)},
                                                    {QStringLiteral("bytes"), m_spec.cutAfterBytes}});
    m_tunnel.reset();
    m_lineIn.push(bytes.left(bytes.size() - (m_fromClient - m_spec.cutAfterBytes)));
}

bool MotorDriver::isCutDue() const
{
    const bool meant = m_spec.cutConnection == 0 || m_spec.cutConnection == m_connection;
    return meant && m_spec.cutAfterBytes > 0 && m_fromClient >= m_spec.cutAfterBytes;
}

void MotorDriver::passToDsps(const QByteArray &bytes)
{
    m_dsps.receive(bytes, m_baudrate);
}

void MotorDriver::takeFromDsps(const QByteArray &bytes)
{
    if (m_dsps.baudrate() == m_baudrate) {
        m_lineOut.push(bytes);
    }
}

void MotorDriver::passToClient(const QByteArray &bytes)
{
    if (m_tunnel.hasClient()) {
        m_output.push(bytes);
    } else if (m_spec.oldBytes) {
        m_unheard += bytes;
    }
}

QJsonObject MotorDriver::state() const
{
    return {{QStringLiteral("baudrate"), int(m_spec.settings.baudrate)},
            {QStringLiteral("tunnelPort"), int(m_spec.settings.port)},
            {QStringLiteral("pins"), m_dsps.state()},
            {QStringLiteral("communication"), m_dsps.communication().state()},
            {QStringLiteral("control"), m_dsps.control().state()}};
}
