#pragma once

#include "pacing.h"
#include "xportports.h"

#include <QByteArray>
#include <QObject>
#include <QString>

#include <memory>

class ParseHex;
class PointOfNoReturn;
class QTcpSocket;

// Programs the flash of one DSP of a motor driver through the boot loader that runs on it, reached
// through the module's serial tunnel. Owned by the update's programming run; one run at a time, blocking
// the thread it is used from.
//
// A packet is 0C 0E, a command, the number of argument bytes, the arguments and 0E; no checksum, no
// escaping. Commands are 0A set address (32 bits, most significant byte first, in 16-bit words), 0C
// write data (1 to 32 bytes), 0B and 0D end of page when writing and when verifying, 0E erase (sector
// mask). The boot loader's positive answer is "ACK" and a line feed.
class SendFirmware : public QObject
{
    Q_OBJECT

public:
    // `noReturn` is told when the flash is about to be erased; null when nobody asks.
    explicit SendFirmware(QObject *parent = nullptr, const Pacing &pacing = {}, const XPortPorts &ports = {},
                          PointOfNoReturn *noReturn = nullptr);
    ~SendFirmware() override;

    // Reads a file and keeps it for program(). Gives why it cannot be programmed whole; empty when it can.
    // Nothing is sent for this.
    QString prepare(const QString &hexFilePath);

    // How often the progress bar will move, about, while the file that is kept is written.
    int writingSteps() const;

    // The whole run. A file that was prepared is programmed as it was read then, whatever has become of it
    // since; any other is read now. Ends early, with an error, while nothing is erased yet and the thread is
    // asked to stop; from the erase packet on it goes through.
    void program(const QString &hexFilePath, const QString &host);

    // The reply to the erase packet.
    QString eraseFlash(int sectors, QTcpSocket *socket);

    // All blocks of the file that program() has read; closes the socket at the end. With `writeMode`
    // false the flash is compared instead of written.
    void writeMemory(bool writeMode, QTcpSocket *socket);

    // One contiguous block, `address` in words, in pages of 256 words.
    void writeBlock(unsigned address, const QByteArray &data, bool writeMode, QTcpSocket *socket);

    void sendAddress(unsigned address, QTcpSocket *socket);
    void sendData(const QByteArray &data, QTcpSocket *socket);
    void sendEndOfPage(bool writeMode, QTcpSocket *socket);
    void sendErase(int sectors, QTcpSocket *socket);
    void sendPacket(const QByteArray &packet, QTcpSocket *socket);

    // What comes until a wait of waitTenths x 100 ms brings nothing, up to the first zero byte.
    QString readReply(int waitTenths, QTcpSocket *socket);

signals:
    void signalIncreaseProgressBar();
    void signalErrorDetected(QString errorMessage);
    void signalPrintMessage(QString message);

private:
    bool readFile(const QString &path);
    void tellDroppedLines();
    bool openTunnel(const QString &host, QTcpSocket *socket);
    bool sendPageData(const QByteArray &data, int *index, int *packets, QTcpSocket *socket);
    bool endPage(bool delivered, bool writeMode, QTcpSocket *socket);

    std::unique_ptr<ParseHex> m_parser; // a new one for each run
    QString m_prepared;                 // the path of what it holds for the next run
    bool m_connectionLost = false;      // while writing; nothing more can reach the flash
    Pacing m_pacing;
    XPortPorts m_ports;
    PointOfNoReturn *m_noReturn;
};
