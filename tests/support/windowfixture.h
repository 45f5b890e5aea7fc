#pragma once

#include "devicetable.h"
#include "labinstrument.h"
#include "labprocess.h"
#include "mainwindow.h"

#include <QByteArray>
#include <QJsonArray>
#include <QMap>
#include <QString>
#include <QTemporaryDir>
#include <QTimer>
#include <QVector>

#include <functional>
#include <initializer_list>
#include <memory>

class QCheckBox;
class QDialog;

// What a message box said.
struct SeenBox
{
    QString title;
    QString text;
    QString standing; // the default button
};

// The real window in a home folder of its own, so that the settings and the home of the account that runs the
// tests are left alone; the moves by which a user drives it; and virtual instruments on the other end.
class WindowFixture
{
public:
    WindowFixture();
    ~WindowFixture();

    QString homePath() const { return home.path(); }
    // Writes the settings file that the next window reads, as it stands. Without it a scan takes longer
    // than by default, so that a busy machine hears every reply.
    void writeSettings(const QByteArray &ini) const;

    // Makes and shows the window; boxes that open meanwhile are answered as answerBoxes() says.
    MainWindow &open();
    void close() { window.reset(); }
    MainWindow &operator*() const { return *window; }
    MainWindow *operator->() const { return window.get(); }

    template <typename Widget>
    Widget *find(const char *name) const
    {
        return window->findChild<Widget *>(QLatin1String(name));
    }
    // Clicks a button, or triggers an action.
    void press(const char *name) const;
    // A field's text is replaced.
    void type(const char *field, const QString &text) const;
    DeviceTable *table() const { return find<DeviceTable>("tableWidgetDeviceFirstTable"); }
    // The first row with that text in a column, -1 if there is none.
    int rowOf(int column, const QString &text) const;
    void selectRow(int row) const;
    // The row of the instrument with this last number of its address, which is there.
    int rowOf(int number) const;
    // The values of the information page by their captions.
    QMap<QString, QString> information() const;
    QString said() const; // by the footer
    QString log() const;  // of the firmware page

    // Opens a dialog from the menu; nullptr if none of that title is seen then.
    QDialog *openDialog(const char *action, const char *title) const;

    // Presses Space and waits until the scan is over; false if it never is.
    bool scan() const;

    // Starts the lab with these instruments.
    void play(const QJsonArray &instruments);
    // Starts the lab, opens the window and finds all of these.
    void scanOf(const QJsonArray &instruments);
    // The same without those that stay mute; then shows the firmware page with the firmware file.
    void openPage(const QJsonArray &instruments, const QByteArray &ini = "[scan]\nscanTime=600\n");

    QCheckBox *boxOf(int number) const;
    void tick(std::initializer_list<int> numbers) const;
    // Presses a start button and waits until the page is unlocked again; false if it never is.
    bool update(const char *button = "updateFwBtn") const;
    bool isLocked() const;
    // The firmware in an instrument, as the lab has it now.
    QByteArray storedImage(int number);
    bool wasCalled(int number) const; // on TCP

    // From now on each message box is noted and its button with this text pressed; a box without such
    // a button is closed by Escape. One of which `when` is false, or that is left, stays open and is not
    // noted.
    void answerBoxes(const QString &button, std::function<bool(const QString &text)> when = {});
    void leaveBoxes()
    {
        answering = [](const QString &) { return false; };
    }
    const QVector<SeenBox> &boxes() const { return seen; }
    QString lastBox() const { return seen.isEmpty() ? QString() : seen.last().text; }

    LabProcess lab;
    QString firmware; // path of the file
    QByteArray image; // what it holds

private:
    void noteBox();

    QTemporaryDir home;
    std::unique_ptr<MainWindow> window;
    std::function<bool(const QString &text)> answering;
    QString answer = QStringLiteral("OK");
    QVector<SeenBox> seen;
    QTimer boxTimer;
};

// The instruments of that scenario.
QJsonArray showcase();
