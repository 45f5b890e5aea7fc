#pragma once

#include "updatedialogue.h"

class FirmwareMemory;

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
    BeamlineLoader(const UpdateSpec &spec, FirmwareMemory &memory, EventLog &log, const QString &mac);

    void clientLeft() override;

protected:
    Reaction obey(const QByteArray &line) override;
    bool isWholeLine(const QByteArray &received) const override;
    bool takeImage(int offset, const QByteArray &bytes) override;
    QByteArray keepImage() override;

private:
    Reaction erase(const QByteArray &number);

    FirmwareMemory &m_memory;
    int m_written = 0;     // of the image that comes
    bool m_stored = false; // a whole one, for this client
};
