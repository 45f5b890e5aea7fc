#pragma once

#include "eventlog.h"

#include <QByteArray>
#include <QObject>
#include <QTimer>
#include <QVector>

#include <functional>
#include <optional>

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

// How the flash program of a DSP takes its time, and how it fails when a scenario wants it to.
struct FlashKernelSpec
{
    enum EraseAnswer { Ack, Nak, AckWithoutNewline, Silent };

    int eraseMs = 8000;
    int pageWriteMs = 400;
    EraseAnswer eraseAnswer = Ack; // Nak and Silent leave the flash as it is
};

// The flash program that the boot loader image carries, running on a DSP. Owned by a Dsp. Packets:
//   0C 0E, command, number of arguments, arguments, 0E
//   0A, 4: address of the page, the high byte first    0C, 1 to 32: data, a word's high byte first
//   0B, 0: write the page    0D, 0: compare it    0E, 1: erase; the argument is 0B
// Writing, comparing and erasing answer "ACK\n", or "NAK\n" when the flash is not as it was told.
// While it works on the flash it does not listen: bytes that come then are lost.
//
// Events: "eraseStarted" with argument; "erased"; "eraseRefused"; "pageWritten" with
// address, words and notErased; "pageVerified" with address, words and equal; "packetRejected" with
// bytes and reason; "bytesLost" with count.
class FlashKernel : public QObject
{
    Q_OBJECT

public:
    // `flash` must outlive it.
    FlashKernel(const FlashKernelSpec &spec, DspFlash &flash, const EventLog &log);

    void receive(const QByteArray &bytes);

signals:
    void sends(const QByteArray &bytes);

private:
    bool takePacket(); // true when it took something off m_received
    void obey(int command, const QByteArray &arguments);
    void setAddress(const QByteArray &arguments);
    void addData(const QByteArray &arguments);
    void endPage(bool writes);
    void reportPage(const char *event, int words, const char *key, const QJsonValue &value);
    void erase(int argument);
    void finishErase();
    void answerPage(bool isRight);
    void reject(const QByteArray &bytes, const char *reason);
    void workFor(int ms, const std::function<void()> &then);
    void finishWork();

    FlashKernelSpec m_spec;
    DspFlash &m_flash;
    EventLog m_log;
    QByteArray m_received;
    std::optional<quint32> m_address; // of the page that is being filled
    QByteArray m_page;
    QTimer m_work;
    std::function<void()> m_then; // what happens at the end of the work
    int m_lost = 0;
};
