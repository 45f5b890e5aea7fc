#pragma once

#include "mainwindow.h"

#include <QString>

class LabProcess;
class Photographer;

class QTableWidget;

// One window and what a user does with it, a picture of each step.
class Tour
{
public:
    explicit Tour(Photographer &photographer);
    ~Tour();

    // Every page, dialog and message box, with the showcase in the lab.
    void visitShowcase();

    // What a maintenance tool beside the program may answer.
    void visitUpdateChecks();

    // What is hard to show well, with the instruments of extremes() in the lab.
    void visitExtremes();

private:
    template <typename Widget>
    Widget *find(const char *name)
    {
        return m_window.findChild<Widget *>(QLatin1String(name));
    }
    void press(const char *button);
    void trigger(const char *action);
    QTableWidget *table();
    void select(const char *ip);
    void waitForDevicePage();

    void setScanTime(double seconds);
    void takeScan();
    void takePages();
    void takeSizes();
    void takeDialogs();
    void takeFileOfSettings();
    void takeMenus();
    void takeBoxes();
    void takeFocus();
    void takeMissing();
    void takeUpdate();
    void takeFailedUpdate();
    void takeEverySize();

    Photographer &m_camera;
    MainWindow m_window;
};

// A scenario with texts that are too long, run from right to left or hold what could be taken for markup,
// an instrument without a picture, and thousands of others.
QJsonObject extremes();
