#include "dspflash.h"

#include <algorithm>
#include <array>

namespace {

struct Sector
{
    char name;
    quint32 begin;
    quint32 end; // one past the last word
};

constexpr std::array<Sector, 4> sectors{{
    {'D', 0x3E8000, 0x3EC000},
    {'C', 0x3EC000, 0x3F0000},
    {'B', 0x3F0000, 0x3F4000},
    {'A', 0x3F4000, 0x3F9000},
}};
static_assert(sectors[0].begin == DspFlash::begin && sectors[3].end == DspFlash::end);

} // namespace

DspFlash::DspFlash() : m_words(int(end - begin))
{
    for (int i = 0; i < m_words.size(); ++i) {
        m_words[i] = quint16((begin + quint32(i)) ^ 0x5AA5U);
    }
}

void DspFlash::fill(const QByteArray &names, quint16 value)
{
    for (const Sector &sector : sectors) {
        if (names.contains(sector.name)) {
            std::fill(m_words.begin() + int(sector.begin - begin), m_words.begin() + int(sector.end - begin),
                      value);
        }
    }
}

int DspFlash::write(quint32 address, const QVector<quint16> &words)
{
    int wrong = 0;
    for (int i = 0; i < words.size(); ++i) {
        quint16 &cell = m_words[int(address - begin) + i];
        cell = quint16(cell & words[i]);
        wrong += cell == words[i] ? 0 : 1;
    }
    return wrong;
}

bool DspFlash::equals(quint32 address, const QVector<quint16> &words) const
{
    return std::equal(words.cbegin(), words.cend(), m_words.cbegin() + int(address - begin));
}

bool DspFlash::isBlank() const
{
    return std::all_of(m_words.cbegin(), m_words.cend(), [](quint16 word) { return word == 0xFFFF; });
}

QByteArray DspFlash::dump() const
{
    QByteArray bytes;
    bytes.reserve(2 * m_words.size());
    for (const quint16 word : m_words) {
        bytes.append(char(word >> 8));
        bytes.append(char(word & 0xFF));
    }
    return bytes;
}
