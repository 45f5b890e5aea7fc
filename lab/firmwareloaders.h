#pragma once

#include "updatedialogue.h"

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

    QByteArray image();

private:
    void touch(int size);

    QByteArray m_cells; // those up to the last sector touched
    int m_imageSize = 2 * sectorSize;
};

// How a power supply takes firmware:
//   "MST\r\n"                     ->  "#MST:00000000\r\n", its status
//   "MRP\r\n" or "MRG:83\r\n"     ->  "#MRP:48.02 V\r\n" or "#MRG:83:48.02 V\r\n", its DC link
//   the image, if MST came before ->  "$:...\n" now and then, at the end "#ACK\r\n" or "#NAK:...\r\n"
//   "MREBOOT\r\n"                 ->  no answer; it restarts, with the new firmware if it got one
// The image waits in its RAM until it is whole: one that is cut or refused changes nothing.
class PowerSupplyLoader : public UpdateDialogue
{
    Q_OBJECT

public:
    // `memory` outlives it.
    PowerSupplyLoader(const UpdateSpec &spec, FirmwareMemory &memory, const EventLog &log);

protected:
    Reaction obey(const QByteArray &line) override;
    bool takeImage(int offset, const QByteArray &bytes) override;
    QByteArray keepImage() override;
    void clientLeft() override;

private:
    FirmwareMemory &m_memory;
    QByteArray m_image;
    bool m_askedForStatus = false; // by this client
};

// How a beamline instrument takes firmware, straight into its flash:
//   "EPCSER:3\r"  ->  "#ACK\r\n" once the 64 KiB sector 3 is erased
//   "EPCSWR\r"    ->  "#ACK\r\n", then the image from byte 0 on, then "#ACK\r\n" or "#NAK:...\r\n"
// Its lines end with CR; LF after one is skipped, except by the image, whose first byte it would be.
// Nothing is undone: after a failure the flash holds what was erased and written. With a whole image it
// restarts by itself as soon as its client leaves.
//
// Event "sectorErased" with the sector.
class BeamlineLoader : public UpdateDialogue
{
    Q_OBJECT

public:
    // `memory` outlives it.
    BeamlineLoader(const UpdateSpec &spec, FirmwareMemory &memory, const EventLog &log);

protected:
    Reaction obey(const QByteArray &line) override;
    bool isWholeLine(const QByteArray &received) const override { return received.endsWith('\r'); }
    bool takeImage(int offset, const QByteArray &bytes) override;
    QByteArray keepImage() override;
    void clientLeft() override;

private:
    Reaction erase(const QByteArray &number);

    FirmwareMemory &m_memory;
    int m_written = 0;     // of the image that comes
    bool m_stored = false; // a whole one, for this client
};
