#include "hsmbase/events/ICErrnoEvent.h"

#include "hsmbase/failure/ICErrno.h"
#include "hsmbase/logging/ICLog.h"

ICErrnoEvent::ICErrnoEvent(ICEVENT_ID id, ICEventBroadcaster const * broadcaster, ICErrnoData const & data,
                           CString const & message)
    : ICSeverityEvent(id, broadcaster, message), m_errnoData(data)
{
    if (!m_errnoData.mf_isSet()) m_errnoData.mf_setValue(ICErrno::_I_::Ok);
    if (m_errnoData.mf_isAdminLogFlagSet()) {
        // Copying has moved the flag, const or not, and goes back the same way.
        const_cast<ICErrnoData &>(data).mf_setAdminLogFlag(1);
        m_errnoData.mf_setAdminLogFlag(0);
    }
}

int ICErrnoEvent::mf_isInfo() const
{
    return m_errnoData.mf_isInfo();
}
int ICErrnoEvent::mf_isWarning() const
{
    return m_errnoData.mf_isWarning();
}
int ICErrnoEvent::mf_isError() const
{
    return m_errnoData.mf_isError();
}
int ICErrnoEvent::mf_isSevere() const
{
    return m_errnoData.mf_isSevere();
}

CString ICErrnoEvent::mf_toString(CString const & prefix) const
{
    CString text;
    text.Format(L"%s\r\n%sErrno: %s", ICSeverityEvent::mf_toString(prefix).GetString(), ICLog::TAB,
                m_errnoData.mf_toString().GetString());
    return text;
}

ICErrnoData const & ICErrnoEvent::mf_getErrnoData() const
{
    return m_errnoData;
}
