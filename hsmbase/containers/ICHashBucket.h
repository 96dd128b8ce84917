#pragma once

#include "hsmbase/containers/ICLinkedList.h"

// One bucket of an ICHashTable: a list with a mutex of its own.
//
//     ICLinkedList & list = *bucket.mf_acquireLinkedList();
//     ...
//     bucket.mf_releaseLinkedList();
//
// Threads: any. The mutex is recursive; one that its thread left behind is taken over as if it had been free. A thread
// may hold several buckets; the order is the users' affair.
class HSMBASE_EXPORT ICHashBucket
{
public:
    // Throws _E_::Synchronization with the system error.
    ICHashBucket();

    // The copy shares mutex and items with its source, so only one of the two may be destroyed.
    ICHashBucket(ICHashBucket const &) = default;
    ICHashBucket & operator=(ICHashBucket const &) = default;

    // The items are left as they are: whoever owns them empties the list before. A mutex that can't be closed leaves a
    // trace line.
    virtual ~ICHashBucket();

    // Waits for the bucket without end, then answers its list. Throws _E_::Synchronization with the system error.
    ICLinkedList * mf_acquireLinkedList();

    // To be called by the thread that holds the bucket. Throws _E_::Synchronization with the system error.
    void mf_releaseLinkedList();

    // The list without the lock: for those who hold it, and for those who are alone.
    ICLinkedList & mf_getLinkedList() { return m_list; }

private:
    void mf_implLock();
    void mf_implUnlock();

    HANDLE m_hMutex; // INVALID_HANDLE_VALUE: could not be created
    ICLinkedList m_list;
};
