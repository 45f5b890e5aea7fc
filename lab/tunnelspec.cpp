#include "tunnelspec.h"

#include "jsonreader.h"

#include <QStringList>

#include <algorithm>
#include <array>

namespace {

constexpr int longestDelayMs = 600000;

struct MannerName
{
    const char *name;
    TunnelSpec::Manner manner;
    int delayMs; // when the scenario gives none
};

constexpr std::array<MannerName, 9> manners{{
    {"prompt", TunnelSpec::Prompt, 0},
    {"late", TunnelSpec::Late, 1000},
    {"pieces", TunnelSpec::Pieces, 50},
    {"endless", TunnelSpec::Endless, 5},
    {"megabyte", TunnelSpec::Megabyte, 0},
    {"resetInLine", TunnelSpec::ResetInLine, 0},
    {"silent", TunnelSpec::Silent, 0},
    {"closeAtOnce", TunnelSpec::CloseAtOnce, 0},
    {"refuse", TunnelSpec::Refuse, 0},
}};

MannerName readManner(JsonReader &reader)
{
    const QString key = QStringLiteral("manner");
    const QString name = reader.text(key, QString::fromLatin1(manners[0].name));
    const auto *const known = std::find_if(manners.cbegin(), manners.cend(), [&name](const MannerName &row) {
        return name == QLatin1String(row.name);
    });
    if (known != manners.cend()) {
        return *known;
    }
    QStringList names;
    for (const MannerName &row : manners) {
        names.append(QString::fromLatin1(row.name));
    }
    reader.fail(key, QStringLiteral("one of ") + names.join(QStringLiteral(", ")));
    return manners[0];
}

QMap<QString, QString> readAnswers(JsonReader &reader)
{
    const QString key = QStringLiteral("answers");
    if (!reader.has(key)) {
        return {{QStringLiteral("MVER"), QStringLiteral("#MVER:ROVAN-MOTOR:x:1.07")},
                {QStringLiteral("MRG:22"), QStringLiteral("21Y08W0131")}};
    }
    QMap<QString, QString> answers;
    const QJsonObject object = reader.object(key);
    for (auto answer = object.constBegin(); answer != object.constEnd(); ++answer) {
        if (!answer->isString()) {
            reader.fail(key, QStringLiteral("texts by command"));
        }
        answers.insert(answer.key(), answer->toString());
    }
    return answers;
}

} // namespace

TunnelSpec readTunnelSpec(JsonReader &reader)
{
    TunnelSpec spec;
    spec.behind = reader.text(QStringLiteral("behind"), QStringLiteral("lines"));
    if (spec.behind != QLatin1String("lines")) {
        reader.fail(QStringLiteral("behind"), QStringLiteral("\"lines\""));
    }
    spec.answers = readAnswers(reader);
    const MannerName manner = readManner(reader);
    spec.manner = manner.manner;
    spec.delayMs = reader.number(QStringLiteral("delayMs"), manner.delayMs, 0, longestDelayMs);
    spec.pieceBytes = reader.number(QStringLiteral("pieceBytes"), 3, 1, 4096);
    reader.finish();
    return spec;
}
