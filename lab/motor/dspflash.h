#pragma once

#include <QByteArray>
#include <QVector>

// The flash of one DSP, as 16-bit words at word addresses from 3E8000 on. The boot loader takes pages up
// to the end of 3F8FFF, and erases all of it at once. Flash only turns ones into zeros: a word that was
// not erased before it is written holds what both have in common. Pure, owned by a Dsp.
class DspFlash
{
public:
    static constexpr quint32 begin = 0x3E8000;
    static constexpr quint32 end = 0x3F9000; // one past the last word

    // Holds some older program.
    DspFlash();

    static bool holds(quint32 address, int words)
    {
        return words >= 0 && address >= begin && address <= end && quint32(words) <= end - address;
    }

    // clear() is the first half of an erase, all bits zero, and what an erase that was cut short
    // leaves; erase() is the whole.
    void clear() { m_words.fill(0x0000); }
    void erase() { m_words.fill(0xFFFF); }

    // Both need holds(address, words.size()). Writing returns how many words did not take their value.
    int write(quint32 address, const QVector<quint16> &words);
    bool equals(quint32 address, const QVector<quint16> &words) const;

    bool isBlank() const;

    // Every word from `begin` on, the high byte first: the order of the data in a firmware file.
    QByteArray dump() const;

private:
    QVector<quint16> m_words;
};
