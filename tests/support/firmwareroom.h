#pragma once

#include "labprocess.h"
#include "windowfixture.h"

#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <QVector>

#include <initializer_list>

class QCheckBox;

// The window on its firmware page, with virtual instruments and a firmware file. Instruments are told
// apart by the last number of their address, 192.168.0.x.
class FirmwareRoom
{
public:
    FirmwareRoom();

    static QString macOf(int number);
    // An instrument of a lab's kind; one with a code takes updates as "update" says.
    static QJsonObject instrument(const char *kind, const char *code, int number,
                                  const QJsonObject &update = {});

    // Starts the lab, scans, and shows the page with the firmware file in its first field.
    void openPage(const QVector<QJsonObject> &instruments, const QByteArray &ini = "[scan]\nscanTime=600\n");
    void tick(std::initializer_list<int> numbers) const;
    QCheckBox *boxOf(int number) const;

    // Presses a start button and waits until the page is unlocked again; false if it never is.
    bool press(const char *button) const;
    bool isLocked() const;
    QString log() const;

    // The firmware in an instrument, as the lab has it now.
    QByteArray storedImage(int number);

    LabProcess lab;
    WindowFixture window;
    QString firmware; // path of the file
    QByteArray image; // what it holds
};
