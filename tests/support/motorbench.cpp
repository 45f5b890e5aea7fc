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

bool Client::isDropped()
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
