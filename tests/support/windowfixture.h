#pragma once

#include "devicetable.h"
#include "mainwindow.h"

#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QTimer>
#include <QVector>

#include <memory>

class QDialog;

// What a message box said, and which buttons it offered.
struct SeenBox
{
    QString title;
    QString text;
    QString details;
    QStringList buttons;
    QString standing; // the default button
};

// The real window in a home folder of its own, so that the settings and the home of the account that
// runs the tests are left alone, and the moves by which a user drives it.
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
    DeviceTable *table() const { return find<DeviceTable>("tableWidgetDeviceFirstTable"); }
    // The first row with that text in a column, -1 if there is none.
    int rowOf(int column, const QString &text) const;
    void selectRow(int row) const;
    // The values of the information page by their captions.
    QMap<QString, QString> information() const;

    // Opens a dialog from the menu; nullptr if none of that title is seen then.
    QDialog *openDialog(const char *action, const char *title) const;

    // Presses Space and waits until the scan is over; false if it never is.
    bool scan() const;

    // From now on each message box is noted and its button with this text pressed; a box without such
    // a button is closed by Escape.
    void answerBoxes(const QString &button);
    // From now on boxes stay open, and are not noted.
    void leaveBoxes() { answering = false; }
    const QVector<SeenBox> &boxes() const { return seen; }

private:
    void noteBox();

    QTemporaryDir home;
    std::unique_ptr<MainWindow> window;
    bool answering = true;
    QString answer = QStringLiteral("OK");
    QVector<SeenBox> seen;
    QTimer boxTimer;
};
