#include "dspflash.h"

#include <algorithm>

DspFlash::DspFlash() : m_words(int(end - begin))
{
    for (int i = 0; i < m_words.size(); ++i) {
        m_words[i] = quint16((begin + quint32(i)) ^ 0x5AA5U);
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
