#pragma once

#include "hsmbase/failure/ICErrnoData.h"

class ICThreads;

// What an ICThreads group knows of one of its threads.
//
// Threads: any. One lock guards state and failure, another the user's data; both are held for a read or a write only.
class HSMBASE_EXPORT ICThreadsData
{
public:
    // `type` is one of the TYPE_ values of ICThreadContext, `index` the thread's number in its group.
    ICThreadsData(ICThreads const * thread, ulong type, int index);

    // Member by member, the locks' bytes included: for a look at a record that nobody changes, and not to be destroyed.
    ICThreadsData(ICThreadsData const &) = default;
    ICThreadsData & operator=(ICThreadsData const &) = default;

    ~ICThreadsData();

    ICThreads const * mf_getThread() const { return m_pThread; }
    ulong mf_getType() const { return m_type; }
    int mf_getIndex() const { return m_index; }

    int mf_getState() const;
    void mf_setState(int state);

    // Why the thread could not start; not set otherwise.
    ICErrnoData mf_getErrnoData() const;
    void mf_setErrnoData(ICErrnoData const & errnoData);

    // Whatever the group's user wants it to be; NULL at first.
    void * mf_getUserData() const;
    void mf_setUserData(void * userData);

    // Asks the thread to end, if it is running, or whatever its state with `force`. Answers whether it did.
    int mf_setShutdownState(int force);

private:
    ICThreads const * m_pThread; // not owned
    ulong m_type;
    int m_index;
    mutable CRITICAL_SECTION m_csState;
    mutable CRITICAL_SECTION m_csUserData;
    int m_state;
    ICErrnoData m_errnoData;
    void * m_pUserData;
};
