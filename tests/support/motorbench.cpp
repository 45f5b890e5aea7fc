#include "motorbench.h"

#include "labroom.h"

#include <QFile>
#include <QTest>

#include <utility>

namespace motorbench {

namespace {

constexpr int patienceMs = 10000;

} // namespace

const char mac[] = "00:20:4A:AD:64:70";
const char address[] = "192.168.0.60";

QByteArray image()
{
    return ":0400000001020304F2\n:00000001FF\n";
}

QByteArray lineEnd()
{
    return QByteArray("\n\r\0", 3);
}

QByteArray menuEnd()
{
    return "Your choice ? ";
}

QByteArray zeros(int count)
{
    return QByteArray(count, '\0');
}

QJsonObject driver(const QJsonObject &motor, int restartMs)
{
    QJsonObject instrument = labroom::module(mac, address);
    instrument.insert(QStringLiteral("kind"), QStringLiteral("motorDriver"));
    instrument.insert(QStringLiteral("restartMs"), restartMs);
    instrument.insert(QStringLiteral("motor"), motor);
    return instrument;
}

Client::Client(quint16 port, const char *host)
{
    m_socket.connectToHost(QString::fromLatin1(host), port);
    m_socket.waitForConnected(patienceMs);
}

bool Client::isDropped(int patienceMs)
{
    m_socket.waitForDisconnected(patienceMs);
    return m_socket.state() == QAbstractSocket::UnconnectedState;
}

void Client::send(const QByteArray &bytes)
{
    m_socket.write(bytes);
    while (m_socket.bytesToWrite() > 0 && m_socket.waitForBytesWritten(patienceMs)) {
    }
}

QByteArray Client::until(const QByteArray &end)
{
    while (!m_received.endsWith(end) &&
           (m_socket.bytesAvailable() > 0 || m_socket.waitForReadyRead(patienceMs))) {
        m_received += m_socket.readAll();
    }
    return std::exchange(m_received, {});
}

QByteArray Client::exchange(const QByteArray &bytes, const QByteArray &end)
{
    send(bytes);
    return until(end);
}

QByteArray Client::rest()
{
    return std::exchange(m_received, {}) + m_socket.readAll();
}

Setup::Setup() : Client(setupPort)
{
    until(lineEnd());
    exchange("\r\n", menuEnd());
}

void Setup::typeBaudrate(const QByteArray &rate)
{
    exchange("1\r\n" + rate + "\r\n" + QByteArray("\r\n").repeated(18), menuEnd());
}

bool setBaudrate(const QByteArray &rate)
{
    Setup setup;
    setup.typeBaudrate(rate);
    return setup.exchange("9\r\n", lineEnd()).contains("Parameters stored ...") && setup.isDropped();
}

bool setPins(const char *pins)
{
    using labroom::hex;
    const QByteArray wanted = hex(pins) + zeros(3);
    Client gpio(gpioPort);
    return gpio.exchange(hex("190700000007000000"), zeros(3)) == hex("1907000000") &&
           gpio.exchange(hex("1A0700000000000000"), zeros(4)) == hex("1A00000000") &&
           gpio.exchange(hex("1B0700000000000000"), zeros(4)) == hex("1B00000000") &&
           gpio.exchange(hex("1B07000000") + wanted, zeros(3)) == hex("1B") + wanted;
}

QByteArray pageWords(int page)
{
    QByteArray words;
    for (int i = 0; i < 256; ++i) {
        words.append(static_cast<char>(i)).append(static_cast<char>(page));
    }
    return words;
}

QByteArray erasePacket()
{
    return labroom::hex("0C0E0E010B0E");
}

QByteArray pagePackets(const char *wordAddress, const QByteArray &words)
{
    using labroom::hex;
    QByteArray packets = hex("0C0E0A0400") + hex(wordAddress) + hex("0E");
    for (int i = 0; i < words.size(); i += 32) {
        packets += hex("0C0E0C20") + words.mid(i, 32) + hex("0E");
    }
    return packets + hex("0C0E0B000E");
}

void MotorLab::startDriver(const char *motor, int restartMs)
{
    QJsonObject keys = labroom::object(R"({"eraseMs":0,"pageWriteMs":0,"storeMs":0,"pacedLine":false})");
    const QJsonObject given = labroom::object(motor);
    for (auto key = given.constBegin(); key != given.constEnd(); ++key) {
        keys.insert(key.key(), *key);
    }
    labroom::play(*this, {driver(keys, restartMs)});
}

void MotorLab::order(const char *name, QJsonObject fields)
{
    fields.insert(QStringLiteral("command"), QLatin1String(name));
    fields.insert(QStringLiteral("mac"), QLatin1String(mac));
    command(fields);
}

QByteArray MotorLab::dump(const QString &dsp)
{
    const QString path = m_dumps.filePath(dsp);
    const QString done = QStringLiteral("flashDumped");
    const int before = events(done).size();
    order("dumpFlash", {{QStringLiteral("dsp"), dsp}, {QStringLiteral("path"), path}});
    QByteArray flash;
    if (waitForEvent(done, before + 1)) {
        QFile file(path);
        file.open(QIODevice::ReadOnly);
        flash = file.readAll();
    }
    // Two dumps that failed are equal, and would pass for a flash that nobody touched.
    [&flash] { QCOMPARE(flash.size(), flashBytes); }();
    return flash;
}

} // namespace motorbench
