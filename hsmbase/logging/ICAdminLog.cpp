#include "hsmbase/logging/ICAdminLog.h"

// There is no log object yet: a marked record keeps its mark.

int ICAdminLog::mf_isReady()
{
    return 0;
}

void ICAdminLog::mf_writeMessage(ICErrnoData const &) {}
