#include "parsehex.h"

#include <QBuffer>
#include <QFile>
#include <QFileInfo>

#include <array>
#include <cstring>
#include <numeric>

std::atomic<quint32> ParseHex::s_upperAddress{0};

namespace {

// Where the fields of a decoded record stand.
constexpr unsigned dataStart = 4;
constexpr unsigned overhead = dataStart + 1; // count, offset, type and the checksum behind the data

// A decoding position is an 8-bit quantity: a longer line cannot be walked to its end.
constexpr unsigned longestLine = 255;

enum RecordType : quint8 { DataRecord = 0x00, EndOfFileRecord = 0x01, LinearAddressRecord = 0x04 };

constexpr qint8 digitValue(std::size_t character)
{
    if (character >= '0' && character <= '9') {
        return static_cast<qint8>(character - '0');
    }
    const std::size_t upper = character & ~std::size_t(0x20);
    return upper >= 'A' && upper <= 'F' ? static_cast<qint8>(upper - 'A' + 10) : qint8(-1);
}

constexpr std::array<qint8, 256> makeDigits()
{
    std::array<qint8, 256> values{};
    for (std::size_t i = 0; i < values.size(); ++i) {
        values[i] = digitValue(i);
    }
    return values;
}

constexpr std::array<qint8, 256> digits = makeDigits();

constexpr quint32 signExtended(quint8 byte)
{
    return byte < 0x80 ? byte : byte | 0xffffff00U;
}

int digit(char character)
{
    return digits[static_cast<unsigned char>(character)];
}

// The bytes that a line spells after its colon, two digits each. A lone digit at the end is a byte of
// its own; anything else that is not a digit makes the line undecodable.
struct Record
{
    std::array<quint8, longestLine / 2> bytes;
    unsigned size = 0;
    quint8 sum = 0; // of all bytes, the checksum included: zero when the line is intact

    bool decode(const char *line, unsigned length)
    {
        for (unsigned at = 1; at < length; at += 2) {
            const bool lone = at + 1 == length;
            const int high = lone ? 0 : digit(line[at]);
            const int low = digit(line[lone ? at : at + 1]);
            if (high < 0 || low < 0) {
                return false;
            }
            bytes[size] = static_cast<quint8>(high * 16 + low);
            sum = static_cast<quint8>(sum + bytes[size]);
            ++size;
        }
        return true;
    }

    unsigned count() const { return bytes[0]; }
    quint32 offset() const { return quint32(bytes[1]) << 8 | bytes[2]; }
    quint8 type() const { return bytes[3]; }

    // Each byte counts as signed before it is shifted, so a low byte of 0x80 or more fills the bits
    // above it with ones. The DSPs' images were always read like this.
    quint32 linearAddress() const
    {
        return signExtended(bytes[dataStart]) * 0x1000000U + signExtended(bytes[dataStart + 1]) * 0x10000U;
    }
};

} // namespace

unsigned ParseHex::readFile(const QString &path)
{
    // Without a name, and so never open, where a device could give bytes for ever and a pipe none.
    QFile file(QFileInfo(path).isFile() ? path : QString());
    return readLines(file);
}

unsigned ParseHex::readData(const QByteArray &text)
{
    QBuffer buffer;
    buffer.setData(text);
    return readLines(buffer);
}

unsigned ParseHex::readAside(const QString &path)
{
    const quint32 before = s_upperAddress;
    const unsigned result = readFile(path);
    m_upperAfter = s_upperAddress;
    s_upperAddress = before;
    return result;
}

void ParseHex::passOn()
{
    s_upperAddress = m_upperAfter;
}

qint64 ParseHex::dataBytes() const
{
    const QVector<QByteArray> contents = blocks().second;
    return std::accumulate(contents.begin(), contents.end(), qint64{0},
                           [](qint64 sum, const QByteArray &one) { return sum + one.size(); });
}

// Works on pieces of the file, so that a huge file of something else is refused at its first
// over-long line and never taken into memory.
unsigned ParseHex::readLines(QIODevice &source)
{
    m_data.clear();
    m_addresses.clear();
    m_recordCount = 0;
    m_dropped = 0;
    if (!source.open(QIODevice::ReadOnly)) {
        return badRecord;
    }

    // One more than a line may hold: the CR of a line end whose LF has not been read yet.
    constexpr qint64 longestRest = maxLineLength + 1;
    constexpr qint64 pieceSize = 0x10000;
    std::array<char, pieceSize + longestRest> buffer;
    qint64 rest = 0; // bytes of an unfinished line at the buffer's start

    for (;;) {
        const qint64 got = source.read(buffer.data() + rest, pieceSize);
        if (got <= 0) {
            return got < 0 || rest > maxLineLength ? badRecord : accepted;
        }
        const char *line = buffer.data();
        const char *const end = line + rest + got;
        while (const void *found = std::memchr(line, '\n', static_cast<std::size_t>(end - line))) {
            const char *const newline = static_cast<const char *>(found);
            if (takeLine(line, newline - line) == badRecord) {
                return badRecord;
            }
            line = newline + 1;
        }
        rest = end - line;
        if (rest > longestRest) {
            return badRecord;
        }
        std::memmove(buffer.data(), line, static_cast<std::size_t>(rest));
    }
}

unsigned ParseHex::takeLine(const char *line, qint64 length)
{
    if (length > 0 && line[length - 1] == '\r') {
        --length;
    }
    if (length > maxLineLength) {
        return badRecord;
    }
    const unsigned result = parseLine(line, static_cast<unsigned>(length));
    if (result == checksumError) {
        ++m_dropped;
    }
    return result;
}

unsigned ParseHex::parseLine(const char *line, unsigned length)
{
    if (length <= 9 || length > longestLine || line[0] != ':') {
        return badRecord;
    }
    Record record;
    if (!record.decode(line, length)) {
        return badRecord;
    }
    if (record.sum != 0) {
        return checksumError;
    }
    if (record.count() + overhead > record.size) {
        return badRecord;
    }
    switch (record.type()) {
    case DataRecord:
        m_data.append(QByteArray(reinterpret_cast<const char *>(&record.bytes[dataStart]),
                                 static_cast<int>(record.count())));
        m_addresses.append(record.offset() + s_upperAddress);
        ++m_recordCount;
        return accepted;
    case EndOfFileRecord:
        return accepted;
    case LinearAddressRecord:
        if (record.offset() != 0 || record.count() != 2) {
            return badRecord;
        }
        s_upperAddress = record.linearAddress();
        return accepted;
    default:
        return badRecord;
    }
}

ParseHex::Blocks ParseHex::blocks() const
{
    QVector<quint32> blockAddresses;
    QVector<QByteArray> blockData;
    for (int i = 0; i < m_data.size(); ++i) {
        // The neighbour is the record before, dropped or not, rather than the end of the block.
        if (i > 0 && m_addresses[i] == m_addresses[i - 1]) {
            continue;
        }
        const bool continues =
            i > 0 && m_addresses[i] == m_addresses[i - 1] + static_cast<quint32>(m_data[i - 1].size() / 2);
        if (!continues) {
            blockAddresses.append(m_addresses[i]);
            blockData.append(QByteArray());
        }
        blockData.last().append(m_data[i]);
    }
    return {blockAddresses, blockData};
}
