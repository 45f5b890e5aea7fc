#include "appsettings.h"

#include "inivalues.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLatin1String>
#include <QStandardPaths>

namespace {

struct IntOption
{
    const char *key;
    int fallback;
    unsigned upper; // the setter takes 1 to upper
};

struct BoolOption
{
    const char *key;
};

struct AddressOption
{
    const char *key;
    const char *fallback;
};

constexpr IntOption scanTimeOption{"scan/scanTime", 200, 99000};
constexpr IntOption updateTimeoutOption{"update/timeout", 120000, 999000};
constexpr BoolOption manualIpOption{"update/manualIp"};
constexpr BoolOption sendUnicastOption{"scan/sendUnicast"};
constexpr AddressOption startIpOption{"scan/startIp", "192.168.0.1"};
constexpr AddressOption endIpOption{"scan/endIp", "192.168.0.254"};
constexpr const char *fwDefaultDirKey = "update/fwDefaultDir";
constexpr IntOption threadsOption{"tcp/nThreads", 10, 50};
constexpr IntOption waitWrittenOption{"tcp/waitWritten", 1000, 999000};
constexpr IntOption waitReadOption{"tcp/waitRead", 1000, 999000};
constexpr IntOption waitConnectedOption{"tcp/waitConnected", 1000, 999000};

// What the program writes is 300 bytes; QSettings needs 2 GB for a file of 60 MB with many keys.
constexpr qint64 largestSaneFile = 1048576;

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
    return !holdsSerialisedValue(file.read(largestSaneFile));
}

// A file that cannot be read safely is set aside under another name, and the program starts afresh.
QString settingsPath()
{
    QString path = AppSettings::defaultPath();
    if (!isReadable(path)) {
        const QString aside = path + QStringLiteral(".unreadable");
        QFile::remove(aside);
        QFile::rename(path, aside);
    }
    return path;
}

void seed(QSettings &store, const char *key, const QVariant &value)
{
    if (!store.contains(QLatin1String(key))) {
        store.setValue(QLatin1String(key), value);
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
    seed(store, option.key, QString::fromLatin1(option.fallback));
}

int read(const QSettings &store, const IntOption &option)
{
    bool converted = false;
    // By way of the text: QVariant cuts a number that is too large to 32 bits and calls that a success.
    const int value = store.value(QLatin1String(option.key)).toString().toInt(&converted);
    return converted ? value : option.fallback;
}

bool read(const QSettings &store, const BoolOption &option)
{
    return store.value(QLatin1String(option.key)).toBool(); // false for what is no boolean
}

QHostAddress read(const QSettings &store, const AddressOption &option)
{
    QHostAddress address;
    return address.setAddress(store.value(QLatin1String(option.key)).toString())
               ? address
               : QHostAddress(QLatin1String(option.fallback));
}

Options readOptions(const QSettings &store)
{
    Options options;
    options.scanTime = read(store, scanTimeOption);
    options.sendUnicast = read(store, sendUnicastOption);
    options.startIp = read(store, startIpOption);
    options.endIp = read(store, endIpOption);
    options.tcpThreads = read(store, threadsOption);
    options.tcpWaitWritten = read(store, waitWrittenOption);
    options.tcpWaitRead = read(store, waitReadOption);
    options.tcpWaitConnected = read(store, waitConnectedOption);
    options.updateTimeout = read(store, updateTimeoutOption);
    return options;
}

void write(QSettings &store, const IntOption &option, int value)
{
    // One comparison: zero and the negative numbers wrap to values above every bound.
    const bool accepted = static_cast<unsigned>(value) - 1U <= option.upper - 1U;
    if (accepted && value != read(store, option)) {
        store.setValue(QLatin1String(option.key), value);
    }
}

void write(QSettings &store, const BoolOption &option, bool value)
{
    if (value != read(store, option)) {
        store.setValue(QLatin1String(option.key), value);
    }
}

void write(QSettings &store, const AddressOption &option, const QHostAddress &address)
{
    if (address.isNull() || address.isBroadcast() || address.isLoopback()) {
        return;
    }
    if (address != read(store, option)) {
        store.setValue(QLatin1String(option.key), address.toString());
    }
}

} // namespace

QString AppSettings::defaultPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation) +
           QStringLiteral("/deviceManagerConfig.ini");
}

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

Options AppSettings::options() const
{
    return readOptions(*this);
}

QString AppSettings::fwDefaultDir() const
{
    const QString folder = value(QLatin1String(fwDefaultDirKey)).toString();
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
        setValue(QLatin1String(fwDefaultDirKey), folder);
    }
}

// QSettings makes folder and lock file only when it has something to write.
Options storedOptions(const QString &path)
{
    return isReadable(path) ? readOptions(QSettings(path, QSettings::IniFormat)) : Options();
}
