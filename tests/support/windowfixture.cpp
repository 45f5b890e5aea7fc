#include "windowfixture.h"

#include "updateroom.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QDialog>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

#include <algorithm>
#include <utility>

namespace {

constexpr int boxPollMs = 10;
constexpr int patienceMs = 60000;
constexpr int imageSize = 200000;

} // namespace

WindowFixture::WindowFixture()
{
    QCoreApplication::setOrganizationName("Quorvex"_s);
    QCoreApplication::setApplicationName("DeviceManager"_s);
    qputenv("HOME", home.path().toLocal8Bit());
    qputenv("XDG_CONFIG_HOME", (home.path() + "/config"_s).toLocal8Bit());
    QObject::connect(&boxTimer, &QTimer::timeout, &boxTimer, [this] { noteBox(); });
    boxTimer.start(boxPollMs);
    writeSettings("[scan]\nscanTime=600\n");
    firmware = homePath() + "/image.updt"_s;
    image = updateroom::firmwareFile(firmware, imageSize);
}

WindowFixture::~WindowFixture() = default;

void WindowFixture::writeSettings(const QByteArray &ini) const
{
    const QString folder = home.path() + "/config/Quorvex/DeviceManager"_s;
    QVERIFY(QDir().mkpath(folder));
    QFile file(folder + "/deviceManagerConfig.ini"_s);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(ini), qint64{ini.size()});
}

MainWindow &WindowFixture::open()
{
    window = std::make_unique<MainWindow>();
    window->show();
    window->activateWindow();
    if (!QTest::qWaitForWindowActive(window.get())) {
        qWarning("the window does not become active, so shortcuts will not work");
    }
    return *window;
}

void WindowFixture::press(const char *name) const
{
    if (auto *action = find<QAction>(name)) {
        action->trigger();
    } else {
        find<QAbstractButton>(name)->click();
    }
}

void WindowFixture::type(const char *field, const QString &text) const
{
    find<QLineEdit>(field)->setText(text);
}

int WindowFixture::rowOf(int number) const
{
    const int row = rowOf(DeviceTable::IpColumn, addressOf(number));
    if (row < 0) {
        qFatal("the scan has not found %s", qPrintable(addressOf(number)));
    }
    return row;
}

int WindowFixture::rowOf(int column, const QString &text) const
{
    for (int row = 0; row < table()->rowCount(); ++row) {
        if (table()->item(row, column)->text() == text) {
            return row;
        }
    }
    return -1;
}

void WindowFixture::selectRow(int row) const
{
    table()->setCurrentCell(row, DeviceTable::GroupColumn);
}

QMap<QString, QString> WindowFixture::information() const
{
    const auto *info = find<QTableWidget>("tableInfo");
    QMap<QString, QString> values;
    for (int row = 0; row < info->rowCount(); ++row) {
        values.insert(info->item(row, 0)->text(), info->item(row, 1)->text());
    }
    return values;
}

QString WindowFixture::said() const
{
    return find<QLabel>("labelFooter")->text();
}

QString WindowFixture::log() const
{
    return find<QPlainTextEdit>("plainTextEditFirmware")->toPlainText();
}

QDialog *WindowFixture::openDialog(const char *action, const char *title) const
{
    find<QAction>(action)->trigger();
    const QList<QDialog *> all = window->findChildren<QDialog *>();
    for (QDialog *dialog : all) {
        if (dialog->isVisible() && dialog->windowTitle() == QLatin1String(title)) {
            return dialog;
        }
    }
    return nullptr;
}

bool WindowFixture::scan() const
{
    const QSignalSpy started(find<QAction>("actionNew_Scan"), &QAction::triggered);
    const auto *button = find<QWidget>("scanBtn");
    window->activateWindow(); // a box or a dialog may just have closed
    if (!QTest::qWaitForWindowActive(window.get())) {
        return false;
    }
    QTest::keyClick(window.get(), Qt::Key_Space);
    return !started.isEmpty() && QTest::qWaitFor([button] { return button->isEnabled(); }, patienceMs);
}

void WindowFixture::play(const QJsonArray &instruments)
{
    QVERIFY2(lab.start({{"instruments"_s, instruments}}), qPrintable(lab.errorText()));
}

// A busy machine may not hear everyone within one scan.
void WindowFixture::scanOf(const QJsonArray &instruments)
{
    int count = 0;
    for (const QJsonValue &one : instruments) {
        const bool mute = one["faults"_s].isObject();
        count += mute ? 0 : one["count"_s].toInt(1);
    }
    play(instruments);
    open();
    for (int attempt = 0; attempt < 5 && (attempt == 0 || table()->rowCount() < count); ++attempt) {
        QVERIFY(scan());
    }
    QCOMPARE(table()->rowCount(), count);
}

void WindowFixture::openPage(const QJsonArray &instruments, const QByteArray &ini)
{
    writeSettings(ini);
    scanOf(instruments);
    press("updateBtn");
    type("lineEditFirmware1", firmware);
}

QCheckBox *WindowFixture::boxOf(int number) const
{
    return table()->selectionBox(rowOf(number));
}

void WindowFixture::tick(std::initializer_list<int> numbers) const
{
    for (const int number : numbers) {
        boxOf(number)->setChecked(true);
    }
}

bool WindowFixture::update(const char *button) const
{
    press(button);
    return QTest::qWaitFor([this] { return !isLocked(); }, patienceMs);
}

bool WindowFixture::isLocked() const
{
    return !find<QPushButton>("updateFwBtn")->isEnabled();
}

QByteArray WindowFixture::storedImage(int number)
{
    return updateroom::imageIn(lab, macOf(number));
}

bool WindowFixture::wasCalled(int number) const
{
    const QVector<QJsonObject> calls = lab.events("connected"_s);
    return std::any_of(calls.cbegin(), calls.cend(), [number](const QJsonObject &event) {
        return event.value("mac"_s).toString() == macOf(number);
    });
}

void WindowFixture::answerBoxes(const QString &button, std::function<bool(const QString &text)> when)
{
    answering = std::move(when);
    answer = button;
}

void WindowFixture::noteBox()
{
    auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
    if (!box || !box->isVisible() || (answering && !answering(box->text()))) {
        return;
    }
    SeenBox now{box->windowTitle(), box->text(), {}};
    if (const QPushButton *standing = box->defaultButton()) {
        now.standing = standing->text().remove(QLatin1Char('&'));
    }
    QAbstractButton *chosen = nullptr;
    const QList<QAbstractButton *> buttons = box->buttons();
    for (QAbstractButton *button : buttons) {
        chosen = button->text().remove(QLatin1Char('&')) == answer ? button : chosen;
    }
    seen.append(now);
    if (chosen) {
        chosen->click();
    } else {
        QTest::keyClick(box, Qt::Key_Escape);
    }
}

QJsonArray showcase()
{
    return LabProcess::scenario("showcase.json"_s).value("instruments"_s).toArray();
}
