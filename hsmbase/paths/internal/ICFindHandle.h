#pragma once

#include "hsmbase/failure/internal/ICHandle.h"

// The owner of one search through a directory. Closing answers 0 for a failure, which is in the thread's last error.
struct FIND_HANDLE
{
    using TYPE = HANDLE;
    static TYPE mf_none() { return INVALID_HANDLE_VALUE; }
    static int mf_close(TYPE search) { return ::FindClose(search); }
};

using ICFindHandle = ICHandle<FIND_HANDLE>;
