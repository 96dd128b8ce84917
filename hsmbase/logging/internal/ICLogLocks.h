#pragma once

#include "hsmbase/logging/ICLog.h"

// Both locks of the trace log, in their order: for what traces while it holds the lock of the file.
//
//     {
//         ICLogLocks const locks(*m_pThis);
//         ...
//     }
class ICLogLocks
{
public:
    explicit ICLogLocks(ICLog const & log) : m_log(log)
    {
        ::EnterCriticalSection(&m_log.ICEventBroadcaster::m_csLock);
        m_log.mf_implLock();
    }
    ICLogLocks(ICLogLocks const &) = delete;
    ICLogLocks & operator=(ICLogLocks const &) = delete;

    ~ICLogLocks()
    {
        m_log.mf_implUnlock();
        ::LeaveCriticalSection(&m_log.ICEventBroadcaster::m_csLock);
        ICLog::mf_implEndDeferred();
    }

private:
    ICLog const & m_log;
};
