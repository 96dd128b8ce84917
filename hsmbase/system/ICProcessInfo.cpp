#include "hsmbase/system/ICProcessInfo.h"

#include <cstddef>
#include <cwchar>
#include <iterator>
#include <new>
#include <type_traits>

#include <psapi.h>
#include <tlhelp32.h>

#include "hsmbase/context/internal/ICSectionLock.h"
#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/paths/ICPath.h"
#include "hsmbase/system/ICSystem.h"
#include "hsmbase/system/internal/ICKernelHandle.h"

namespace
{
constexpr ulong PATH_LENGTH = 260;
constexpr wchar_t KERNEL_NAME[] = L"System";

constexpr std::size_t PROCESS_ID_END = offsetof(PROCESSENTRY32W, th32ProcessID) + sizeof(DWORD);
constexpr std::size_t EXE_FILE_END = offsetof(PROCESSENTRY32W, szExeFile) + sizeof(PROCESSENTRY32W::szExeFile);
static_assert(PROCESS_ID_END == 12 && EXE_FILE_END == 564 && sizeof(PROCESSENTRY32W) == 568);

struct SNAPSHOT_HANDLE
{
    using TYPE = HANDLE;
    static TYPE mf_none() { return INVALID_HANDLE_VALUE; }
    static int mf_close(TYPE snapshot) { return ::CloseHandle(snapshot); }
};
using ICSnapshotHandle = ICHandle<SNAPSHOT_HANDLE>;

struct SECURITY_ID
{
    using TYPE = PSID;
    static TYPE mf_none() { return nullptr; }
    static void * mf_close(TYPE id) { return ::FreeSid(id); }
};
using ICSecurityId = ICHandle<SECURITY_ID>;

// The debug privilege for as long as the object lives; to be released even where it could not be had. Neither end fails
// or stops anything. `function` tags the lines.
class ICDebugAccess
{
public:
    explicit ICDebugAccess(wchar_t const * function) : m_function(function)
    {
        try {
            ICSystem::mf_adjustDebugAccess(1);
        }
        catch (ICErrno & failure) {
            ICTrace(m_function)
                .mf_error(L"Failure requesting debug privileges: %s\r\n%sTrying without privilege ...",
                          failure.mf_toString(), ICLog::TAB);
        }
    }

    ICDebugAccess(ICDebugAccess const &) = delete;
    ICDebugAccess & operator=(ICDebugAccess const &) = delete;

    ~ICDebugAccess()
    {
        ulong const lastError = ::GetLastError();
        try {
            ICSystem::mf_adjustDebugAccess(0);
        }
        catch (ICErrno & failure) {
            ICTrace(m_function).mf_error(L"Failure releasing debug privileges: %s\r\n", failure.mf_toString());
        }
        ::SetLastError(lastError);
    }

private:
    wchar_t const * const m_function;
};

// A way to the next entry of a snapshot, and the words for its failures.
struct WALK_STEP
{
    BOOL(WINAPI * advance)(HANDLE snapshot, PROCESSENTRY32W * entry);
    ICTraceFormat<CString> notEnumerated;
    ICTraceFormat<CString> notInvestigated;
};

// Finds a value out under its lock, unless it is kept already. A failure leaves its line while the lock is held, and is
// thrown after that.
template<class VALUE>
void f_findOutOnce(wchar_t const * function, CRITICAL_SECTION & section, VALUE & kept,
                   void (*findOut)(std::type_identity_t<VALUE> &), ICTraceFormat<CString> notFoundOut)
{
    ICErrnoData outcome;
    {
        ICSectionLock const lock(section);
        try {
            if (kept == VALUE()) findOut(kept);
        }
        catch (ICErrno & failure) {
            ICTrace(function).mf_collect(outcome, failure, notFoundOut, failure.mf_toString());
        }
    }
    if (outcome.mf_isSet()) throw ICErrno(outcome);
}

// The image name of a process; empty where `outcome` has been given a failure.
CString f_queryImageName(wchar_t const * function, ulong processId, ICErrnoData & outcome)
{
    ::SetLastError(0);
    ICKernelHandle process(::OpenProcess(PROCESS_ALL_ACCESS, FALSE, processId));
    if (!process.mf_isOpen()) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::System);
        ICTrace(function).mf_collect(outcome, failure, L"Failure opening process with id=%lu:\r\n%s%s", processId,
                                     ICLog::TAB, failure.mf_toString());
        return CString();
    }

    wchar_t name[PATH_LENGTH] = {};
    ::SetLastError(0);
    if (::GetModuleBaseNameW(process.mf_get(), nullptr, name, PATH_LENGTH - 1) == 0) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::System);
        ICTrace(function).mf_collect(outcome, failure, L"Failure querying image name for process %lu:\r\n%s%s",
                                     processId, ICLog::TAB, failure.mf_toString());
    } else {
        ICTrace(function).mf_debug(L"Process image name for id=%lu: '%s'", processId, name);
    }

    ::SetLastError(0);
    if (!process.mf_close()) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::System);
        ICTrace(function).mf_error(L"Failure closing handle for process %lu: %s", processId, failure.mf_toString());
    }
    return name;
}

// Whether the calling thread's token has the local administrators; 0 where `outcome` has been given a failure.
int f_queryMembership(wchar_t const * function, ICErrnoData & outcome)
{
    SID_IDENTIFIER_AUTHORITY authority = {SECURITY_NT_AUTHORITY};
    ICSecurityId administrators;
    ::SetLastError(0);
    if (!::AllocateAndInitializeSid(&authority, 2, SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_ADMINS, 0, 0, 0, 0, 0,
                                    0, administrators.mf_receive())) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::System);
        ICTrace(function).mf_collect(outcome, failure, L"Failure creating administrative SID:\r\n%s%s", ICLog::TAB,
                                     failure.mf_toString());
        return 0;
    }

    BOOL isMember = FALSE;
    ::SetLastError(0);
    if (!::CheckTokenMembership(nullptr, administrators.mf_get(), &isMember)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::System);
        ICTrace(function).mf_collect(outcome, failure, L"Failure checking administrative token membership:\r\n%s%s",
                                     ICLog::TAB, failure.mf_toString());
        return 0;
    }
    return isMember ? 1 : 0;
}
} // namespace

// The constructor of a static of another file may ask for the name before the statics of this file are initialised. It
// gets a proper answer, because nothing that it needs is initialised at run time: m_pThis and m_isCreated start as 0,
// and the texts refer to storage that is there from the beginning. Whoever comes first, that caller or the initialiser
// of m_pThis, makes the instance and the cached texts in mf_implGetInstance. No lock is needed there: the initialiser
// runs while the library is being loaded, on one thread, and makes sure that every later caller finds the work done.
//
// The cached texts are never destroyed, so that references to them outlive all other statics.
template<class TYPE>
union UNBUILT {
    constexpr UNBUILT() : nothing() {}
    constexpr ~UNBUILT() {}

    char nothing;
    TYPE value;
};

static constinit UNBUILT<CString> g_name;
static constinit UNBUILT<CString> g_userName;

constinit CString & ICProcessInfo::m_sName = g_name.value;
constinit CString & ICProcessInfo::m_sUserName = g_userName.value;
constinit ulong ICProcessInfo::m_ulKernelId = 0;
constinit int ICProcessInfo::m_isCreated = 0;
ICProcessInfo * ICProcessInfo::m_pThis = mf_implGetInstance();

ICProcessInfo * ICProcessInfo::mf_implGetInstance()
{
    if (!m_isCreated) {
        m_isCreated = 1;
        ::new (&g_name.value) CString;
        ::new (&g_userName.value) CString;
        m_pThis = new (std::nothrow) ICProcessInfo;
    }
    return m_pThis;
}

ICProcessInfo::ICProcessInfo()
{
    ::InitializeCriticalSection(&m_csName);
    ::InitializeCriticalSection(&m_csKernelId);
    ::InitializeCriticalSection(&m_csUserName);
}

ICProcessInfo::~ICProcessInfo()
{
    ::DeleteCriticalSection(&m_csUserName);
    ::DeleteCriticalSection(&m_csKernelId);
    ::DeleteCriticalSection(&m_csName);
}

ICProcessInfo & ICProcessInfo::mf_implRequireInstance(wchar_t const * function)
{
    ICProcessInfo * const instance = mf_implGetInstance();
    if (instance == nullptr)
        throw ICTrace(function).mf_failed(ICErrno::_E_::Initialization, L"No process info singleton instance");
    return *instance;
}

CString const & ICProcessInfo::mf_getName()
{
    static wchar_t const _sFunction_[] = L"ICProcessInfo::mf_getName";

    f_findOutOnce(_sFunction_, mf_implRequireInstance(_sFunction_).m_csName, m_sName, &mf_implGetName,
                  L"Failure querying this process name: %s");
    return m_sName;
}

CString const & ICProcessInfo::mf_getUserName()
{
    static wchar_t const _sFunction_[] = L"ICProcessInfo::mf_getUserName";

    f_findOutOnce(_sFunction_, mf_implRequireInstance(_sFunction_).m_csUserName, m_sUserName, &mf_implGetUserName,
                  L"Failure querying process user name: %s");
    return m_sUserName;
}

ulong ICProcessInfo::mf_getKernelId()
{
    static wchar_t const _sFunction_[] = L"ICProcessInfo::mf_getKernelId";

    auto const findOut = [](ulong & id) { id = mf_implGetKernelId(); };
    f_findOutOnce(_sFunction_, mf_implRequireInstance(_sFunction_).m_csKernelId, m_ulKernelId, findOut,
                  L"Failure calculating kernel process id: %s");
    return m_ulKernelId;
}

CString ICProcessInfo::mf_getDirectory()
{
    static wchar_t const _sFunction_[] = L"ICProcessInfo::mf_getDirectory";

    constexpr ulong available = PATH_LENGTH - 1;
    wchar_t directory[PATH_LENGTH] = {};
    ::SetLastError(0);
    ulong const length = ::GetCurrentDirectoryW(available, directory);
    if (length == 0) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::System);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure requesting current process directory: %s", failure.mf_toString());
    }
    if (length > available) {
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::BufferTooSmall,
                       L"Buffer too small to keep current directory (%lu chars, %lu chars needed)", available, length);
    }
    return directory;
}

ulong ICProcessInfo::mf_getId()
{
    return ::GetCurrentProcessId();
}

CString ICProcessInfo::mf_getImageName(ulong processId)
{
    // Deliberate: the tag is not the operation's own name.
    static wchar_t const _sFunction_[] = L"ICProcessInfo::mf_getName::2";

    ICErrnoData outcome;
    CString name;
    {
        ICDebugAccess const access(_sFunction_);
        name = f_queryImageName(_sFunction_, processId, outcome);
    }
    if (outcome.mf_isSet()) throw ICErrno(outcome);
    return name;
}

int ICProcessInfo::mf_isAdministrator()
{
    static wchar_t const _sFunction_[] = L"ICProcessInfo::mf_isAdministrator";

    ICErrnoData outcome;
    int const isAdministrator = f_queryMembership(_sFunction_, outcome);
    if (outcome.mf_isSet()) throw ICErrno(outcome);
    return isAdministrator;
}

void ICProcessInfo::mf_implGetName(CString & name)
{
    static wchar_t const _sFunction_[] = L"ICProcessInfo::mf_implGetName";

    wchar_t path[PATH_LENGTH] = {};
    ::SetLastError(0);
    if (::GetModuleFileNameW(nullptr, path, PATH_LENGTH - 1) == 0) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::System);
        throw ICTrace(_sFunction_).mf_failed(failure, L"Failure getting process name: %s", failure.mf_toString());
    }
    name = ICPath::mf_getFileBaseName(path);
}

void ICProcessInfo::mf_implGetUserName(CString & name)
{
    static wchar_t const _sFunction_[] = L"ICProcessInfo::mf_implGetUserName";

    // The platform counts in characters, and trusts the size that it is told.
    wchar_t user[512] = {};
    ulong size = 512;
    ::SetLastError(0);
    if (!::GetUserNameW(user, &size)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::System);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure querying current process user name:\r\n%s%s\r\n", ICLog::TAB,
                       failure.mf_toString());
    }
    name = user;
}

// The id of the kernel process, from a snapshot of the processes. Throws as mf_getKernelId.
ulong ICProcessInfo::mf_implGetKernelId()
{
    static wchar_t const _sFunction_[] = L"ICProcessInfo::mf_implGetKernelId";

    ICErrnoData outcome;
    ulong id = 0;
    ::SetLastError(0);
    ICSnapshotHandle snapshot(::CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    if (!snapshot.mf_isOpen()) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::System);
        ICTrace(_sFunction_)
            .mf_collect(outcome, failure, L"Failure creating process snapshot list: %s", failure.mf_toString());
    } else {
        id = mf_implFindKernelId(snapshot.mf_get(), outcome);
        ::SetLastError(0);
        if (!snapshot.mf_close()) {
            ICErrno const failure = f_systemFailure(ICErrno::_E_::CloseHandle);
            ICTrace(_sFunction_)
                .mf_collect(outcome, failure, L"Failure closing process snapshot handle: %s", failure.mf_toString());
        }
    }

    if (id == 0) {
        ICTrace(_sFunction_).mf_error(L"System kernel process id not found (searched name: '%s')", KERNEL_NAME);
        // Deliberate: this takes the place of whatever was collected, of which the originator stays.
        outcome = ICErrno::_E_::ProcessNotFound;
    }
    if (outcome.mf_isSet()) throw ICErrno(outcome);
    ICTrace(_sFunction_).mf_info(L"Windows kernel process id: %lu", id);
    return id;
}

// The walk itself, up to the kernel process, the end of the list or the first failure; 0 for the latter two.
ulong ICProcessInfo::mf_implFindKernelId(HANDLE snapshot, ICErrnoData & outcome)
{
    static wchar_t const _sFunction_[] = L"ICProcessInfo::mf_implGetKernelId";
    static WALK_STEP const first = {&::Process32FirstW, L"Failure (1) enumerating process snapshot list: %s",
                                    L"Failure (1) investigating kernel process entry structure: %s"};
    static WALK_STEP const next = {&::Process32NextW, L"Failure (2) enumerating process snapshot list: %s",
                                   L"Failure (2) investigating kernel process entry structure: %s"};

    for (WALK_STEP const * step = &first;; step = &next) {
        PROCESSENTRY32W entry = {};
        entry.dwSize = sizeof(entry);
        ::SetLastError(0);
        if (!step->advance(snapshot, &entry)) {
            ulong const systemError = ::GetLastError();
            if (systemError == ERROR_NO_MORE_FILES) return 0;
            ICErrno const failure = f_systemFailure(ICErrno::_E_::System, systemError);
            ICTrace(_sFunction_).mf_collect(outcome, failure, step->notEnumerated, failure.mf_toString());
            return 0;
        }
        try {
            if (mf_implIsKernelProcess(entry)) return mf_implGetProcessId(entry);
        }
        catch (ICErrno & failure) {
            ICTrace(_sFunction_).mf_collect(outcome, failure, step->notInvestigated, failure.mf_toString());
            return 0;
        }
    }
}

ulong ICProcessInfo::mf_implGetProcessId(tagPROCESSENTRY32W const & entry)
{
    static wchar_t const _sFunction_[] = L"ICProcessInfo::mf_implGetProcessId";

    if (entry.dwSize < PROCESS_ID_END)
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::ItemNotFound, L"Process id is not included in the process entry structure");
    return entry.th32ProcessID;
}

wchar_t const * ICProcessInfo::mf_implGetProcessExeFile(tagPROCESSENTRY32W const & entry)
{
    static wchar_t const _sFunction_[] = L"ICProcessInfo::mf_implGetProcessExeFile";

    if (entry.dwSize < EXE_FILE_END)
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::ItemNotFound,
                       L"Process exe-file name is not included in the process entry structure");
    return entry.szExeFile;
}

int ICProcessInfo::mf_implIsKernelProcess(tagPROCESSENTRY32W const & entry)
{
    static wchar_t const _sFunction_[] = L"ICProcessInfo::mf_implIsKernelProcess";

    try {
        return std::wcsncmp(mf_implGetProcessExeFile(entry), KERNEL_NAME, std::size(KERNEL_NAME)) == 0;
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure extracting exe-file name from process entry structure:\r\n%s%s", ICLog::TAB,
                       failure.mf_toString());
    }
}
