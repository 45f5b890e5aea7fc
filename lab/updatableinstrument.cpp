#include "updatableinstrument.h"

#include "beamlineloader.h"
#include "devicecatalogue.h"
#include "firmwaretexts.h"
#include "powersupplyloader.h"

#include <QCryptographicHash>
#include <QFile>

#include <utility>

UpdatableInstrument::UpdatableInstrument(const InstrumentSpec &spec, const Workbench &bench, QObject *parent)
    : QuorvexInstrument(spec, bench, parent), m_update(spec.update)
{
    std::unique_ptr<UpdateDialogue> dialogue = makeDialogue(spec);
    m_dialogue = dialogue.get();
    connect(m_dialogue, &UpdateDialogue::imageStored, this, [this] { m_hasNew = true; });
    // Queued, because a restart ends the connection on which it was asked for.
    connect(m_dialogue, &UpdateDialogue::restartWanted, this, &UpdatableInstrument::restart,
            Qt::QueuedConnection);
    m_port = std::make_unique<Tunnel>(std::move(dialogue), TunnelSpec::Prompt, bench.log, macName());
}

std::unique_ptr<UpdateDialogue> UpdatableInstrument::makeDialogue(const InstrumentSpec &spec)
{
    const QString &code = spec.identity.code;
    if (std::holds_alternative<BeamlineTexts>(spec.texts) || devicecatalogue::isBeamline(code)) {
        return std::make_unique<BeamlineLoader>(spec.update, m_memory, bench().log, macName());
    }
    if (std::holds_alternative<PowerSupplyTexts>(spec.texts) || devicecatalogue::isPowerSupply(code)) {
        return std::make_unique<PowerSupplyLoader>(spec.update, m_memory, bench().log, macName());
    }
    return std::make_unique<UpdateDialogue>(spec.update, bench().log, macName());
}

void UpdatableInstrument::cameUp()
{
    if (std::exchange(m_hasNew, false) && !m_update.keepsFirmware) {
        runNewFirmware();
    }
    m_dialogue->introduce(moduleName(texts()), firmwareVersion(texts()));
    if (!m_port->start(identity().ip)) {
        report(QStringLiteral("listenFailed"), {{QStringLiteral("ip"), addressText(identity().ip)}});
    }
}

void UpdatableInstrument::goesDown()
{
    m_port->stop();
}

void UpdatableInstrument::runNewFirmware()
{
    const QString before = firmwareVersion(texts());
    const QString next =
        m_update.newFirmware.isEmpty() ? nextFirmware(firmwareOf(texts())) : m_update.newFirmware;
    setTexts(withFirmware(texts(), next));
    if (!m_update.newCode.isEmpty()) {
        setCode(m_update.newCode);
    }
    report(QStringLiteral("versionChanged"),
           {{QStringLiteral("from"), before}, {QStringLiteral("to"), firmwareVersion(texts())}});
}

void UpdatableInstrument::restart()
{
    if (isUp()) { // else it restarts already, or was unplugged
        reboot();
    }
}

QString UpdatableInstrument::carryOut(const QJsonObject &command)
{
    return command.value(QStringLiteral("command")) == QStringLiteral("dumpImage")
               ? dumpImage(command.value(QStringLiteral("path")).toString())
               : QuorvexInstrument::carryOut(command);
}

QString UpdatableInstrument::dumpImage(const QString &path) const
{
    const QByteArray image = m_memory.image();
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(image) != image.size() || !file.flush()) {
        return path + QStringLiteral(": ") + file.errorString();
    }
    const QByteArray digest = QCryptographicHash::hash(image, QCryptographicHash::Sha256).toHex();
    report(QStringLiteral("imageDumped"), {{QStringLiteral("path"), path},
                                           {QStringLiteral("bytes"), image.size()},
                                           {QStringLiteral("sha256"), QString::fromLatin1(digest)}});
    return {};
}
