#pragma once

#include "hsmbase/failure/internal/ICHandle.h"

// The owner of a walk over the mount points of a volume. Closing answers 0 for a failure, which is in the thread's last
// error.
struct MOUNT_POINT_SEARCH
{
    using TYPE = HANDLE;
    static TYPE mf_none() { return INVALID_HANDLE_VALUE; }
    static int mf_close(TYPE search) { return ::FindVolumeMountPointClose(search); }
};

using ICMountPointSearch = ICHandle<MOUNT_POINT_SEARCH>;
