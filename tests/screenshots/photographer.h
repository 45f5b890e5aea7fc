#pragma once

#include <QObject>
#include <QString>
#include <QTimer>

#include <functional>

class QDialog;
class QWidget;

// Waits with the event loop running; ends the program when it waited in vain.
void waitUntil(const std::function<bool()> &reached);

// Saves pictures of widgets as FOLDER/NAME SUFFIX.png. A message box or file chooser that opens meanwhile is
// taken under the name that was set for it and closed, by Escape unless told otherwise.
class Photographer : public QObject
{
    Q_OBJECT

public:
    Photographer(QString folder, QString suffix);

    void take(QWidget *widget, const QString &name);

    // Does what opens message boxes one after another, now or later; each is saved as name, name-2 and so
    // on, and its button with the text `answer` pressed if it has one.
    void takeBoxes(const QString &name, const std::function<void()> &action, const QString &answer = {});

    // Takes the window that opens by `open`, and closes it; `prepare` may fill it in before.
    void takeDialog(QWidget *parent, const std::function<void()> &open, const QString &name,
                    const std::function<void(QDialog *)> &prepare = {});

private:
    void takeModal();

    QString m_folder;
    QString m_suffix;
    QString m_boxName;
    QString m_answer;
    QTimer m_timer;
    int m_boxes = 0;
    bool m_taking = false;
};
