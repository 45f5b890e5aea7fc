#pragma once

#include <QByteArray>

// The flash memory that holds an instrument's firmware: sectors of 64 KiB. Erasing makes every byte of
// a sector FF; writing can only clear bits, so bytes written over others become the AND of both. It
// comes from the factory with an image of two sectors, and takes no memory until it is touched.
class FirmwareMemory
{
public:
    static constexpr int sectorSize = 64 * 1024;
    static constexpr int sectorCount = 1024;
    static constexpr int capacity = sectorSize * sectorCount;

    // False for a sector that it does not have.
    bool eraseSector(int sector);

    // Writes from byte `offset` on. False, with nothing written, when not all bytes have room.
    bool write(int offset, const QByteArray &bytes);

    // The image is the first `size` bytes from now on.
    void setImageSize(int size) { m_imageSize = size; }

    QByteArray image() const;

private:
    static QByteArray cellsFromFactory(int size);
    void touch(int size);

    QByteArray m_cells; // those up to the last sector touched
    int m_imageSize = 2 * sectorSize;
};
