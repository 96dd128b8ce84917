#pragma once

#include "hsmbase/failure/internal/ICTrace.h"

// What the mutexes of the storage and of its volumes have in common.

// Waits without end. A mutex that its thread left behind counts as taken. After a failure the thread's last error tells
// why.
inline bool f_takeMutex(HANDLE mutex)
{
    ::SetLastError(0);
    ulong const answer = ::WaitForSingleObject(mutex, INFINITE);
    return answer == WAIT_OBJECT_0 || answer == WAIT_ABANDONED;
}

// For destructors: a failure is left in the trace alone. Without a mutex, does nothing.
inline void f_closeMutex(wchar_t const * function, HANDLE & mutex)
{
    if (mutex == nullptr) return;
    HANDLE const closing = mutex;
    mutex = nullptr;
    ::SetLastError(0);
    if (!::CloseHandle(closing)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::CloseHandle);
        ICTrace(function).mf_error(L"Failure closing mutex handle: %s", failure.mf_toString());
    }
}
