#include "firmwarememory.h"

#include <algorithm>

QByteArray FirmwareMemory::cellsFromFactory(int size)
{
    // Not FF anywhere, so that writing without erasing shows.
    constexpr int step = 37;
    constexpr int kinds = 255;
    QByteArray cells(size, Qt::Uninitialized);
    for (int i = 0; i < size; ++i) {
        cells[i] = static_cast<char>(static_cast<unsigned char>(i * step % kinds));
    }
    return cells;
}

void FirmwareMemory::touch(int size)
{
    if (m_cells.size() < size) {
        m_cells += cellsFromFactory(size).mid(m_cells.size());
    }
}

bool FirmwareMemory::eraseSector(int sector)
{
    if (sector < 0 || sector >= sectorCount) {
        return false;
    }
    const int start = sector * sectorSize;
    touch(start + sectorSize);
    m_cells.replace(start, sectorSize, QByteArray(sectorSize, '\xff'));
    return true;
}

bool FirmwareMemory::write(int offset, const QByteArray &bytes)
{
    if (offset < 0 || bytes.size() > capacity - offset) {
        return false;
    }
    touch(offset + bytes.size());
    std::transform(bytes.cbegin(), bytes.cend(), m_cells.cbegin() + offset, m_cells.begin() + offset,
                   [](char byte, char cell) { return static_cast<char>(byte & cell); });
    return true;
}

QByteArray FirmwareMemory::image() const
{
    QByteArray image = m_cells.left(m_imageSize);
    if (image.size() < m_imageSize) {
        image += cellsFromFactory(m_imageSize).mid(image.size());
    }
    return image;
}
