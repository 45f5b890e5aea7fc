#include "networkconfigurationfile.h"

#include "macaddress.h"
#include "networksettingsrow.h"

#include <QFile>
#include <QFileInfo>
#include <QTextCodec>

namespace {

constexpr int longestListedText = 120; // characters of a line that are repeated to the user

const char *const preamble =
    "[Quorvex]\n"
    "[Device Manager - Network Configurations]\n"
    "\n"
    "** You can edit this file to change the network configurations of the devices in the list **\n"
    "\n";

// There is no comma between the last two titles. Programs that compare this line know it so; readers
// go by the device lines.
const char *const titles = "Key,Family,Serial Number,MAC Address,IP Address,Subnet MaskGateway\n";

// The fields of a line, of which a row takes the ones behind the code.
constexpr DeviceField lineFields[] = {Code, Family, Sn, Mac, Ip, Netmask, Gateway};
constexpr int lineFieldCount = sizeof lineFields / sizeof lineFields[0];
constexpr int macField = 3;
static_assert(lineFieldCount == networkrow::rowLength + 1, "a row is a line without its code");

NetworkConfiguration notAConfiguration(const QString &reason)
{
    NetworkConfiguration configuration;
    configuration.error = reason;
    return configuration;
}

bool isHeading(const QString &line)
{
    const QByteArray heading = QByteArray(preamble) + titles;
    return heading.split('\n').contains(line.toUtf8());
}

QString skipReason(const QString &line, const QStringList &fields)
{
    if (isHeading(line)) {
        return QStringLiteral("heading of the file");
    }
    return fields.size() < lineFieldCount ? QStringLiteral("fewer than seven fields between commas")
                                          : QStringLiteral("the fourth field is not a MAC address");
}

NetworkConfigurationLine quote(int number, const QString &line, const QString &reason)
{
    return {number, line.left(longestListedText), reason};
}

void takeLine(NetworkConfiguration &configuration, int number, const QString &line)
{
    const QStringList fields = line.split(QLatin1Char(','));
    if (fields.size() < lineFieldCount || macBytes(fields.at(macField)).isEmpty()) {
        if (configuration.skippedCount++ < NetworkConfiguration::mostListedLines) {
            configuration.skipped.append(quote(number, line, skipReason(line, fields)));
        }
        return;
    }
    const QStringList row = fields.mid(1, networkrow::rowLength);
    configuration.rows.append(row);
    const QString problem = networkrow::rowProblem(row);
    if (problem.isEmpty()) {
        configuration.sendableRows.append(row);
    } else if (configuration.refusedCount++ < NetworkConfiguration::mostListedLines) {
        configuration.refused.append(quote(number, line, problem));
    }
}

QString withoutTrailingBlanks(const QStringRef &line)
{
    int length = line.size();
    while (length > 0 && line.at(length - 1).isSpace()) {
        --length;
    }
    return line.left(length).toString();
}

} // namespace

NetworkConfiguration parseNetworkConfiguration(const QByteArray &text)
{
    if (text.size() > NetworkConfiguration::largestFile) {
        return notAConfiguration(QStringLiteral("The file is larger than 16 MiB."));
    }
    QTextCodec::ConverterState state; // it also drops a byte-order mark
    const QString decoded =
        QTextCodec::codecForName("UTF-8")->toUnicode(text.constData(), text.size(), &state);
    if (text.contains('\0') || state.invalidChars > 0 || state.remainingChars > 0) {
        return notAConfiguration(QStringLiteral("The file is not UTF-8 text."));
    }

    NetworkConfiguration configuration;
    int start = 0;
    for (int number = 1; start < decoded.size(); ++number) {
        const int lineBreak = decoded.indexOf(QLatin1Char('\n'), start);
        const int end = lineBreak < 0 ? decoded.size() : lineBreak;
        const QString line = withoutTrailingBlanks(decoded.midRef(start, end - start));
        if (!line.isEmpty()) {
            takeLine(configuration, number, line);
        }
        start = end + 1;
    }
    return configuration;
}

NetworkConfiguration readNetworkConfiguration(const QString &path)
{
    // Opening a pipe would wait for somebody who writes into it.
    if (!QFileInfo(path).isFile()) {
        return notAConfiguration(QStringLiteral("There is no such file."));
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return notAConfiguration(QStringLiteral("The file cannot be opened: %1.").arg(file.errorString()));
    }
    const QByteArray text = file.read(NetworkConfiguration::largestFile + 1);
    if (file.error() != QFileDevice::NoError) {
        return notAConfiguration(QStringLiteral("The file cannot be read: %1.").arg(file.errorString()));
    }
    return parseNetworkConfiguration(text);
}

QByteArray networkConfigurationText(const QList<Device_t> &devices)
{
    QString lines;
    for (const Device_t &device : devices) {
        QStringList fields;
        for (const DeviceField field : lineFields) {
            QString text = device[field];
            for (const char breaking : {'\n', '\r', '\0'}) {
                text.replace(QLatin1Char(breaking), QLatin1Char(' '));
            }
            fields.append(text);
        }
        lines += fields.join(QLatin1Char(',')) + QLatin1Char('\n');
    }
    return QByteArray(preamble) + titles + lines.toUtf8();
}
