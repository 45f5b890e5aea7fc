#include "quorvexinstrument.h"

#include "commandreader.h"
#include "devicecatalogue.h"

#include <QCryptographicHash>
#include <QtEndian>

#include <utility>

namespace {

// "Quorvex Set:", 36 bytes: MAC (12-17), a port (18-19), address, netmask and gateway (20-31), all most
// significant byte first; the DHCP flag (32-35) least significant byte first.
constexpr const char *setDatagram = "Quorvex Set:";
constexpr int setDatagramSize = 36;

quint32 numberAt(const QByteArray &bytes, int offset)
{
    return qFromBigEndian<quint32>(bytes.constData() + offset);
}

} // namespace

QuorvexInstrument::QuorvexInstrument(const InstrumentSpec &spec, const Workbench &bench, QObject *parent)
    : Instrument(spec, bench, bench.discovery, parent), m_texts(spec.texts), m_update(spec.update)
{
    m_apply.setSingleShot(true);
    m_apply.setInterval(spec.applyMs);
    connect(&m_apply, &QTimer::timeout, this, [this] { apply(m_wanted); });
    if (m_update.enabled) {
        makeDialogue();
    }
}

void QuorvexInstrument::makeDialogue()
{
    const QString &code = identity().code;
    if (m_texts.form == InstrumentTexts::Beamline || devicecatalogue::isBeamline(code)) {
        m_dialogue = std::make_unique<BeamlineLoader>(m_update, m_memory, log());
    } else if (m_texts.form == InstrumentTexts::TextBlock || devicecatalogue::isPowerSupply(code)) {
        m_dialogue = std::make_unique<PowerSupplyLoader>(m_update, m_memory, log());
    } else {
        m_dialogue = std::make_unique<UpdateDialogue>(m_update, log());
    }
    connect(m_dialogue.get(), &UpdateDialogue::imageStored, this, [this] { m_hasNew = true; });
    // Queued, because a restart ends the connection on which it was asked for.
    connect(
        m_dialogue.get(), &UpdateDialogue::restartWanted, this,
        [this] {
            if (isUp()) { // else it restarts already
                reboot();
            }
        },
        Qt::QueuedConnection);
}

QString QuorvexInstrument::receive(const Datagram &datagram)
{
    if (datagram.bytes == "Quorvex Dev?") {
        answer(datagram, encodeReply(identity(), m_texts));
        return {};
    }
    if (!datagram.bytes.startsWith(setDatagram)) {
        return QStringLiteral("unknown");
    }
    if (datagram.bytes.size() != setDatagramSize) {
        return QStringLiteral("length");
    }
    if (datagram.bytes.mid(12, 6) != mac()) {
        return QStringLiteral("other MAC");
    }
    if (!isHostAddress(numberAt(datagram.bytes, 20))) {
        return QStringLiteral("address");
    }
    takeSettings(datagram);
    return {};
}

void QuorvexInstrument::takeSettings(const Datagram &datagram)
{
    const QByteArray &bytes = datagram.bytes;
    m_wanted = identity();
    m_wanted.ip = numberAt(bytes, 20);
    m_wanted.netmask = numberAt(bytes, 24);
    m_wanted.gateway = numberAt(bytes, 28);
    m_wanted.dhcp = qFromLittleEndian<quint32>(bytes.constData() + 32) == 1;
    log().report("set", {{"bytes", hexDigits(bytes)},
                         {"via", wayOf(datagram)},
                         {"interface", cable().name},
                         {"port", qFromBigEndian<quint16>(bytes.constData() + 18)},
                         {"ip", addressText(m_wanted.ip)}});
    if (devicecatalogue::is6100(identity().code)) {
        keepForRestart(m_wanted);
    } else {
        m_apply.start();
    }
}

void QuorvexInstrument::cameUp()
{
    if (std::exchange(m_hasNew, false) && !m_update.keepsFirmware) {
        runNewFirmware();
    }
    if (m_dialogue && !m_dialogue->start(identity().ip, m_texts.module, m_texts.firmwareVersion())) {
        log().report("listenFailed", {{"ip", addressText(identity().ip)}});
    }
}

void QuorvexInstrument::goesDown()
{
    if (m_dialogue) {
        m_dialogue->stop();
    }
}

void QuorvexInstrument::runNewFirmware()
{
    const QString before = m_texts.firmwareVersion();
    m_texts.firmware = m_update.newFirmware.isEmpty() ? m_texts.nextFirmware() : m_update.newFirmware;
    if (!m_update.newCode.isEmpty()) {
        setCode(m_update.newCode);
    }
    log().report("versionChanged", {{"from", before}, {"to", m_texts.firmwareVersion()}});
}

QString QuorvexInstrument::carryOut(const QJsonObject &command)
{
    return command.value(QLatin1String("command")) == QLatin1String("dumpImage")
               ? dumpImage(command.value(QLatin1String("path")).toString())
               : Instrument::carryOut(command);
}

QString QuorvexInstrument::dumpImage(const QString &path)
{
    const QByteArray image = m_memory.image();
    QString problem = writeFile(path, image);
    if (problem.isEmpty()) {
        const QByteArray digest = QCryptographicHash::hash(image, QCryptographicHash::Sha256);
        log().report("imageDumped", {{"path", path}, {"bytes", image.size()}, {"sha256", hexDigits(digest)}});
    }
    return problem;
}
