#pragma once

#include "pacing.h"
#include "pointofnoreturn.h"
#include "xportports.h"

#include <QObject>
#include <QString>

// How one family of instruments is given its firmware: what all families have in common is how they report
// and the pace and the ports that they keep to. Owned by one run of the update worker, on the worker's
// thread, which it blocks.
class UpdateProcedure : public QObject
{
    Q_OBJECT

public:
    UpdateProcedure(PointOfNoReturn &noReturn, const Pacing &pacing, const XPortPorts &ports);

    // The whole update of the instrument at this address. False after signalErrorDetected(). A request to
    // interrupt the thread is honoured up to the point of no return.
    virtual bool program(const QString &host, const QString &filePath) = 0;

signals:
    void signalIncreaseProgressBar();
    void signalErrorDetected(QString errorMessage);
    void signalPrintMessage(QString message);

protected:
    const Pacing &pacing() const { return m_pacing; }
    const XPortPorts &ports() const { return m_ports; }
    PointOfNoReturn &noReturn() { return m_noReturn; }

    void print(const QString &message) { emit signalPrintMessage(message); }
    bool done();                           // true, and says so
    bool fail(const QString &error);       // false, and says why
    bool failBefore(const QString &error); // the same for a step that a request to stop may have ended
    bool passNoReturn();                   // true, or fails because it was asked to stop

private:
    PointOfNoReturn &m_noReturn;
    Pacing m_pacing;
    XPortPorts m_ports;
};
