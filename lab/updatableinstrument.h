#pragma once

#include "firmwarememory.h"
#include "quorvexinstrument.h"
#include "tunnel.h"
#include "updatespec.h"

class UpdateDialogue;

// An instrument that can be talked to, and mostly updated, on its own TCP port 10001 (updatedialogue.h).
// A new image runs from the next time that it comes up, and shows its version from then on.
//
// Command "dumpImage" with path: writes the stored image into a file, even while the instrument is away.
//
// Events: "versionChanged" with from and to, before the "rebooted" of the same restart; "imageDumped"
// with path, bytes and sha256; "listenFailed".
class UpdatableInstrument : public QuorvexInstrument
{
    Q_OBJECT

public:
    UpdatableInstrument(const InstrumentSpec &spec, const Workbench &bench, QObject *parent);

    // "dumpImage" with a path.
    QString carryOut(const QJsonObject &command) override;

protected:
    void cameUp() override;
    void goesDown() override;

private:
    std::unique_ptr<UpdateDialogue> makeDialogue(const InstrumentSpec &spec);
    QString dumpImage(const QString &path) const;
    void runNewFirmware();
    void restart();

    UpdateSpec m_update;
    FirmwareMemory m_memory;
    bool m_hasNew = false;      // an image that does not run yet
    UpdateDialogue *m_dialogue; // the tunnel's
    std::unique_ptr<Tunnel> m_port;
};
