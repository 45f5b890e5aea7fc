#include "dspprogmode.h"

#include "firmwarelog.h"
#include "updatetexts.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QFile>
#include <QThread>

namespace {

constexpr std::array<GpioStep, 4> initialTable{{
    {{0x19, 7, 0, 0, 0, 7, 0, 0, 0}, {0x19, 7, 0, 0, 0}, "Set directions: Output"},
    {{0x1a, 7, 0, 0, 0, 0, 0, 0, 0}, {0x1a, 0, 0, 0, 0}, "Set active levels: Active High"},
    {{0x1b, 7, 0, 0, 0, 0, 0, 0, 0}, {0x1b, 0, 0, 0, 0}, "Set current states: Reset"},
    {{}, {}, ""},
}};

// By dspProgMode::State. A DSP whose pin stays low when the reset ends starts in programming mode.
constexpr std::array<GpioStep, 3> stateSteps{{
    {{0x1b, 7, 0, 0, 0, 7, 0, 0, 0}, {0x1b, 7, 0, 0, 0}, "Set current states: NORMAL"},
    {{0x1b, 7, 0, 0, 0, 5, 0, 0, 0}, {0x1b, 5, 0, 0, 0}, "Set current states: Prog. Communication"},
    {{0x1b, 7, 0, 0, 0, 6, 0, 0, 0}, {0x1b, 6, 0, 0, 0}, "Set current states: Prog. Control"},
}};

// The boot loader echoes this character once it has locked onto the speed of the line.
constexpr char autobaudCharacter = 'a';

// Waits for the boot loader's answers that are shown as progress.
constexpr int shownWaits = 5;

template <std::size_t Size>
QByteArray toBytes(const std::array<quint8, Size> &bytes)
{
    return {reinterpret_cast<const char *>(bytes.data()), static_cast<int>(Size)};
}

} // namespace

dspProgMode::dspProgMode(QObject *parent, Interruption interruption, const Pacing &pacing,
                         const XPortPorts &ports, const QString &bootloader)
    : QObject(parent),
      m_table(initialTable),
      m_interruption(interruption),
      m_pacing(pacing),
      m_ports(ports),
      m_bootloaderPath(bootloader)
{}

QString dspProgMode::defaultBootloader()
{
    return QStringLiteral(":/files/resources/Rovan_Motor_Bootloader.hex");
}

void dspProgMode::setState(int state, const QString &host)
{
    m_address = host;
    if (state >= Normal && state <= ProgramControl) {
        m_table.back() = stateSteps[static_cast<std::size_t>(state)];
    }
    runGpioTable();
}

void dspProgMode::runGpioTable()
{
    step();
    const bool connected =
        waits::forConnection(m_socket, m_address, m_ports.gpio, m_pacing.gpioConnect, m_interruption);
    if (stopped()) {
        return;
    }
    if (!connected) {
        fail(QStringLiteral("ERROR: Connection to port 30704 failed!"));
        return;
    }
    for (const GpioStep &entry : m_table) {
        runStep(entry);
        if (stopped()) {
            return;
        }
    }
    waits::close(m_socket);
}

void dspProgMode::runStep(const GpioStep &entry)
{
    QThread::usleep(static_cast<unsigned long>(m_pacing.gpioStep.count()));
    m_socket.write(toBytes(entry.command));

    // An answer may come in pieces, but all of them within the bound.
    const QDeadlineTimer deadline(m_pacing.gpioAnswer);
    QByteArray answer;
    while (answer.size() < static_cast<int>(entry.answer.size()) &&
           waits::forData(m_socket, waits::milliseconds(deadline.remainingTime()), m_interruption)) {
        answer += m_socket.readAll();
    }
    qCDebug(firmwareLog) << entry.label << answer.toHex(' ');
    if (answer != toBytes(entry.answer) && !waits::interrupted(m_interruption)) {
        emit signalError(QStringLiteral("ERROR: GPIO not configured correctly!"));
    }
    step();
}

void dspProgMode::loadBootloader()
{
    if (!waits::forConnection(m_socket, m_address, m_ports.tunnel, m_pacing.tunnelConnect, m_interruption)) {
        if (!stopped()) {
            fail(updatetexts::connectionFailed());
        }
        return;
    }
    step();
    waits::pause(m_pacing.tunnelSettle, m_interruption);
    step();
    if (stopped()) {
        return;
    }
    const bool locked = autobaud();
    if (stopped()) {
        return;
    }
    if (!locked) {
        fail(QStringLiteral("ERROR: autobaud failed!"));
        return;
    }
    step();

    QFile file(m_bootloaderPath);
    if (!file.open(QIODevice::ReadOnly)) {
        fail(QStringLiteral("ERROR: Bootloader File not found!"));
        return;
    }
    sendBootloader(file.readAll());
    drainAnswers();
    if (!stopped()) {
        waits::close(m_socket);
    }
}

bool dspProgMode::autobaud()
{
    // The module may hand over what the line said before we came; that is no answer.
    waits::stillConnected(m_socket);
    m_socket.readAll();

    m_socket.putChar(autobaudCharacter);
    m_socket.flush();
    waits::forWritten(m_socket, m_pacing.written, m_interruption);
    waits::forData(m_socket, m_pacing.autobaud, m_interruption);
    const QByteArray answer = m_socket.readAll();
    qCDebug(firmwareLog) << "autobaud" << answer.toHex(' ');
    return answer == QByteArray(1, autobaudCharacter);
}

void dspProgMode::sendBootloader(const QByteArray &text)
{
    qCDebug(firmwareLog) << "boot loader," << text.size() << "bytes";
    m_socket.write(text);
    m_socket.flush();
    waits::forWritten(m_socket, m_pacing.written, m_interruption);
    waits::forData(m_socket, m_pacing.bootFirstAnswer, m_interruption);
    step();
}

void dspProgMode::drainAnswers()
{
    const QDeadlineTimer patience(m_pacing.longestAnswer);
    bool more = true;
    for (int wait = 1; more && !patience.hasExpired(); ++wait) {
        more = waits::forData(m_socket, m_pacing.bootAnswer, m_interruption);
        const QByteArray answer = m_socket.readAll(); // not inside the log line, which may not be evaluated
        qCDebug(firmwareLog) << "boot loader >" << answer;
        if (wait <= shownWaits) {
            step();
        }
    }
}

void dspProgMode::step()
{
    emit signalIncreaseProgressBar();
    QCoreApplication::processEvents();
}

// The thread was asked to stop, and nothing has been erased so far.
bool dspProgMode::stopped()
{
    if (!waits::interrupted(m_interruption)) {
        return false;
    }
    fail(updatetexts::timedOut());
    return true;
}

void dspProgMode::fail(const QString &message)
{
    waits::close(m_socket);
    emit signalError(message);
}
