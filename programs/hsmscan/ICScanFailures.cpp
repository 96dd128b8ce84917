#include "programs/hsmscan/ICScanFailures.h"

#include "programs/hsmscan/ICExclusiveLock.h"
#include "programs/hsmscan/NumberedMessage.h"

void ICScanFailures::mf_report(ICErrno const & failure, wchar_t const * number, unsigned int textId,
                               CString const & path)
{
    ICErrno const message = f_withMessage(failure, number, textId, path);
    ICExclusiveLock const lock(m_lock);
    m_worst.mf_update(message.mf_getErrnoData());
    m_tell(message);
}

void ICScanFailures::mf_update(ICErrnoNumber const & outcome)
{
    ICExclusiveLock const lock(m_lock);
    m_worst.mf_update(outcome);
}
