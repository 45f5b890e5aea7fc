#pragma once

#include "labprocess.h"

#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <QTcpSocket>

// Short hands for tests that give firmware to an instrument of the lab.
namespace updateroom {

constexpr int waitMs = 10000;
constexpr int sectorSize = 64 * 1024;

// Of the instrument that is updated.
QString address();
QString mac();

constexpr const char *powerSupply =
    R"({"kind":"powerSupply","code":"1100","firmware":"2.1.09","module":"QPS"})";
constexpr const char *picoammeter = R"({"kind":"beamline","code":"2100","firmware":"1203","module":"QB4A"})";

// An instrument at that address, with its "update" key. A pause of a second ends its images, so
// that a sender who is held up does not, and it restarts fast.
QJsonObject instrument(const QByteArray &json, const QByteArray &update = "{}");

// The lab with only this instrument. The test fails when it does not start.
void startLab(LabProcess &lab, const QByteArray &json, const QByteArray &update = "{}");

// Firmware that begins with all that could be taken for a command.
QByteArray firmware(int size);

// The same in a file. The test fails when it cannot be written.
QByteArray firmwareFile(const QString &path, int size);

// Bit by bit, what flash holds when the one is written over the other. Of equal size.
QByteArray andOf(QByteArray one, const QByteArray &other);

// A client of TCP 10001.
class Client : public QTcpSocket
{
public:
    bool connectNow(const QString &to = address());

    // Everything up to and with the next `end`, or what there was when no more came.
    QByteArray readUntil(const QByteArray &end);

    // Sends a command or an image, and reads until CR LF.
    QByteArray ask(const QByteArray &bytes);

private:
    QByteArray m_received;
};

// The lab with only this instrument, and a client connected to it.
struct Bench
{
    explicit Bench(const QByteArray &json, const QByteArray &update = "{}");

    LabProcess lab;
    Client client;
};

// What is stored in an instrument, through the lab's "dumpImage". The test fails when there is nothing.
QByteArray imageIn(LabProcess &lab, const QString &of = mac());

// Code and firmware in the discovery reply, as "1100 2.1.09" or "2100 1203".
QString identityOf(const QString &host = address());

// True when the first "imageStored" and a dump tell of exactly this image.
bool storedIs(LabProcess &lab, const QByteArray &image);

} // namespace updateroom
