#pragma once

#include "imagesender.h"
#include "lineconversation.h"
#include "updateprocedure.h"

#include <QString>

// Loads an image into a power supply over its TCP port 10001. The progress bar moves 95 times over the
// image; a request to stop is honoured until the first byte of it.
//
//   we send          it answers
//   "MST\r\n"        "#MST:..."                        status
//   "MRP\r\n" or     anything without "#NAK"           the DC link; MRG:83 for variant 1
//   "MRG:83\r\n"
//   the image        "$:text\n" as it goes on, then "#ACK" or "#NAK:reason"
//   "MREBOOT\r\n"    nothing
//
// The commands and answers are the instrument's; their order, the framing and the bounds are assumed
// (docs/wire-protocols.md). Whoever knows more corrects this class alone.
class PowerSupplyUpdate : public UpdateProcedure
{
    Q_OBJECT

public:
    // Which register holds the DC link.
    enum class Variant { Standard = 0, Modular = 1 };

    PowerSupplyUpdate(PointOfNoReturn &noReturn, const Pacing &pacing, const XPortPorts &ports,
                      Variant variant);

    bool program(const QString &host, const QString &filePath) override;

private:
    bool prepare(const QString &host);
    bool sendImage(const QByteArray &image);
    ImageSender::Said takeLine(const QByteArray &line);

    Variant m_variant;
    LineConversation m_link;
    QString m_reason; // for a refusal of the image
};
