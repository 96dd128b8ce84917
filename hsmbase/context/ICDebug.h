#pragma once

#include "hsmbase/Types.h"

// Lets a tester make a chosen operation fail on a running system. Code names its interesting points:
//
//     ICDebug::mf_throwErrno(ICErrnoData::TARNWELL, 0x002);
//
// and the tester switches one on by a DWORD value in the key mf_getDebugRoot() of HKEY_LOCAL_MACHINE, named after the
// originator, whose bits are the actions: with "Tarnwell" = 2 the call above throws a failure that looks as if it came
// from there. The value is read at each pass, so points go on and off while the program runs; whether the key exists
// is asked only once, at the start.
//
// Without the key a call costs a test of a pointer: it may stand in hot paths.
//
// Threads: any. The singleton is created and deleted by the start-up code, on one thread.
class HSMBASE_EXPORT ICDebug
{
public:
    ICDebug(ICDebug const &) = delete;
    ICDebug & operator=(ICDebug const &) = delete;

    // 1: switched on; 0: there is no key, and no instance. Throws AlreadyInitialized, Registry, Memory.
    static int mf_createInstance();

    // Without an instance nothing happens.
    static void mf_deleteInstance();

    static int mf_isEnabled() { return m_pThis != nullptr; }

    // The registry path of the key, below HKEY_LOCAL_MACHINE.
    static CString mf_getDebugRoot();

    // Name of an action of an originator, for the trace.
    static CString mf_getActionString(ulong originatorId, ulong action);

    // Throws _E_::Debug, with the originator given as its originator, when any bit of `action` is set in the
    // originator's value. A value that can't be read is left in the trace and counts as 0.
    static void mf_throwErrno(ulong originatorId, ulong action)
    {
        if (m_pThis != nullptr) m_pThis->mf_implThrowErrno(originatorId, action);
    }

private:
    ICDebug();
    virtual ~ICDebug();

    void mf_implThrowErrno(ulong originatorId, ulong action) const;

    static ICDebug * m_pThis;

    CString m_sDebugRoot;
};
