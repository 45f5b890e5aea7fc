#include "gpioport.h"

#include <utility>

namespace {

constexpr int allPins = 0x07;
constexpr int commandBytes = 9;

enum Command : char {
    GetFunctions = 0x10,
    GetDirections = 0x11,
    GetActiveLevels = 0x12,
    GetStates = 0x13,
    SetDirections = 0x19,
    SetActiveLevels = 0x1A,
    SetStates = 0x1B
};

int merged(int old, int mask, int value)
{
    return ((old & ~mask) | (value & mask)) & allPins;
}

} // namespace

GpioPort::GpioPort(int wrongAnswerAt, const EventLog &log)
    : m_log(log), m_port(ClientPort::Second::Reset, log), m_wrongAnswerAt(wrongAnswerAt)
{
    connect(&m_port, &ClientPort::received, this, &GpioPort::receive);
    connect(&m_port, &ClientPort::clientLeft, this, [this] {
        m_received.clear();
        m_commands = 0;
    });
}

void GpioPort::restart()
{
    m_port.close();
    m_pins = {};
}

int GpioPort::levels() const
{
    return merged(allPins, m_pins.outputs, m_pins.active ^ m_pins.activeLow);
}

void GpioPort::receive(const QByteArray &bytes)
{
    m_received += bytes;
    while (m_received.size() >= commandBytes) {
        const QByteArray command = m_received.left(commandBytes);
        m_received.remove(0, commandBytes);
        const Pins before = m_pins;
        QByteArray answer = obey(command);
        if (++m_commands == m_wrongAnswerAt && answer.size() > 1) {
            m_pins = before;
            answer[1] = char(answer.at(1) ^ allPins);
        }
        m_log.report("gpioCommand", {{"bytes", hexDigits(command)}, {"answer", hexDigits(answer)}});
        emit changed();
        m_port.send(answer);
    }
}

QByteArray GpioPort::obey(const QByteArray &command)
{
    const int mask = static_cast<unsigned char>(command.at(1)); // the pins are all in the first byte
    const int value = static_cast<unsigned char>(command.at(5));
    int answer = 0;
    switch (command.at(0)) {
    case SetDirections:
        m_pins.outputs = merged(m_pins.outputs, mask, value);
        [[fallthrough]];
    case GetDirections:
        answer = m_pins.outputs;
        break;
    case SetActiveLevels:
        m_pins.activeLow = merged(m_pins.activeLow, mask, value);
        [[fallthrough]];
    case GetActiveLevels:
        answer = m_pins.activeLow;
        break;
    case SetStates:
        m_pins.active = merged(m_pins.active, mask, value);
        [[fallthrough]];
    case GetStates:
        answer = levels() ^ m_pins.activeLow;
        break;
    case GetFunctions:
        answer = allPins;
        break;
    default:
        return QByteArray(1, '\xFF');
    }
    return command.left(1) + QByteArray(1, char(answer)) + QByteArray(3, '\0');
}
