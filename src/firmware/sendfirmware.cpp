#include "sendfirmware.h"

#include "firmwarelog.h"
#include "parsehex.h"
#include "pointofnoreturn.h"
#include "updatetexts.h"
#include "waits.h"

#include <QDeadlineTimer>
#include <QTcpSocket>
#include <QtEndian>

namespace {

// The programmable words, both ends included.
constexpr unsigned firstAddress = 0x3E8000;
constexpr unsigned lastAddress = 0x3F8F00;

constexpr unsigned pageWords = 256;
constexpr int pageBytes = 512;
constexpr int packetBytes = 32;

// Data packets for each step of the progress bar.
constexpr int packetsPerStep = 50;

// The sectors that the boot loader erases for an update, as it numbers them.
constexpr int allSectors = 11;

constexpr int eraseTenths = 200;
constexpr int verifyTenths = 3;

enum Command : char { SetAddress = 0x0A, EndWrite = 0x0B, WriteData = 0x0C, EndVerify = 0x0D, Erase = 0x0E };

QByteArray packet(Command command, const QByteArray &arguments)
{
    return QByteArray("\x0C\x0E") + static_cast<char>(command) + static_cast<char>(arguments.size()) +
           arguments + '\x0E';
}

bool delivers(const QTcpSocket &socket)
{
    return socket.state() == QAbstractSocket::ConnectedState && socket.bytesToWrite() == 0;
}

QString positiveAnswer()
{
    return QStringLiteral("ACK\n");
}

QString unreadableText()
{
    return QStringLiteral("ERROR: Parsing Failed!");
}

QString outsideText()
{
    return QStringLiteral("ERROR: address are outside the programmable address range");
}

bool isProgrammable(unsigned address)
{
    return address >= firstAddress && address <= lastAddress;
}

// Where the whole pages of a block that starts here have left the programmable words behind.
unsigned stopOf(unsigned address)
{
    return address + (lastAddress - address) / pageWords * pageWords + pageWords;
}

bool fits(unsigned address, const QByteArray &data)
{
    return data.isEmpty() ||
           (isProgrammable(address) && data.size() <= 2 * static_cast<int>(stopOf(address) - address));
}

} // namespace

SendFirmware::SendFirmware(QObject *parent, const Pacing &pacing, const XPortPorts &ports,
                           PointOfNoReturn *noReturn)
    : QObject(parent), m_pacing(pacing), m_ports(ports), m_noReturn(noReturn)
{}

SendFirmware::~SendFirmware() = default;

QString SendFirmware::prepare(const QString &hexFilePath)
{
    m_prepared.clear();
    if (!readFile(hexFilePath)) {
        return unreadableText();
    }
    const ParseHex::Blocks blocks = m_parser->blocks();
    for (int i = 0; i < blocks.first.size(); ++i) {
        if (!fits(blocks.first[i], blocks.second[i])) {
            return outsideText();
        }
    }
    m_prepared = hexFilePath;
    return {};
}

int SendFirmware::writingSteps() const
{
    return m_parser ? static_cast<int>(m_parser->dataBytes() / (packetBytes * (packetsPerStep + 1))) : 0;
}

void SendFirmware::program(const QString &hexFilePath, const QString &host)
{
    emit signalIncreaseProgressBar();
    const bool readable = (!m_prepared.isEmpty() && m_prepared == hexFilePath) || readFile(hexFilePath);
    m_prepared.clear();
    emit signalIncreaseProgressBar();
    if (!readable) {
        emit signalErrorDetected(unreadableText());
        return;
    }
    m_parser->passOn();
    tellDroppedLines();
    QTcpSocket socket;
    if (!openTunnel(host, &socket)) {
        return;
    }
    if (m_noReturn != nullptr && !m_noReturn->pass()) {
        emit signalErrorDetected(updatetexts::timedOut());
        return;
    }
    if (eraseFlash(allSectors, &socket) != positiveAnswer()) {
        emit signalErrorDetected(updatetexts::eraseFailed());
        return;
    }
    emit signalPrintMessage(QStringLiteral("Memory erased!"));
    writeMemory(true, &socket);
}

// A file without data would erase the flash and leave it empty, so it counts as unreadable.
bool SendFirmware::readFile(const QString &path)
{
    m_parser = std::make_unique<ParseHex>();
    return m_parser->readAside(path) == ParseHex::accepted && m_parser->dataBytes() > 0;
}

void SendFirmware::tellDroppedLines()
{
    if (m_parser->droppedLines() > 0) {
        emit signalPrintMessage(
            QStringLiteral("WARNING: %1 line(s) of the firmware file have a wrong checksum and are left out")
                .arg(m_parser->droppedLines()));
    }
}

// Connects and gives the serial line time to settle: the last waits that a request to stop may end.
bool SendFirmware::openTunnel(const QString &host, QTcpSocket *socket)
{
    constexpr Interruption rule = Interruption::Honoured;
    const bool connected = waits::forConnection(*socket, host, m_ports.tunnel, m_pacing.tunnelConnect, rule);
    if (connected) {
        waits::pause(m_pacing.tunnelSettle, rule);
    }
    if (waits::interrupted(rule)) {
        emit signalErrorDetected(updatetexts::timedOut());
        return false;
    }
    if (!connected) {
        emit signalErrorDetected(updatetexts::connectionFailed());
    }
    return connected;
}

QString SendFirmware::eraseFlash(int sectors, QTcpSocket *socket)
{
    emit signalIncreaseProgressBar();
    emit signalPrintMessage(QStringLiteral("Send Erase Packet..."));
    sendErase(sectors, socket);
    emit signalPrintMessage(QStringLiteral("Erase Timeout 20s"));
    return readReply(eraseTenths, socket);
}

// A block that does not fit is an error of its own: the blocks after it are still written.
void SendFirmware::writeMemory(bool writeMode, QTcpSocket *socket)
{
    emit signalPrintMessage(QStringLiteral("Write memory..."));
    m_connectionLost = false;
    const auto blocks = m_parser ? m_parser->blocks() : ParseHex::Blocks();
    for (int i = 0; i < blocks.first.size() && !m_connectionLost; ++i) {
        writeBlock(blocks.first[i], blocks.second[i], writeMode, socket);
    }
    if (!m_connectionLost) {
        emit signalPrintMessage(QStringLiteral("Writing completed!"));
    }
    waits::close(*socket);
}

void SendFirmware::writeBlock(unsigned address, const QByteArray &data, bool writeMode, QTcpSocket *socket)
{
    if (data.isEmpty()) {
        return;
    }
    if (!isProgrammable(address)) {
        emit signalErrorDetected(outsideText());
        return;
    }
    const unsigned stopAddress = stopOf(address);
    int packets = 0;
    int index = 0; // into the data; runs on across pages
    for (unsigned page = address;;) {
        sendAddress(page, socket);
        const bool delivered = sendPageData(data, &index, &packets, socket);
        if (!endPage(delivered, writeMode, socket)) {
            return;
        }
        page += pageWords;
        if (index >= data.size()) {
            return;
        }
        if (page == stopAddress) {
            emit signalErrorDetected(outsideText());
            return;
        }
    }
}

// False when a packet could not leave: the page is incomplete, and so would be all after it.
bool SendFirmware::sendPageData(const QByteArray &data, int *index, int *packets, QTcpSocket *socket)
{
    const int end = qMin(*index + pageBytes, data.size());
    while (*index < end) {
        if (*packets > packetsPerStep) {
            emit signalIncreaseProgressBar();
            *packets = 1;
        } else {
            ++*packets;
        }
        const QByteArray part = data.mid(*index, qMin(packetBytes, end - *index));
        sendData(part, socket);
        if (!delivers(*socket)) {
            return false;
        }
        *index += part.size();
    }
    return true;
}

// False when the block must not go on: its page did not verify, or nothing reaches the flash any more.
bool SendFirmware::endPage(bool delivered, bool writeMode, QTcpSocket *socket)
{
    if (delivered) {
        sendEndOfPage(writeMode, socket);
    }
    // The boot loader's word on a written page is taken for granted and never read.
    if (!writeMode && readReply(verifyTenths, socket) != positiveAnswer()) {
        emit signalErrorDetected(QStringLiteral("ERROR: verify failed!"));
        return false;
    }
    if (delivered) {
        waits::pause(m_pacing.page, Interruption::Ignored);
    }
    if (writeMode && !(waits::stillConnected(*socket) && delivers(*socket) && delivered)) {
        m_connectionLost = true;
        emit signalErrorDetected(updatetexts::writingFailed());
        return false;
    }
    return true;
}

void SendFirmware::sendAddress(unsigned address, QTcpSocket *socket)
{
    QByteArray argument(4, '\0');
    qToBigEndian(static_cast<quint32>(address), argument.data());
    sendPacket(packet(SetAddress, argument), socket);
}

void SendFirmware::sendData(const QByteArray &data, QTcpSocket *socket)
{
    sendPacket(packet(WriteData, data), socket);
}

void SendFirmware::sendEndOfPage(bool writeMode, QTcpSocket *socket)
{
    sendPacket(packet(writeMode ? EndWrite : EndVerify, QByteArray()), socket);
}

void SendFirmware::sendErase(int sectors, QTcpSocket *socket)
{
    sendPacket(packet(Erase, QByteArray(1, static_cast<char>(sectors))), socket);
}

// A wait that ends without all bytes gone is not looked at here; the end of the page tells.
void SendFirmware::sendPacket(const QByteArray &bytes, QTcpSocket *socket)
{
    if (socket->state() != QAbstractSocket::ConnectedState) {
        return;
    }
    qCDebug(firmwareLog) << "tunnel <" << bytes.toHex(' ');
    socket->write(bytes);
    socket->flush();
    waits::forWritten(*socket, m_pacing.written, Interruption::Ignored);
}

// The order of waits and reads is what the boot loaders in the field are used to: what arrives during
// the first wait is taken only when more follows, else it stays for the next reply. So an erase that
// is answered within that first second counts as not answered.
QString SendFirmware::readReply(int waitTenths, QTcpSocket *socket)
{
    constexpr Interruption rule = Interruption::Ignored;
    const QDeadlineTimer patience(m_pacing.longestAnswer);
    QByteArray buffer;
    waits::forNewData(*socket, m_pacing.replyFirst, rule);
    while (!patience.hasExpired() && waits::forNewData(*socket, waitTenths * m_pacing.replyTenth, rule)) {
        buffer += socket->readAll();
    }
    qCDebug(firmwareLog) << "tunnel >" << buffer;
    return QString::fromUtf8(buffer.constData());
}
