#pragma once

#include "hsmbase/Types.h"

// Holds a critical section while the object lives.
//
//     {
//         ICSectionLock const lock(m_lock);
//         m_status |= bits;
//     }
class ICSectionLock
{
public:
    explicit ICSectionLock(CRITICAL_SECTION & section) : m_section(section) { ::EnterCriticalSection(&m_section); }
    ICSectionLock(ICSectionLock const &) = delete;
    ICSectionLock & operator=(ICSectionLock const &) = delete;
    ~ICSectionLock() { ::LeaveCriticalSection(&m_section); }

private:
    CRITICAL_SECTION & m_section;
};
