#include "motordriverreader.h"

#include "jsonreader.h"

#include <QStringList>

#include <algorithm>
#include <array>

namespace {

constexpr int longestWaitMs = 600000;
constexpr int many = 10000000;
constexpr int highestRate = 921600;

struct EraseAnswerName
{
    const char *name;
    FlashKernelSpec::EraseAnswer answer;
};

constexpr std::array<EraseAnswerName, 4> eraseAnswers{
    {{"ack", FlashKernelSpec::Ack},
     {"nak", FlashKernelSpec::Nak},
     {"ackWithoutNewline", FlashKernelSpec::AckWithoutNewline},
     {"silent", FlashKernelSpec::Silent}}};

int wait(JsonReader &reader, const char *key, int otherwise)
{
    return reader.number(QString::fromLatin1(key), otherwise, 0, longestWaitMs);
}

int count(JsonReader &reader, const char *key, int otherwise = 0)
{
    return reader.number(QString::fromLatin1(key), otherwise, 0, many);
}

FlashKernelSpec::EraseAnswer readEraseAnswer(JsonReader &reader)
{
    const QString key = QStringLiteral("eraseAnswer");
    const QString name = reader.text(key, QStringLiteral("ack"));
    const auto *const row =
        std::find_if(eraseAnswers.cbegin(), eraseAnswers.cend(),
                     [&name](const EraseAnswerName &known) { return name == QLatin1String(known.name); });
    if (row == eraseAnswers.cend()) {
        reader.fail(key, QStringLiteral("ack, nak, ackWithoutNewline or silent"));
        return FlashKernelSpec::Ack;
    }
    return row->answer;
}

QByteArray readSectors(JsonReader &reader)
{
    const QString key = QStringLiteral("erasedSectors");
    QByteArray sectors = reader.text(key, QStringLiteral("ABCD")).toLatin1();
    if (std::any_of(sectors.cbegin(), sectors.cend(), [](char c) { return c < 'A' || c > 'D'; })) {
        reader.fail(key, QStringLiteral("letters from A to D"));
    }
    return sectors;
}

void readModuleSettings(JsonReader &reader, ModuleSettings &settings)
{
    const QString key = QStringLiteral("baudrate");
    settings.baudrate = quint32(reader.number(key, int(settings.baudrate), 300, highestRate));
    if (!isSetupBaudrate(QByteArray::number(settings.baudrate))) {
        reader.fail(key, QStringLiteral("a rate that the module knows"));
    }
    if (!reader.flag(QStringLiteral("highPerformance"), true)) {
        settings.cpu = ModuleSettings::cpuRegular;
    }
}

void readDsps(JsonReader &reader, DspSpec &dsp)
{
    dsp.kernel.eraseMs = wait(reader, "eraseMs", dsp.kernel.eraseMs);
    dsp.kernel.pageWriteMs = wait(reader, "pageWriteMs", dsp.kernel.pageWriteMs);
    dsp.kernel.erasedSectors = readSectors(reader);
    dsp.blank = reader.flag(QStringLiteral("blank"), dsp.blank);
    dsp.requireBootloaderCode =
        reader.flag(QStringLiteral("requireBootloaderCode"), dsp.requireBootloaderCode);
    const QJsonObject answers = reader.object(QStringLiteral("answers"));
    for (auto answer = answers.constBegin(); answer != answers.constEnd(); ++answer) {
        if (!answer->isString()) {
            reader.fail(QStringLiteral("answers"), QStringLiteral("texts by command"));
        }
        dsp.answers.insert(answer.key(), answer->toString());
    }
}

void readFaultsOf(JsonReader &reader, MotorDriverSpec &spec, DspSpec &dsp)
{
    dsp.autobaud = !reader.flag(QStringLiteral("noAutobaud"), false);
    dsp.kernel.eraseAnswer = readEraseAnswer(reader);
    spec.gpioWrongAnswerAt = count(reader, "gpioWrongAnswerAt");
    spec.cutAfterBytes = count(reader, "cutAfterBytes");
    spec.cutConnection = count(reader, "cutConnection");
    spec.replies = {count(reader, "pieceBytes"), wait(reader, "pieceMs", 20)};
    if (reader.has(QStringLiteral("oldBytes"))) {
        spec.oldBytes = reader.text(QStringLiteral("oldBytes"), {}).toLatin1();
    }
    spec.setup.cutAfterBytes = count(reader, "setupCutAfterBytes");
    spec.setup.bannerPauseMs = wait(reader, "bannerPauseMs", 0);
    spec.setup.hiddenText = reader.text(QStringLiteral("hiddenText"), {}).toLatin1();
    spec.setup.menu.channelPrompts = count(reader, "channelPrompts");
    const int refused = count(reader, "refusedBaudrate");
    if (refused > 0) {
        spec.setup.menu.refusedRates = {quint32(refused)};
    }
    reader.finish();
}

} // namespace

MotorDriverSpec readMotorDriverSpec(JsonReader &reader)
{
    MotorDriverSpec spec;
    DspSpec dsp;
    readModuleSettings(reader, spec.settings);
    readDsps(reader, dsp);
    spec.setup.windowMs = wait(reader, "windowMs", spec.setup.windowMs);
    spec.setup.storeMs = wait(reader, "storeMs", spec.setup.storeMs);
    spec.pacedLine = reader.flag(QStringLiteral("pacedLine"), spec.pacedLine);
    JsonReader faults(reader.object(QStringLiteral("faults")), reader.where() + QStringLiteral(", faults"));
    readFaultsOf(faults, spec, dsp);
    reader.adopt(faults);
    reader.finish();
    spec.dsps = {dsp, dsp};
    return spec;
}
