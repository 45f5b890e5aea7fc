#pragma once

#include "lineconversation.h"
#include "pacing.h"
#include "xportports.h"

#include <QObject>
#include <QString>

// Loads an image into a beamline instrument over its TCP port 10001. Owned by one run of the update
// worker, on the worker's thread.
//
//   we send              it answers
//   "EPCSER:n\r"         a line with "ACK"     for each 64 KiB sector n that the image covers
//   "EPCSWR\r"           a line with "ACK"
//   the image            a line with "ACK"     when it has all of it
//
// The commands are the instrument's; their order, the framing and the bounds are assumed
// (docs/wire-protocols.md). Whoever knows more corrects this class alone.
class BeamlineUpdate : public QObject
{
    Q_OBJECT

public:
    explicit BeamlineUpdate(QObject *parent = nullptr, const Pacing &pacing = {},
                            const XPortPorts &ports = {});

    // The whole update. False after signalErrorDetected(); a request to interrupt the thread is honoured
    // until the first sector is erased.
    bool program(const QString &host, const QString &filePath);

signals:
    void signalIncreaseProgressBar(); // 95 times over the image
    void signalErrorDetected(QString errorMessage);
    void signalPrintMessage(QString message);

private:
    bool fail(const QString &error);
    bool erase(int imageBytes);
    bool isTaken(const QByteArray &command);
    bool write(const QByteArray &image);

    Pacing m_pacing;
    XPortPorts m_ports;
    LineConversation m_link;
};
