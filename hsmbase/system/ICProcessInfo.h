#pragma once

#include "hsmbase/Types.h"

// Facts about the running process. What can't change is asked for once and kept.
//
//     CString const & program = ICProcessInfo::mf_getName();     // "hsmscan"
//
// The one instance exists from static initialisation to the end of the process, or earlier if the constructor of
// another static asks first.
//
// Threads: any. A lock for each value that is kept is held while the value is found out, so that this happens once:
//
//     m_csName   the program's name
class HSMBASE_EXPORT ICProcessInfo
{
public:
    ICProcessInfo(ICProcessInfo const &) = delete;
    ICProcessInfo & operator=(ICProcessInfo const &) = delete;

    // The file name of the running program, without directory and type. The reference stays valid for the life of the
    // process. Throws _E_::System; the next call then tries again. Throws
    // _E_::Initialization where there was no memory for the instance.
    static CString const & mf_getName();

private:
    ICProcessInfo();
    virtual ~ICProcessInfo();

    static ICProcessInfo * mf_implGetInstance();
    static void mf_implGetName(CString & name);

    static ICProcessInfo * m_pThis; // NULL: there was no memory for the instance
    static int m_isCreated;         // its creation was tried
    static CString & m_sName;       // empty: not yet known

    CRITICAL_SECTION m_csName;
    CRITICAL_SECTION m_csKernelId;
    CRITICAL_SECTION m_csUserName;
};
