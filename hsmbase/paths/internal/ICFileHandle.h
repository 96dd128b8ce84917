#pragma once

#include "hsmbase/failure/internal/ICHandle.h"

// The owner of one open file. Closing answers 0 for a failure, which is in the thread's last error.
struct FILE_HANDLE
{
    using TYPE = HANDLE;
    static TYPE mf_none() { return INVALID_HANDLE_VALUE; }
    static int mf_close(TYPE file) { return ::CloseHandle(file); }
};

using ICFileHandle = ICHandle<FILE_HANDLE>;
