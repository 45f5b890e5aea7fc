#include "updateprocedure.h"

#include "updatetexts.h"
#include "waits.h"

UpdateProcedure::UpdateProcedure(const Pacing &pacing, const XPortPorts &ports)
    : m_pacing(pacing), m_ports(ports)
{}

bool UpdateProcedure::done()
{
    print(QStringLiteral("Done!"));
    return true;
}

bool UpdateProcedure::fail(const QString &error)
{
    emit signalErrorDetected(error);
    return false;
}

bool UpdateProcedure::failBefore(const QString &error)
{
    return fail(waits::interrupted(Interruption::Honoured) ? updatetexts::timedOut() : error);
}
