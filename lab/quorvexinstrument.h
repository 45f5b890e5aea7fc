#pragma once

#include "firmwareloaders.h"
#include "instrument.h"

#include <QTimer>

#include <memory>

// An instrument with the maker's own network interface, on UDP 30719. It answers "Quorvex Dev?" with
// what its kind tells of itself, and takes new network settings from a "Quorvex Set:" datagram with
// its MAC address, which live applyMs later. A 6100 keeps them until it is restarted. Most can be talked
// to, and updated, on their own TCP port 10001 (updatedialogue.h): a new image runs, and shows its
// version, from the next time that the instrument comes up.
//
// Command "dumpImage" with path: writes the stored image into a file, even while the instrument is away.
//
// Events: "set" with all bytes, via ("broadcast", "unicast"), the interface and the port field;
// "versionChanged" with from and to, before the "rebooted" of the same restart; "imageDumped" with path,
// bytes and sha256; "listenFailed".
class QuorvexInstrument : public Instrument
{
    Q_OBJECT

public:
    QuorvexInstrument(const InstrumentSpec &spec, const Workbench &bench, QObject *parent);

    QString receive(const Datagram &datagram) override;
    QString carryOut(const QJsonObject &command) override;

protected:
    void cameUp() override;
    void goesDown() override;

private:
    void makeDialogue();
    void takeSettings(const Datagram &datagram);
    void runNewFirmware();
    QString dumpImage(const QString &path);

    InstrumentTexts m_texts;
    UpdateSpec m_update;
    NetworkIdentity m_wanted;
    QTimer m_apply;
    FirmwareMemory m_memory;
    bool m_hasNew = false;                      // an image that does not run yet
    std::unique_ptr<UpdateDialogue> m_dialogue; // nothing when nobody listens
};
