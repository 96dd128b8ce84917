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

// Opens a file with the platform's CreateFileW, whose numbers these are. After a failure, which is in the thread's last
// error, `file` is not open.
inline bool f_open(ICFileHandle & file, wchar_t const * longPath, ulong access, ulong share, ulong disposition,
                   ulong flags)
{
    *file.mf_receive() = ::CreateFileW(longPath, access, share, nullptr, disposition, flags, nullptr);
    return file.mf_isOpen();
}

// Writes all of a block. A count that is short is a failure, for which the last error may be 0.
inline bool f_write(HANDLE file, void const * bytes, ulong length)
{
    ulong written = 0;
    ::SetLastError(0);
    return ::WriteFile(file, bytes, length, &written, nullptr) && written == length;
}
