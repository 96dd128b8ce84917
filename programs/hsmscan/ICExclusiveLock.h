#pragma once

#include "hsmbase/Types.h"

// Holds a slim lock while the object lives.
class ICExclusiveLock
{
public:
    explicit ICExclusiveLock(SRWLOCK & lock) : m_lock(lock) { ::AcquireSRWLockExclusive(&lock); }
    ICExclusiveLock(ICExclusiveLock const &) = delete;
    ICExclusiveLock & operator=(ICExclusiveLock const &) = delete;
    ~ICExclusiveLock() { ::ReleaseSRWLockExclusive(&m_lock); }

private:
    SRWLOCK & m_lock;
};
