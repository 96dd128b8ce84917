#pragma once

#include "hsmbase/failure/internal/ICHandle.h"

// The owner of one handle of a process, a thread or a token. Closing answers 0 for a failure, which is in the thread's
// last error.
struct KERNEL_HANDLE
{
    using TYPE = HANDLE;
    static TYPE mf_none() { return nullptr; }
    static int mf_close(TYPE handle) { return ::CloseHandle(handle); }
};

using ICKernelHandle = ICHandle<KERNEL_HANDLE>;
