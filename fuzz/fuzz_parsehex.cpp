#include "parsehex.h"

#include <cstdint>
#include <cstdlib>

// Feeds any bytes to the firmware reader as a file. Besides being free of undefined behaviour it must
// agree with the plainest way of cutting a file into lines, a character at a time, and its blocks must
// hold what the records held.

namespace {

// One character at a time, as the rule is told; `readData` works on pieces instead.
unsigned readSlowly(ParseHex &reader, const QByteArray &text)
{
    QByteArray line;
    for (int i = 0; i < text.size(); ++i) {
        if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') {
            continue;
        }
        if (text[i] == '\n') {
            if (reader.parseLine(line.constData(), static_cast<unsigned>(line.size())) ==
                ParseHex::badRecord) {
                return ParseHex::badRecord;
            }
            line.clear();
            continue;
        }
        if (line.size() == ParseHex::maxLineLength) {
            return ParseHex::badRecord;
        }
        line.append(text[i]);
    }
    return ParseHex::accepted;
}

void require(bool holds)
{
    if (!holds) {
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    // Both readers start from the same upper address.
    static const QByteArray upperZero = ":020000040000FA\n";
    const QByteArray text =
        upperZero + QByteArray(reinterpret_cast<const char *>(bytes), static_cast<int>(size));

    ParseHex reader;
    const unsigned result = reader.readData(text);
    ParseHex slow;
    require(readSlowly(slow, text) == result);
    require(slow.records() == reader.records());
    const auto blocks = reader.blocks();
    require(slow.blocks() == blocks);
    require(blocks.first.size() == blocks.second.size() && blocks.first.size() <= reader.records());
    return 0;
}
