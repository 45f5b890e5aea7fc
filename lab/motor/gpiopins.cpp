#include "gpiopins.h"

namespace {

constexpr int allPins = 0x07;

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

int GpioPins::levels() const
{
    const int driven = m_active ^ m_activeLow;
    return merged(allPins, m_outputs, driven);
}

QByteArray GpioPins::obey(const QByteArray &command)
{
    const int mask = static_cast<unsigned char>(command.at(1)); // the pins are all in the first byte
    const int value = static_cast<unsigned char>(command.at(5));
    int answer = 0;
    switch (command.at(0)) {
    case SetDirections:
        m_outputs = merged(m_outputs, mask, value);
        [[fallthrough]];
    case GetDirections:
        answer = m_outputs;
        break;
    case SetActiveLevels:
        m_activeLow = merged(m_activeLow, mask, value);
        [[fallthrough]];
    case GetActiveLevels:
        answer = m_activeLow;
        break;
    case SetStates:
        m_active = merged(m_active, mask, value);
        [[fallthrough]];
    case GetStates:
        answer = levels() ^ m_activeLow;
        break;
    case GetFunctions:
        answer = allPins;
        break;
    default:
        return QByteArray(1, '\xFF');
    }
    return command.left(1) + QByteArray(1, char(answer)) + QByteArray(3, '\0');
}
