#pragma once

#include "hsmbase/failure/ICErrnoData.h"

// The log that an administrator reads: one line for each failure record that was marked for it. Nobody writes to it by
// text; records do when their last holder ends (see ICErrnoData).
//
// Threads: any.
class HSMBASE_EXPORT ICAdminLog
{
public:
    static int mf_isReady();

    // Without an open log the call returns quietly and the record keeps its flag.
    static void mf_writeMessage(ICErrnoData const & data);
};
