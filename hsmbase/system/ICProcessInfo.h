#pragma once

#include "hsmbase/Types.h"

class ICErrnoData;
struct tagPROCESSENTRY32W;

// Facts about the running process and about others. What can't change is asked for once and kept.
//
//     CString const & program = ICProcessInfo::mf_getName();                               // "hsmscan"
//     CString const caller = ICProcessInfo::mf_getImageName(ICProcessInfo::mf_getId());    // "hsmscan.exe"
//
// The one instance exists from static initialisation to the end of the process, or earlier if the constructor of
// another static asks first. Without it (there was no memory) what is kept cannot be had: Initialization is thrown.
//
// Threads: any. A lock for each value that is kept is held while the value is found out, so that this happens once; a
// failed attempt keeps nothing, and the next call tries again:
//
//     m_csName       the program's name
//     m_csKernelId   the id of the kernel process; held across the whole walk through the processes
//     m_csUserName   the user's name
class HSMBASE_EXPORT ICProcessInfo
{
public:
    ICProcessInfo(ICProcessInfo const &) = delete;
    ICProcessInfo & operator=(ICProcessInfo const &) = delete;

    // The file name of the running program, without directory and type. The reference stays valid for the life of the
    // process. Throws System.
    static CString const & mf_getName();

    // The current directory, as the platform gives it. Throws System, and BufferTooSmall for more than 258 characters.
    static CString mf_getDirectory();

    static ulong mf_getId();

    // The process id of the operating system's kernel, which is the process named "System". Throws ProcessNotFound
    // where none was found, for whatever reason: a failure of the platform on the way is its originator. Throws
    // CloseHandle.
    static ulong mf_getKernelId();

    // The file name of another process's program, with its type. The calling thread has the debug privilege meanwhile;
    // where it can't be had, the work goes on without it. Throws System.
    static CString mf_getImageName(ulong processId);

    // The user that the first caller's thread acted for, without domain. The reference stays valid for the life of the
    // process. Throws System.
    static CString const & mf_getUserName();

    // Whether the calling thread acts as one of the local administrators, 1 or 0. A token in which that group is
    // disabled counts as no. Throws System.
    static int mf_isAdministrator();

private:
    ICProcessInfo();
    virtual ~ICProcessInfo();

    static ICProcessInfo * mf_implGetInstance();
    static ICProcessInfo & mf_implRequireInstance(wchar_t const * function);

    static void mf_implGetName(CString & name);
    static void mf_implGetUserName(CString & name);
    static ulong mf_implGetKernelId();
    static ulong mf_implFindKernelId(HANDLE snapshot, ICErrnoData & outcome);
    static ulong mf_implGetProcessId(tagPROCESSENTRY32W const & entry);
    static wchar_t const * mf_implGetProcessExeFile(tagPROCESSENTRY32W const & entry);
    static int mf_implIsKernelProcess(tagPROCESSENTRY32W const & entry);

    static ICProcessInfo * m_pThis; // NULL: there was no memory for the instance
    static int m_isCreated;         // its creation was tried
    static CString & m_sName;       // empty: not yet known
    static CString & m_sUserName;   // empty: not yet known
    static ulong m_ulKernelId;      // 0: not yet known

    CRITICAL_SECTION m_csName;
    CRITICAL_SECTION m_csKernelId;
    CRITICAL_SECTION m_csUserName;
};
