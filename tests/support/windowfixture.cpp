#include "windowfixture.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QDialog>
#include <QDir>
#include <QFile>
#include <QMessageBox>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

namespace {

constexpr int boxPollMs = 10;
constexpr int scanPatienceMs = 60000;

} // namespace

WindowFixture::WindowFixture()
{
    QCoreApplication::setOrganizationName(QStringLiteral("Quorvex"));
    QCoreApplication::setApplicationName(QStringLiteral("DeviceManager"));
    qputenv("HOME", home.path().toLocal8Bit());
    qputenv("XDG_CONFIG_HOME", (home.path() + QLatin1String("/config")).toLocal8Bit());
    QObject::connect(&boxTimer, &QTimer::timeout, &boxTimer, [this] { noteBox(); });
    boxTimer.start(boxPollMs);
    writeSettings("[scan]\nscanTime=600\n");
}

WindowFixture::~WindowFixture() = default;

void WindowFixture::writeSettings(const QByteArray &ini) const
{
    const QString folder = home.path() + QLatin1String("/config/Quorvex/DeviceManager");
    QVERIFY(QDir().mkpath(folder));
    QFile file(folder + QLatin1String("/deviceManagerConfig.ini"));
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
    return !started.isEmpty() && QTest::qWaitFor([button] { return button->isEnabled(); }, scanPatienceMs);
}

void WindowFixture::answerBoxes(const QString &button)
{
    answering = true;
    answer = button;
}

void WindowFixture::noteBox()
{
    auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
    if (!box || !box->isVisible() || !answering) {
        return;
    }
    SeenBox now{box->windowTitle(), box->text(), box->detailedText(), {}, {}};
    if (const QPushButton *standing = box->defaultButton()) {
        now.standing = standing->text().remove(QLatin1Char('&'));
    }
    QAbstractButton *chosen = nullptr;
    const QList<QAbstractButton *> buttons = box->buttons();
    for (QAbstractButton *button : buttons) {
        const QString text = button->text().remove(QLatin1Char('&'));
        now.buttons.append(text);
        chosen = text == answer ? button : chosen;
    }
    seen.append(now);
    if (chosen) {
        chosen->click();
    } else {
        QTest::keyClick(box, Qt::Key_Escape);
    }
}
