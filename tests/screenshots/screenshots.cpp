// Plays instruments in the virtual lab and saves pictures of the real window. script/screenshots runs it
// on the workstation of the private network, once for each scale.

#include "labwindow.h"
#include "newnetwsettings.h"
#include "pictures.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QDialog>
#include <QDir>
#include <QFileDialog>
#include <QMenu>
#include <QMessageBox>
#include <QProgressBar>
#include <QScreen>
#include <QScrollBar>

#include <algorithm>
#include <cstdlib>

namespace {

// Texts that are too long, run from right to left or hold what could be taken for markup, an instrument
// without a picture, and thousands of others.
QJsonArray extremes()
{
    const auto instrument = [](const char *code, int number, const QString &id, const char *firmware) {
        const QJsonObject texts{{QStringLiteral("ID"), id},
                                {QStringLiteral("BRAND"), QString()},
                                {QStringLiteral("SN"), id},
                                {QStringLiteral("FW"), QLatin1String(firmware)}};
        return labInstrument("json", code, number, {{QStringLiteral("texts"), texts}});
    };
    const QString hebrew = QString::fromUtf8("\u05de\u05d5\u05d3\u05d5\u05dc 7 \u05e9\u05e0\u05d0\u05d9");
    return {
        instrument("1100", 11, QStringLiteral("undulator ").repeated(40), "2.1.04-with-a-very-long-suffix"),
        instrument("1200", 12, hebrew, "1.0.0"),
        instrument("2100", 13, QStringLiteral("<b>bold</b> & <img src=x>"), "<i>1</i>"),
        instrument("7777", 14, QStringLiteral("of no known family"), ""),
        instrument("1900", 15, QString(), ""),
        labInstrument("powerSupply", "1100", 99,
                      {{QStringLiteral("ip"), QStringLiteral("192.168.1.1")},
                       {QStringLiteral("interface"), QStringLiteral("lab0")},
                       {QStringLiteral("count"), 5000}})};
}

} // namespace

// The window and what a user does with it. Whatever cannot be done ends the program.
class Tour : public QObject
{
    Q_OBJECT

public:
    // Pictures are saved as FOLDER/NAME SUFFIX.png.
    Tour(QString folder, QString suffix)
        : m_path(folder + QLatin1String("/%1") + suffix + QLatin1String(".png"))
    {
        qputenv("HOME", "/srv/engineer"); // some pictures show it
        qputenv("XDG_CONFIG_HOME", "/srv/engineer/.config");
        m_fixture.leaveBoxes();
        connect(&m_timer, &QTimer::timeout, this, [this] { takePopup(); });
        m_timer.start(settleMs);
    }

    template <int count>
    void walk(const Picture (&pictures)[count])
    {
        for (const Picture &picture : pictures) {
            const QString name = QString::fromLatin1(picture.name);
            m_popups = 0;
            m_popupName = name;
            m_answer = QString::fromLatin1(picture.answer);
            const QStringList moves =
                QString::fromLatin1(picture.moves).split(QLatin1Char(';'), Qt::SkipEmptyParts);
            for (const QString &move : moves) {
                const QString verb = move.trimmed().section(QLatin1Char(' '), 0, 0);
                const QString argument = move.trimmed().section(QLatin1Char(' '), 1);
                if (!QMetaObject::invokeMethod(this, verb.toLatin1(), Q_ARG(QString, argument))) {
                    qFatal("no such move: %s", qPrintable(move));
                }
                QTest::qWait(0); // what is to be deleted is gone then
            }
            if (picture.answer) {
                waitFor([this] { return m_popups > 0 && !m_taking; }, name);
                continue;
            }
            QWidget *dialog = openDialog();
            take(dialog ? dialog : &*m_fixture, name);
            if (dialog) {
                dialog->close();
                QTest::qWait(0);
            }
        }
    }

public slots:
    void open(const QString &)
    {
        m_fixture.open();
        m_size = m_fixture->size();
    }
    void close(const QString &) { m_fixture->close(); }
    void escape(const QString &) { QTest::keyClick(openDialog(), Qt::Key_Escape); }
    void press(const QString &button) { find<QAbstractButton>(button)->click(); }
    void trigger(const QString &action) { find<QAction>(action)->trigger(); }
    void popUp(const QString &menu) { find<QMenu>(menu)->popup(m_fixture->pos()); }
    void sort(const QString &) { m_fixture.table()->sortByColumn(DeviceTable::IpColumn, Qt::AscendingOrder); }

    void select(const QString &ip)
    {
        DeviceTable *table = m_fixture.table();
        table->setCurrentCell(m_fixture.rowOf(DeviceTable::IpColumn, ip), DeviceTable::IpColumn);
        table->scrollToItem(table->currentItem(), QAbstractItemView::PositionAtCenter);
        QScrollBar *bar = table->verticalScrollBar();
        bar->setValue(bar->value() / table->rowHeight(0) * table->rowHeight(0)); // no row is cut at the top
    }

    // The box in the selected row.
    void tick(const QString &on)
    {
        m_fixture.table()
            ->selectionBox(m_fixture.table()->currentRow())
            ->setChecked(on == QLatin1String("true"));
    }

    // OBJECT.PROPERTY=VALUE
    void set(const QString &assignment)
    {
        const QStringList part = parts(assignment);
        find<QObject>(part[0])->setProperty(part[1].toLatin1(), part[2]);
    }

    // OBJECT.PROPERTY=VALUE: waits until the property holds this text, or a number as large as this.
    void until(const QString &assignment)
    {
        const QStringList part = parts(assignment);
        const auto *object = find<QObject>(part[0]);
        const auto reached = [&part, object] {
            const QVariant value = object->property(part[1].toLatin1());
            return value.type() == QVariant::Int ? value.toInt() >= part[2].toInt()
                                                 : value.toString().contains(part[2]);
        };
        waitFor(reached, assignment);
    }

    void shell(const QString &command)
    {
        if (std::system(command.toUtf8()) != 0) {
            qFatal("failed: %s", qPrintable(command));
        }
    }

    // What the maintenance tool beside the program answers from now on.
    void tool(const QString &answer)
    {
        shell(QStringLiteral(
                  "echo \"#!/bin/sh\necho '%1'\" >maintenancetool.exe && chmod +x maintenancetool.exe")
                  .arg(answer));
    }

    // 1024x700, screen; or as it was opened
    void resize(const QString &size)
    {
        const QRect screen = QGuiApplication::primaryScreen()->geometry();
        const QStringList sides = size.split(QLatin1Char('x'));
        const QSize given(sides.first().toInt(), sides.last().toInt());
        m_fixture->move(screen.topLeft());
        m_fixture->resize(size.isEmpty() ? m_size : given.isEmpty() ? screen.size() : given);
    }

    void focus(const QString &widget)
    {
        QWidget *window = find<QWidget>(widget)->window();
        window->activateWindow(); // a closed dialog does not give the keyboard back without a window manager
        if (!QTest::qWaitForWindowActive(window)) {
            qFatal("the window does not become active, so no focus would be seen");
        }
        find<QWidget>(widget)->setFocus(Qt::TabFocusReason);
    }

    // On the configuration page.
    void typeAddress(const QString &ip)
    {
        find<QTableWidget>(QStringLiteral("tableDeviceConfig"))->item(0, 1)->setText(ip);
    }

    // In the dialog for many instruments.
    void editFirst(const QString &ip)
    {
        QAbstractItemModel *model = find<QTableView>(QStringLiteral("tableNetwSettings"))->model();
        model->setData(model->index(0, 3), ip);
    }
    void chooseFile(const QString &path)
    {
        m_fixture->findChild<NewNetwSettings *>()->setFileChoosers({}, [path] { return path; });
    }

    // A scan, taken at this step of its progress.
    void scanTo(const QString &step)
    {
        QObject once;
        connect(find<QProgressBar>(QStringLiteral("progressBar")), &QProgressBar::valueChanged, &once,
                [this, &step](int value) {
                    if (value == step.toInt()) {
                        take(&*m_fixture, m_popupName);
                        ++m_popups;
                    }
                });
        m_fixture->onScanDevices();
    }

private:
    static constexpr int settleMs = 50; // the style sheet's last polish and the layout it asks for
    static constexpr int patienceMs = 120000;

    static QStringList parts(const QString &assignment)
    {
        const QString place = assignment.section(QLatin1Char('='), 0, 0);
        return {place.section(QLatin1Char('.'), 0, 0), place.section(QLatin1Char('.'), 1),
                assignment.section(QLatin1Char('='), 1)};
    }

    static void waitFor(const std::function<bool()> &reached, const QString &what)
    {
        if (!QTest::qWaitFor(reached, patienceMs)) {
            qFatal("waited in vain for %s", qPrintable(what));
        }
    }

    template <typename Object>
    Object *find(const QString &name)
    {
        auto *found = m_fixture->findChild<Object *>(name);
        if (!found) {
            qFatal("there is no %s", qPrintable(name));
        }
        return found;
    }

    QWidget *openDialog() const
    {
        const QList<QDialog *> all = m_fixture->findChildren<QDialog *>();
        const auto open =
            std::find_if(all.begin(), all.end(), [](const QDialog *one) { return one->isVisible(); });
        return open == all.end() ? nullptr : *open;
    }

    void take(QWidget *widget, const QString &name)
    {
        QTest::qWait(settleMs);
        if (!widget->grab().save(m_path.arg(name))) {
            qFatal("cannot save %s", qPrintable(name));
        }
    }

    void takePopup()
    {
        QWidget *menu = QApplication::activePopupWidget();
        QWidget *popup = menu ? menu : QApplication::activeModalWidget();
        const bool wanted = menu || qobject_cast<QMessageBox *>(popup) || qobject_cast<QFileDialog *>(popup);
        if (!wanted || !popup->isVisible() || m_taking) {
            return;
        }
        m_taking = true;
        ++m_popups;
        take(popup, m_popups == 1 ? m_popupName : QStringLiteral("%1-%2").arg(m_popupName).arg(m_popups));
        m_taking = false;
        const QList<QAbstractButton *> buttons = popup->findChildren<QAbstractButton *>();
        for (QAbstractButton *button : buttons) {
            if (!m_answer.isEmpty() && button->text().remove(QLatin1Char('&')) == m_answer) {
                button->click();
                return;
            }
        }
        QTest::keyClick(popup, Qt::Key_Escape);
    }

    WindowFixture m_fixture;
    QString m_path;
    QSize m_size;
    QString m_popupName;
    QString m_answer;
    QTimer m_timer;
    int m_popups = 0;
    bool m_taking = false;
};

int main(int argc, char *argv[])
{
    if (argc != 4) {
        qFatal("usage: screenshots showcase|extremes FOLDER SUFFIX");
    }
    QCoreApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QCoreApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
    QGuiApplication::setHighDpiScaleFactorRoundingPolicy(Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);
    const QApplication application(argc, argv);
    QDir::setCurrent(QCoreApplication::applicationDirPath());
    const bool hard = qstrcmp(argv[1], "extremes") == 0;
    LabProcess lab;
    if (!lab.start({{QStringLiteral("instruments"), hard ? extremes() : showcase()}})) {
        qFatal("%s", qPrintable(lab.errorText()));
    }
    Tour tour(QString::fromLocal8Bit(argv[2]), QString::fromLocal8Bit(argv[3]));
    if (hard) {
        tour.walk(extremePictures);
    } else {
        tour.walk(showcasePictures);
    }
    return 0;
}

#include "screenshots.moc"
