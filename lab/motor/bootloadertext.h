#pragma once

#include <QByteArray>

// Reads the boot loader image as it comes over a DSP's serial line: Intel HEX text, a character at a
// time. A record is complete with its last digit, so that line ends of any kind and a last line
// without one make no difference. Pure; a Dsp has one while it is being loaded.
class BootloaderText
{
public:
    enum class State {
        Reading,
        Complete, // the end-of-file record has come
        Broken    // something that is no Intel HEX, or a wrong checksum
    };

    State take(char character);

    int dataRecords() const { return m_dataRecords; }

private:
    State endRecord();

    QByteArray m_digits; // of the record that has begun; without the colon
    bool m_inRecord = false;
    int m_dataRecords = 0;
};
