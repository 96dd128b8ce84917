#include <atomic>
#include <vector>

#include "hsmbase/failure/ICErrnoData.h"
#include "hsmbase/logging/ICLog.h"

// A record that owes a line to the administrator's log takes that log's lock when it ends. Whoever holds that lock may
// trace, and so takes the locks of the trace log: under these, nobody may wait for the former.

namespace
{

SRWLOCK g_lock = SRWLOCK_INIT;
std::vector<ICErrnoData> g_records; // under the lock
std::atomic<bool> g_isAnyKept;      // each trace call asks, without the lock

class ICDeferredLock
{
public:
    ICDeferredLock() { ::AcquireSRWLockExclusive(&g_lock); }
    ICDeferredLock(ICDeferredLock const &) = delete;
    ICDeferredLock & operator=(ICDeferredLock const &) = delete;
    ~ICDeferredLock() { ::ReleaseSRWLockExclusive(&g_lock); }
};

bool f_isHeldHere(CRITICAL_SECTION const & section)
{
    return section.OwningThread == ::ULongToHandle(::GetCurrentThreadId());
}

} // namespace

int ICLog::mf_implHoldsLock()
{
    return m_pThis != nullptr &&
           (f_isHeldHere(m_pThis->ICLogBase::m_csLock) || f_isHeldHere(m_pThis->ICEventBroadcaster::m_csLock));
}

int ICLog::mf_implDefer(ICErrnoData const & data)
{
    if (!mf_implHoldsLock()) return 0;
    ICDeferredLock const lock;
    // The copy takes the debt.
    g_records.push_back(data);
    g_isAnyKept = true;
    return 1;
}

void ICLog::mf_implEndDeferred()
{
    if (!g_isAnyKept.load(std::memory_order_relaxed) || mf_implHoldsLock()) return;
    std::vector<ICErrnoData> records;
    {
        ICDeferredLock const lock;
        records.swap(g_records);
        g_isAnyKept = false;
    }
}
