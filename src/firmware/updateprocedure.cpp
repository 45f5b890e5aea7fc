#include "updateprocedure.h"

#include "updatetexts.h"
#include "waits.h"

UpdateProcedure::UpdateProcedure(PointOfNoReturn &noReturn, const Pacing &pacing, const XPortPorts &ports)
    : m_noReturn(noReturn), m_pacing(pacing), m_ports(ports)
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

bool UpdateProcedure::passNoReturn()
{
    return m_noReturn.pass() || fail(updatetexts::timedOut());
}
