#include "motordriver.h"

#include "commandreader.h"
#include "jsonreader.h"

#include <utility>

MotorDriverSpec readMotorDriverSpec(JsonReader &reader)
{
    MotorDriverSpec spec;
    FlashKernelSpec &kernel = spec.dsps.kernel;
    reader.milliseconds("eraseMs", kernel.eraseMs);
    reader.milliseconds("pageWriteMs", kernel.pageWriteMs);
    reader.flag("requireBootloaderCode", spec.dsps.requireBootloaderCode);
    reader.texts("answers", spec.dsps.answers);
    reader.milliseconds("windowMs", spec.setup.windowMs);
    reader.milliseconds("storeMs", spec.setup.storeMs);
    reader.flag("pacedLine", spec.pacedLine);

    JsonReader faults = reader.part("faults");
    faults.count("channelPrompts", spec.setup.menu.channelPrompts);
    faults.count("refusedBaudrate", spec.setup.menu.refusedBaudrate);
    faults.milliseconds("bannerPauseMs", spec.setup.bannerPauseMs);
    faults.text("hiddenText", spec.setup.hiddenText);
    faults.count("setupCutAfterBytes", spec.setup.cutAfterBytes);
    spec.replies.ms = 20;
    faults.count("pieceBytes", spec.replies.bytes);
    faults.milliseconds("pieceMs", spec.replies.ms);
    faults.count("cutAfterBytes", spec.cutAfterBytes);
    faults.count("cutConnection", spec.cutConnection);
    faults.count("gpioWrongAnswerAt", spec.gpioWrongAnswerAt);
    bool noAutobaud = false;
    faults.flag("noAutobaud", noAutobaud);
    spec.dsps.autobaud = !noAutobaud;
    faults.choice("eraseAnswer", kernel.eraseAnswer,
                  {{"ack", FlashKernelSpec::Ack},
                   {"nak", FlashKernelSpec::Nak},
                   {"ackWithoutNewline", FlashKernelSpec::AckWithoutNewline},
                   {"silent", FlashKernelSpec::Silent}});
    if (faults.has("oldBytes")) {
        faults.text("oldBytes", spec.oldBytes.emplace());
    }
    faults.finish();
    reader.finish();
    return spec;
}

MotorDriver::MotorDriver(const MotorDriverSpec &spec, const QByteArray &mac, const EventLog &log)
    : m_spec(spec),
      m_mac(mac),
      m_log(log),
      m_dsps(spec.dsps, log),
      m_setup(spec.setup, spec.replies, log),
      m_gpio(spec.gpioWrongAnswerAt, log),
      m_tunnel(ClientPort::Second::Reset, log),
      m_unheard(spec.oldBytes.value_or(QByteArray()))
{
    m_tunnel.setPace(spec.replies);
    m_tunnel.setCut(spec.cutAfterBytes, spec.cutConnection);
    connect(&m_setup, &SetupPort::stored, this,
            [this](const ModuleSettings &settings) { m_settings = settings; });
    connect(&m_setup, &SetupPort::restarts, this, &MotorDriver::restartWanted);
    connect(&m_gpio, &GpioPort::changed, this, [this] { m_dsps.setPins(m_gpio.levels()); });
    connect(&m_tunnel, &ClientPort::clientArrived, this, &MotorDriver::greetClient);
    connect(&m_tunnel, &ClientPort::received, &m_lineIn, &PacedBytes::push);
    connect(&m_lineIn, &PacedBytes::passed, this,
            [this](const QByteArray &bytes) { m_dsps.receive(bytes, m_baudrate); });
    connect(&m_dsps, &DspPair::sends, this, [this](const QByteArray &bytes) {
        if (m_dsps.baudrate() == m_baudrate) {
            m_lineOut.push(bytes);
        }
    });
    connect(&m_lineOut, &PacedBytes::passed, this, &MotorDriver::passToClient);
}

bool MotorDriver::start(const NetworkIdentity &identity)
{
    m_settings.ip = identity.ip;
    m_settings.netmask = identity.netmask;
    m_settings.gateway = identity.gateway;
    m_baudrate = int(m_settings.channel[setuptexts::Baudrate]);
    const Pace pace = m_spec.pacedLine ? Pace::ofBaudrate(m_baudrate) : Pace();
    m_lineIn.setPace(pace);
    m_lineOut.setPace(pace);
    return m_setup.open(m_mac, m_settings) && m_gpio.open(identity.ip) &&
           m_tunnel.open(identity.ip, quint16(m_settings.channel[setuptexts::Port]));
}

void MotorDriver::stop()
{
    m_tunnel.close();
    m_gpio.restart();
    m_setup.close(); // last: whoever sees the menu go finds the other ports closed
    m_lineIn.clear();
    m_lineOut.clear();
    m_unheard.clear();
    m_dsps.setPins(m_gpio.levels());
}

void MotorDriver::greetClient()
{
    passToClient(std::exchange(m_unheard, {}));
}

void MotorDriver::passToClient(const QByteArray &bytes)
{
    if (m_tunnel.hasClient()) {
        m_tunnel.send(bytes);
    } else if (m_spec.oldBytes) {
        m_unheard += bytes;
    }
}

QJsonObject MotorDriver::state() const
{
    return Fields{{"baudrate", int(m_settings.channel[setuptexts::Baudrate])},
                  {"tunnelPort", int(m_settings.channel[setuptexts::Port])},
                  {"pins", m_dsps.state()}};
}

QString MotorDriver::carryOut(const QJsonObject &command)
{
    if (command.value(QLatin1String("command")) != QLatin1String("dumpFlash")) {
        return ModuleService::carryOut(command);
    }
    const QString path = command.value(QLatin1String("path")).toString();
    for (const Dsp *dsp : {&m_dsps.communication(), &m_dsps.control()}) {
        if (command.value(QLatin1String("dsp")) == dsp->name()) {
            const QByteArray bytes = dsp->flash().dump();
            QString problem = writeFile(path, bytes);
            if (problem.isEmpty()) {
                m_log.report("flashDumped",
                             {{"dsp", dsp->name()}, {"path", path}, {"words", bytes.size() / 2}});
            }
            return problem;
        }
    }
    return QStringLiteral("\"dsp\" must be \"communication\" or \"control\"");
}
