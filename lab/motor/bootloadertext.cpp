#include "bootloadertext.h"

#include <cctype>
#include <numeric>

namespace {

constexpr int overheadBytes = 5; // count, two of the address, type, checksum
constexpr char dataRecord = 0x00;
constexpr char endOfFileRecord = 0x01;

} // namespace

BootloaderText::State BootloaderText::take(char character)
{
    if (!m_inRecord) {
        m_inRecord = character == ':';
        const bool blank = std::isspace(static_cast<unsigned char>(character)) != 0;
        return m_inRecord || blank ? State::Reading : State::Broken;
    }
    if (std::isxdigit(static_cast<unsigned char>(character)) == 0) {
        return State::Broken;
    }
    m_digits.append(character);
    if (m_digits.size() < 2) {
        return State::Reading;
    }
    const int count = static_cast<unsigned char>(QByteArray::fromHex(m_digits.left(2)).at(0));
    return m_digits.size() == 2 * (count + overheadBytes) ? endRecord() : State::Reading;
}

BootloaderText::State BootloaderText::endRecord()
{
    const QByteArray record = QByteArray::fromHex(m_digits);
    m_digits.clear();
    m_inRecord = false;
    const int sum = std::accumulate(record.cbegin(), record.cend(), 0);
    if ((sum & 0xFF) != 0) {
        return State::Broken;
    }
    m_dataRecords += record.at(3) == dataRecord ? 1 : 0;
    return record.at(3) == endOfFileRecord ? State::Complete : State::Reading;
}
