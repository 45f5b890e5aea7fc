#pragma once

#include <QByteArray>
#include <QObject>
#include <QPair>
#include <QVector>

#include <atomic>

class QIODevice;

// Reads a DSP firmware image in Intel HEX form into blocks for the flash boot loader. Owned by the
// SendFirmware that programs the image, one for each run.
//
// The DSPs count addresses in 16-bit words while a record counts its data in bytes, so a record of
// 16 bytes is followed by the one whose address is 8 higher. Only data (00), end-of-file (01) and
// extended-linear-address (04) records are taken; any other type makes the whole file unreadable.
// An end-of-file record does not end the reading.
class ParseHex : public QObject
{
    Q_OBJECT

public:
    // Both codes are part of the reader's contract: 1 stops the reading, 2 only drops the line.
    static constexpr unsigned accepted = 0;
    static constexpr unsigned badRecord = 1;
    static constexpr unsigned checksumError = 2;

    // Start addresses in words, and what goes there.
    using Blocks = QPair<QVector<quint32>, QVector<QByteArray>>;

    // Characters of a line, without its end.
    static constexpr int maxLineLength = 128;

    using QObject::QObject;

    // Reads a whole file, replacing what was read before. 0 on success; 1 when the file cannot be
    // opened or read, or at the first bad record or over-long line: what was accepted up to there is
    // kept. A line ends with LF or CR LF. A last line without one is ignored, whatever it holds.
    unsigned readFile(const QString &path);

    // The same from memory.
    unsigned readData(const QByteArray &text);

    // Reads a file in the same way, but leaves the shared upper address as it was until passOn(): to look at
    // a file does not change what a later read gives.
    unsigned readAside(const QString &path);

    // The shared upper address becomes what the file of the last readAside() left.
    void passOn();

    // Takes one line without its end: `accepted` (recorded, or of no consequence), `badRecord` or
    // `checksumError`. Lines of up to 255 characters are understood.
    unsigned parseLine(const char *line, unsigned length);

    // The accepted data as contiguous blocks: start addresses in words, and the bytes that go there.
    // A record at the same address as the one before it is dropped.
    Blocks blocks() const;

    // Data records accepted by the last read, those of no bytes included.
    qint32 records() const { return m_recordCount; }

    // Bytes of all blocks.
    qint64 dataBytes() const;

    // Lines that the last read dropped because of their checksum.
    int droppedLines() const { return m_dropped; }

private:
    unsigned readLines(QIODevice &source);
    unsigned takeLine(const char *line, qint64 length);

    QVector<QByteArray> m_data;   // one array for each data record, in the file's order
    QVector<quint32> m_addresses; // of the records in `m_data`, in words
    qint32 m_recordCount = 0;
    int m_dropped = 0;
    quint32 m_upperAfter = 0; // what readAside() would have left behind

    // Upper half of all addresses until the next type 04 record. One for the whole program and never
    // reset: a file without such a record inherits what the file before it left behind. Only one
    // worker reads at a time; atomic so that reading in turn on different threads is well defined.
    static std::atomic<quint32> s_upperAddress;
};
