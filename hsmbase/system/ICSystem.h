#pragma once

#include "hsmbase/failure/ICArray.h"

class ICIPAddress;

// Facts and rights of the machine and of the calling thread. All operations are static; nobody makes an object.
//
//     if (ICSystem::mf_isLocalServer(server)) ...
//     CString const place = ICSystem::mf_getEnvironmentVariable(L"ProgramData");
//
//     ICSystem::mf_adjustDebugAccess(1);
//     HANDLE const process = ::OpenProcess(PROCESS_ALL_ACCESS, FALSE, processId);
//     ICSystem::mf_adjustDebugAccess(0);
//
// Host name, addresses, system root and system drive are asked for once and kept for the life of the process. What came
// out empty, or failed, is asked for again.
//
// A failed call of the platform is thrown with the system error.
//
// Threads: any, but there are no locks: what is kept must be asked for first by a thread at start-up. Of two threads at
// once both may ask, and the addresses then stand there twice. A privilege is that of the calling thread's own token,
// so threads don't meet there.
class HSMBASE_EXPORT ICSystem
{
public:
    ICSystem & operator=(ICSystem const &) = default;

    // Enables or disables the right to open processes of others, for the calling thread. A thread that has no token of
    // its own gets one, a copy of the process's, and keeps it. An account that does not hold the privilege is no
    // failure; what the privilege was to allow then fails. Throws Security.
    static void mf_adjustDebugAccess(int enable);

    // The same with the two rights to restore files and to deal with their audit lists. If the first can't be switched,
    // the second is left alone.
    static void mf_adjustSecurityAccess(int enable);

    // The machine's own name without its domain, in capitals. Throws System.
    static CString const & mf_getHostName();

    // All addresses of the dotted kind, the loopback address among them. Throws System, Memory, and Parameter if an
    // interface has no address yet (0.0.0.0); nothing is kept then.
    static ICArray<ICIPAddress *, ICIPAddress *> const & mf_getHostAddresses();

    // Whether it is the host name in any case, or one of the addresses. No name is resolved: "localhost" and this
    // host's name with its domain answer 0. Throws Parameter for an empty text, and what the two operations above
    // throw.
    static int mf_isLocalServer(CString const & hostOrAddress);

    // Whether the system is at least this one, with the service pack unless that is 0.
    static int mf_isAtLeastW2000(unsigned short servicePack);
    static int mf_isAtLeastW2003(unsigned short servicePack);
    static int mf_isAtLeastW2008(unsigned short servicePack);

    // As this process sees the machine: a 32-bit process sees a 32-bit one.
    static int mf_is32Bit();
    static int mf_is64Bit();

    // "Microsoft Windows Server 2003, Standard Edition, Service Pack 2 (Build 3790)". The table of products ends with
    // 2008: later systems begin with their edition. Empty for unknown platforms. Throws System, and NotImplemented for
    // a product that is neither workstation nor server.
    static CString mf_getSystemVersionString();

    // Leaves a trace line with processors, page size and address space.
    static void mf_logHardwareInformation();

    // Directories with a backslash at their ends: "C:\Windows\" and "C:\". Empty where the environment doesn't say.
    // Throw what mf_getEnvironmentVariable throws.
    static CString const & mf_getSystemRoot();
    static CString const & mf_getSystemDrive();

    // "C:\$Recycle.Bin\" for L'C'.
    static CString mf_getRecycleRoot(wchar_t drive);

    // Empty, with a warning in the trace, for a variable that isn't there or is empty. Throws BufferTooSmall for a
    // value of more than 1022 characters, System.
    static CString mf_getEnvironmentVariable(CString const & name);

    // The user's code page of 8-bit texts, such as "CP1252". Throws System.
    static CString mf_getDefaultAnsiCodepage();

    // "UCS-2LE".
    static CString mf_getDefaultUnicodeCodepage();

    // The share, "\\server\share", that is connected under a local name, which is taken as it is given ("X:"). Throws
    // Parameter for an empty name, Network.
    static CString mf_getServerShareName(CString const & mountPoint);

    // System root, code page, host name and addresses, in lines of the thread's language that begin with `prefix`.
    // Throws what asking for them throws.
    static CString mf_toString(CString const & prefix);

private:
    static void mf_implAdjustPrivilege(wchar_t const * name, int enable);
    static CString mf_implGetProcessorArchitectureString(ulong architecture);

    static CString m_sHostName;
    static ICArray<ICIPAddress *, ICIPAddress *> m_aHostAddresses; // owned, up to the end of the process
    static CString m_sSystemRoot;
    static CString m_sSystemDrive;
};
