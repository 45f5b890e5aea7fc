#include "appsettings.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLatin1String>
#include <QStandardPaths>

namespace {

struct IntOption
{
    QLatin1String key;
    int fallback;
    unsigned upper; // the setter takes 1 to upper
};

struct BoolOption
{
    QLatin1String key;
};

struct AddressOption
{
    QLatin1String key;
    QLatin1String fallback;
};

constexpr IntOption scanTimeOption{QLatin1String("scan/scanTime"), 200, 99000};
constexpr IntOption updateTimeoutOption{QLatin1String("update/timeout"), 120000, 999000};
constexpr BoolOption manualIpOption{QLatin1String("update/manualIp")};
constexpr BoolOption sendUnicastOption{QLatin1String("scan/sendUnicast")};
constexpr AddressOption startIpOption{QLatin1String("scan/startIp"), QLatin1String("192.168.0.1")};
constexpr AddressOption endIpOption{QLatin1String("scan/endIp"), QLatin1String("192.168.0.254")};
constexpr QLatin1String fwDefaultDirKey("update/fwDefaultDir");
constexpr IntOption threadsOption{QLatin1String("tcp/nThreads"), 10, 50};
constexpr IntOption waitWrittenOption{QLatin1String("tcp/waitWritten"), 1000, 999000};
constexpr IntOption waitReadOption{QLatin1String("tcp/waitRead"), 1000, 999000};
constexpr IntOption waitConnectedOption{QLatin1String("tcp/waitConnected"), 1000, 999000};

// What the program writes is 300 bytes; QSettings needs 2 GB for a file of 60 MB with many keys.
constexpr qint64 largestSaneFile = 1024 * 1024;

// Whether QSettings would survive reading the file. It would wait forever on a pipe, and the serialised
// values that its INI dialect allows end the program when their length field is damaged; the program
// itself never writes one.
bool isReadable(const QString &path)
{
    const QFileInfo info(path);
    if (!info.exists() || info.isDir()) {
        return true; // nothing to read: QSettings then keeps the values in memory
    }
    if (!info.isFile() || info.size() > largestSaneFile) {
        return false;
    }
    QFile file(path);
    file.open(QIODevice::ReadOnly);
    const QByteArray content = file.read(largestSaneFile);
    return !content.contains("@Variant(") && !content.contains("@DateTime(");
}

// A file that cannot be read safely is set aside under another name, and the program starts afresh.
QString settingsPath()
{
    const QString path = QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation) +
                         QStringLiteral("/deviceManagerConfig.ini");
    if (!isReadable(path)) {
        const QString aside = path + QStringLiteral(".unreadable");
        QFile::remove(aside);
        QFile::rename(path, aside);
    }
    return path;
}

void seed(QSettings &store, QLatin1String key, const QVariant &value)
{
    if (!store.contains(key)) {
        store.setValue(key, value);
    }
}

void seed(QSettings &store, const IntOption &option)
{
    seed(store, option.key, option.fallback);
}

void seed(QSettings &store, const BoolOption &option)
{
    seed(store, option.key, false);
}

void seed(QSettings &store, const AddressOption &option)
{
    seed(store, option.key, QString(option.fallback));
}

int read(const QSettings &store, const IntOption &option)
{
    bool converted = false;
    const int value = store.value(option.key).toInt(&converted);
    return converted ? value : option.fallback;
}

bool read(const QSettings &store, const BoolOption &option)
{
    const QVariant value = store.value(option.key);
    return value.canConvert<bool>() && value.toBool();
}

QHostAddress read(const QSettings &store, const AddressOption &option)
{
    QHostAddress address;
    return address.setAddress(store.value(option.key).toString()) ? address : QHostAddress(option.fallback);
}

void write(QSettings &store, const IntOption &option, int value)
{
    // One comparison: zero and the negative numbers wrap to values above every bound.
    const bool accepted = static_cast<unsigned>(value) - 1U <= option.upper - 1U;
    if (accepted && value != read(store, option)) {
        store.setValue(option.key, value);
    }
}

void write(QSettings &store, const BoolOption &option, bool value)
{
    if (value != read(store, option)) {
        store.setValue(option.key, value);
    }
}

void write(QSettings &store, const AddressOption &option, const QHostAddress &address)
{
    if (address.isNull() || address.isBroadcast() || address.isLoopback()) {
        return;
    }
    if (address != read(store, option)) {
        store.setValue(option.key, address.toString());
    }
}

} // namespace

AppSettings::AppSettings() : QSettings(settingsPath(), QSettings::IniFormat)
{
    QDir().mkpath(QFileInfo(fileName()).path());
    seed(*this, scanTimeOption);
    seed(*this, updateTimeoutOption);
    seed(*this, manualIpOption);
    seed(*this, sendUnicastOption);
    seed(*this, startIpOption);
    seed(*this, endIpOption);
    seed(*this, fwDefaultDirKey, QDir::homePath());
    seed(*this, threadsOption);
    seed(*this, waitWrittenOption);
    seed(*this, waitReadOption);
    seed(*this, waitConnectedOption);
}

int AppSettings::scanTime() const
{
    return read(*this, scanTimeOption);
}

int AppSettings::updateTimeout() const
{
    return read(*this, updateTimeoutOption);
}

int AppSettings::tcpThreads() const
{
    return read(*this, threadsOption);
}

int AppSettings::tcpWaitWritten() const
{
    return read(*this, waitWrittenOption);
}

int AppSettings::tcpWaitRead() const
{
    return read(*this, waitReadOption);
}

int AppSettings::tcpWaitConnected() const
{
    return read(*this, waitConnectedOption);
}

bool AppSettings::manualIp() const
{
    return read(*this, manualIpOption);
}

bool AppSettings::sendUnicast() const
{
    return read(*this, sendUnicastOption);
}

QHostAddress AppSettings::startIp() const
{
    return read(*this, startIpOption);
}

QHostAddress AppSettings::endIp() const
{
    return read(*this, endIpOption);
}

QString AppSettings::fwDefaultDir() const
{
    const QString folder = value(fwDefaultDirKey).toString();
    return !folder.isEmpty() && QDir(folder).exists() ? folder : QDir::homePath();
}

void AppSettings::setScanTime(int milliseconds)
{
    write(*this, scanTimeOption, milliseconds);
}

void AppSettings::setUpdateTimeout(int milliseconds)
{
    write(*this, updateTimeoutOption, milliseconds);
}

void AppSettings::setTcpThreads(int threads)
{
    write(*this, threadsOption, threads);
}

void AppSettings::setTcpWaitWritten(int milliseconds)
{
    write(*this, waitWrittenOption, milliseconds);
}

void AppSettings::setTcpWaitRead(int milliseconds)
{
    write(*this, waitReadOption, milliseconds);
}

void AppSettings::setTcpWaitConnected(int milliseconds)
{
    write(*this, waitConnectedOption, milliseconds);
}

void AppSettings::setManualIp(bool on)
{
    write(*this, manualIpOption, on);
}

void AppSettings::setSendUnicast(bool on)
{
    write(*this, sendUnicastOption, on);
}

void AppSettings::setStartIp(const QHostAddress &address)
{
    write(*this, startIpOption, address);
}

void AppSettings::setEndIp(const QHostAddress &address)
{
    write(*this, endIpOption, address);
}

void AppSettings::setFwDefaultDir(const QString &filePath)
{
    const QString folder = QFileInfo(filePath).absolutePath();
    if (!folder.isEmpty() && QDir(folder).exists() && folder != fwDefaultDir()) {
        setValue(fwDefaultDirKey, folder);
    }
}
