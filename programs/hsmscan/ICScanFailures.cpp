#include "programs/hsmscan/ICScanFailures.h"

#include "programs/hsmscan/ICExclusiveLock.h"

void ICScanFailures::mf_report(ICErrno const & failure, wchar_t const * number, unsigned int textId,
                               CString const & path)
{
    ICErrnoData data = failure.mf_getErrnoData();
    // A message's other texts follow its own.
    ICErrnoData::mf_setMessage(data, number, textId, textId + 1, textId + 2, textId + 3, path.GetString());
    ICErrno const message(data);
    ICExclusiveLock const lock(m_lock);
    m_worst.mf_update(message.mf_getErrnoData());
    m_tell(message);
}

void ICScanFailures::mf_update(ICErrnoNumber const & outcome)
{
    ICExclusiveLock const lock(m_lock);
    m_worst.mf_update(outcome);
}
