#pragma once

#include "updatedialogue.h"

class FirmwareMemory;

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
    PowerSupplyLoader(const UpdateSpec &spec, FirmwareMemory &memory, EventLog &log, const QString &mac);

    void clientLeft() override;

protected:
    Reaction obey(const QByteArray &line) override;
    bool takeImage(int offset, const QByteArray &bytes) override;
    QByteArray keepImage() override;

private:
    FirmwareMemory &m_memory;
    QByteArray m_image;
    bool m_askedForStatus = false; // by this client
};
