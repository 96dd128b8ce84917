#pragma once

#include "hsmbase/Types.h"

// Facts and rights of the machine and of the calling thread. All operations are static; nobody makes an object.
//
//     ICSystem::mf_adjustDebugAccess(1);
//     HANDLE const process = ::OpenProcess(PROCESS_ALL_ACCESS, FALSE, processId);
//     ICSystem::mf_adjustDebugAccess(0);
//
// Threads: any. A privilege is that of the calling thread's own token, so threads don't meet. There are no locks.
class HSMBASE_EXPORT ICSystem
{
public:
    // Enables or disables the right to open processes of others, for the calling thread. A thread that has no token of
    // its own gets one, a copy of the process's, and keeps it. An account that does not hold the privilege is no
    // failure; what the privilege was to allow then fails. Throws Security.
    static void mf_adjustDebugAccess(int enable);

private:
    static void mf_implAdjustPrivilege(wchar_t const * name, int enable);
};
