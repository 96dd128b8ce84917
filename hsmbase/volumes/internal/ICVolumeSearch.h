#pragma once

#include "hsmbase/failure/internal/ICHandle.h"

// The owner of a walk over the volumes of the machine. Closing answers 0 for a failure, which is in the thread's last
// error.
struct VOLUME_SEARCH
{
    using TYPE = HANDLE;
    static TYPE mf_none() { return INVALID_HANDLE_VALUE; }
    static int mf_close(TYPE search) { return ::FindVolumeClose(search); }
};

using ICVolumeSearch = ICHandle<VOLUME_SEARCH>;
