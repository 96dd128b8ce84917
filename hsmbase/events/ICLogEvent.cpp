#include "hsmbase/events/ICLogEvent.h"

#include "hsmbase/logging/ICLogData.h"

ICLogEvent::ICLogEvent(ICEventBroadcaster const * broadcaster, ICLogData const & level, CString const & message)
    : ICSeverityEvent(MISC_LOG, broadcaster, message), m_pLogData(&level)
{}

int ICLogEvent::mf_isInfo() const
{
    return m_pLogData->mf_isInfo();
}
int ICLogEvent::mf_isWarning() const
{
    return m_pLogData->mf_isWarning();
}
int ICLogEvent::mf_isError() const
{
    return m_pLogData->mf_isError();
}
int ICLogEvent::mf_isSevere() const
{
    return m_pLogData->mf_isSevere();
}

CString ICLogEvent::mf_toString(CString const & prefix) const
{
    CString const text = ICSeverityEvent::mf_toString(prefix);
    return prefix.IsEmpty() ? text + L" log-level=" + m_pLogData->mf_toString() : text;
}

ICLogData const & ICLogEvent::mf_getLogLevel() const
{
    return *m_pLogData;
}
