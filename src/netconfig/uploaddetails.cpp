#include "uploaddetails.h"

#include <QCoreApplication>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("UploadDetails", text);
}

QString section(const QString &title, const QVector<NetworkConfigurationLine> &lines, int count)
{
    if (count == 0) {
        return {};
    }
    QString text = title + QStringLiteral(": %1\n").arg(count);
    for (const NetworkConfigurationLine &line : lines) {
        text += tr("line %1: %2").arg(QString::number(line.number), line.reason) + QStringLiteral("\n    ");
        text += line.text + QLatin1Char('\n'); // not through arg(): it may hold a %1 of its own
    }
    if (count > lines.size()) {
        text += tr("... and %1 more").arg(count - lines.size()) + QLatin1Char('\n');
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
    QString text = sent == 0   ? tr("Nothing was sent.")
                   : sent == 1 ? tr("1 instrument was sent its settings.")
                               : tr("%1 instruments were sent their settings.").arg(sent);
    if (refused > 0) {
        text += QLatin1Char(' ') + tr("Refused, and not sent: %1. The details say why.").arg(refused);
    } else if (sent == 0) {
        text += QLatin1Char(' ') + tr("No line of the file names an instrument and its settings.");
    }
    return text;
}

QString uploadDetails(const NetworkConfiguration &configuration)
{
    if (!configuration.error.isEmpty()) {
        return configuration.error;
    }
    const QString text =
        section(tr("Lines that were refused"), configuration.refused, configuration.refusedCount) +
        section(tr("Lines that were skipped"), configuration.skipped, configuration.skippedCount);
    return text.trimmed();
}
