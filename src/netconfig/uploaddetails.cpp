#include "uploaddetails.h"

namespace {

QString section(const QString &title, const QVector<NetworkConfigurationLine> &lines, int count)
{
    if (count == 0) {
        return {};
    }
    QString text = title + QStringLiteral(": %1\n").arg(count);
    for (const NetworkConfigurationLine &line : lines) {
        text += QStringLiteral("line %1: %2").arg(QString::number(line.number), line.reason) +
                QStringLiteral("\n    ");
        text += line.text + QLatin1Char('\n'); // not through arg(): it may hold a %1 of its own
    }
    if (count > lines.size()) {
        text += QStringLiteral("... and %1 more").arg(count - lines.size()) + QLatin1Char('\n');
    }
    return text + QLatin1Char('\n');
}

} // namespace

QString uploadSummary(const NetworkConfiguration &configuration)
{
    if (!configuration.error.isEmpty()) {
        return configuration.error;
    }
    const int sent = configuration.sendableRows.size();
    const int refused = configuration.refusedCount;
    QString text = sent == 0   ? QStringLiteral("Nothing was sent.")
                   : sent == 1 ? QStringLiteral("1 instrument was sent its settings.")
                               : QStringLiteral("%1 instruments were sent their settings.").arg(sent);
    if (refused > 0) {
        text +=
            QLatin1Char(' ') + QStringLiteral("Refused, and not sent: %1. The details say why.").arg(refused);
    } else if (sent == 0) {
        text +=
            QLatin1Char(' ') + QStringLiteral("No line of the file names an instrument and its settings.");
    }
    return text;
}

QString uploadDetails(const NetworkConfiguration &configuration)
{
    if (!configuration.error.isEmpty()) {
        return configuration.error;
    }
    const QString text =
        section(QStringLiteral("Lines that were refused"), configuration.refused,
                configuration.refusedCount) +
        section(QStringLiteral("Lines that were skipped"), configuration.skipped, configuration.skippedCount);
    return text.trimmed();
}
