#include "updatespec.h"

#include "jsonreader.h"

#include <QStringList>

namespace {

constexpr int longestMs = 600000;
constexpr int mostBytes = 0x7FFFFFFF;

// A misspelt step would be a fault that never happens, so a test on it would pass for nothing.
bool isStep(const QString &step)
{
    static const QStringList steps{QStringLiteral("VER"),     QStringLiteral("MVER"),
                                   QStringLiteral("MST"),     QStringLiteral("MRP"),
                                   QStringLiteral("MRG:83"),  QStringLiteral("image"),
                                   QStringLiteral("MREBOOT"), QStringLiteral("EPCSWR")};
    return steps.contains(step) || step.section(QLatin1Char(':'), 0, 0) == QLatin1String("EPCSER");
}

QString readStep(JsonReader &reader, const QString &key)
{
    QString step = reader.text(key, {});
    if (!step.isEmpty() && !isStep(step)) {
        reader.fail(key, QStringLiteral("a step of an update"));
    }
    return step;
}

QMap<QString, QString> readWrongAnswers(JsonReader &reader)
{
    const QString key = QStringLiteral("wrongAt");
    QMap<QString, QString> answers;
    const QJsonObject object = reader.object(key);
    for (auto answer = object.constBegin(); answer != object.constEnd(); ++answer) {
        if (!isStep(answer.key()) || !answer->isString()) {
            reader.fail(key, QStringLiteral("texts by step of an update"));
        }
        answers.insert(answer.key(), answer->toString());
    }
    return answers;
}

} // namespace

UpdateSpec readUpdateSpec(JsonReader &reader)
{
    const QString key = QStringLiteral("update");
    UpdateSpec spec;
    if (!reader.hasObject(key)) {
        spec.enabled = reader.flag(key, true);
        return spec;
    }
    spec.enabled = true;
    JsonReader part(reader.object(key), reader.where() + QStringLiteral(", update"));
    spec.newFirmware = part.text(QStringLiteral("newFirmware"), {});
    spec.newCode = part.text(QStringLiteral("newCode"), {});
    spec.keepsFirmware = part.flag(QStringLiteral("keepsFirmware"), false);
    spec.imageSilenceMs = part.number(QStringLiteral("imageSilenceMs"), spec.imageSilenceMs, 1, longestMs);
    spec.bytesPerSecond = part.number(QStringLiteral("bytesPerSecond"), 0, 0, mostBytes);
    spec.eraseMs = part.number(QStringLiteral("eraseMs"), 0, 0, longestMs);
    spec.storeMs = part.number(QStringLiteral("storeMs"), 0, 0, longestMs);
    spec.progressBytes = part.number(QStringLiteral("progressBytes"), spec.progressBytes, 1, mostBytes);
    spec.nakAt = readStep(part, QStringLiteral("nakAt"));
    spec.nakText = part.text(QStringLiteral("nakText"), {});
    spec.silentAt = readStep(part, QStringLiteral("silentAt"));
    spec.wrongAt = readWrongAnswers(part);
    spec.cutAfterBytes = part.number(QStringLiteral("cutAfterBytes"), 0, 1, mostBytes);
    spec.pieceBytes = part.number(QStringLiteral("pieceBytes"), 0, 1, mostBytes);
    spec.pieceMs = part.number(QStringLiteral("pieceMs"), spec.pieceMs, 0, longestMs);
    part.finish();
    reader.adopt(part);
    return spec;
}
