#include "hsmbase/threads/ICThreadsData.h"

#include "hsmbase/context/internal/ICSectionLock.h"
#include "hsmbase/threads/ICThreads.h"

ICThreadsData::ICThreadsData(ICThreads const * thread, ulong type, int index)
    : m_pThread(thread), m_type(type), m_index(index), m_state(ICThreads::STATE_NONE), m_pUserData(nullptr)
{
    ::InitializeCriticalSection(&m_csState);
    ::InitializeCriticalSection(&m_csUserData);
}

ICThreadsData::~ICThreadsData()
{
    ::DeleteCriticalSection(&m_csUserData);
    ::DeleteCriticalSection(&m_csState);
}

int ICThreadsData::mf_getState() const
{
    ICSectionLock const lock(m_csState);
    return m_state;
}

void ICThreadsData::mf_setState(int state)
{
    ICSectionLock const lock(m_csState);
    m_state = state;
}

ICErrnoData ICThreadsData::mf_getErrnoData() const
{
    ICSectionLock const lock(m_csState);
    return m_errnoData;
}

void ICThreadsData::mf_setErrnoData(ICErrnoData const & errnoData)
{
    ICSectionLock const lock(m_csState);
    m_errnoData = errnoData;
}

void * ICThreadsData::mf_getUserData() const
{
    ICSectionLock const lock(m_csUserData);
    return m_pUserData;
}

void ICThreadsData::mf_setUserData(void * userData)
{
    ICSectionLock const lock(m_csUserData);
    m_pUserData = userData;
}

int ICThreadsData::mf_setShutdownState(int force)
{
    ICSectionLock const lock(m_csState);
    if (!force && m_state != ICThreads::STATE_RUNNING) return 0;
    m_state = ICThreads::STATE_SHUTDOWN;
    return 1;
}
