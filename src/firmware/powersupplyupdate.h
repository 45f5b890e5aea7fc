#pragma once

#include "imagesender.h"
#include "lineconversation.h"
#include "pacing.h"
#include "xportports.h"

#include <QObject>
#include <QString>

// Loads an image into a power supply over its TCP port 10001. Owned by one run of the update worker,
// on the worker's thread.
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
class PowerSupplyUpdate : public QObject
{
    Q_OBJECT

public:
    // Which register holds the DC link.
    enum class Variant { Standard = 0, Modular = 1 };

    explicit PowerSupplyUpdate(QObject *parent = nullptr, const Pacing &pacing = {},
                               const XPortPorts &ports = {});

    // The whole update. False after signalErrorDetected(); a request to interrupt the thread is honoured
    // until the first byte of the image.
    bool program(const QString &host, const QString &filePath, Variant variant);

signals:
    void signalIncreaseProgressBar(); // 95 times over the image
    void signalErrorDetected(QString errorMessage);
    void signalPrintMessage(QString message);

private:
    bool fail(const QString &error);
    bool failBefore(const QString &error);
    bool prepare(const QString &host, Variant variant);
    bool sendImage(const QByteArray &image);
    ImageSender::Said takeLine(const QByteArray &line);

    Pacing m_pacing;
    XPortPorts m_ports;
    LineConversation m_link;
    QString m_reason; // for a refusal of the image
};
