#pragma once

#include "moduleservice.h"
#include "motordriver.h"

class EventLog;
class XportModule;

// A motor driver as a service of its module: brings its ports up and down with the module, restarts
// the module when its setup menu was left with new settings, and tells the log what happens.
//
// Command "dumpFlash" with dsp ("communication" or "control") and path: writes the words of the flash
// from 3E8000 on, the high byte of each first. Event "flashDumped" with dsp, path and words.
class MotorDriverService : public ModuleService
{
    Q_OBJECT

public:
    // `module` owns it.
    MotorDriverService(const MotorDriverSpec &spec, XportModule &module, EventLog &log);

    bool start(quint32 address) override;
    void stop() override { m_driver.close(); }
    QJsonObject state() const override;
    QString carryOut(const QJsonObject &command) override;

private:
    void report(const QString &event, const QJsonObject &fields);
    void restart();

    XportModule &m_module;
    EventLog &m_log;
    MotorDriver m_driver;
};
