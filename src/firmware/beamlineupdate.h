#pragma once

#include "lineconversation.h"
#include "updateprocedure.h"

// Loads an image into a beamline instrument over its TCP port 10001. The progress bar moves 95 times over
// the image; a request to stop is honoured until the first sector is erased.
//
//   we send              it answers
//   "EPCSER:n\r"         a line with "ACK"     for each 64 KiB sector n that the image covers
//   "EPCSWR\r"           a line with "ACK"
//   the image            a line with "ACK"     when it has all of it
//
// The commands are the instrument's; their order, the framing and the bounds are assumed
// (docs/wire-protocols.md). Whoever knows more corrects this class alone.
class BeamlineUpdate : public UpdateProcedure
{
    Q_OBJECT

public:
    BeamlineUpdate(PointOfNoReturn &noReturn, const Pacing &pacing, const XPortPorts &ports);

    bool program(const QString &host, const QString &filePath) override;

private:
    bool erase(int imageBytes);
    bool isTaken(const QByteArray &command);
    bool write(const QByteArray &image);

    LineConversation m_link;
};
