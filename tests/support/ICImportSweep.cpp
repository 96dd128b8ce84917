#include "tests/support/ICImportSweep.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string_view>

#include "tests/support/ICImportFault.h"
#include "tests/support/ICLeakAccount.h"
#include "tests/support/ICOpenedHandles.h"

namespace
{

using NAMES = std::vector<std::string_view>;

bool f_isIn(NAMES const & names, std::string_view name)
{
    return std::find(names.begin(), names.end(), name) != names.end();
}

// The errors that are told apart somewhere behind a function whose name begins so; the refusal first.
struct ERRORS
{
    std::string_view m_beginning;
    std::vector<ulong> m_errors;
};

// A call between the first and the last of its kind is refused alone: nobody tells apart which one it is.
std::vector<ulong> f_errorsOf(std::string_view name, bool isBetween)
{
    static std::vector<ERRORS> const TABLE = {
        {"CreateFileW",
         {ERROR_ACCESS_DENIED, ERROR_FILE_NOT_FOUND, ERROR_PATH_NOT_FOUND, ERROR_SHARING_VIOLATION, ERROR_BAD_NETPATH,
          ERROR_FILE_EXISTS, ERROR_DISK_FULL, ERROR_INVALID_NAME}},
        {"GetFileAttributesW",
         {ERROR_ACCESS_DENIED, ERROR_FILE_NOT_FOUND, ERROR_PATH_NOT_FOUND, ERROR_BAD_NETPATH, ERROR_INVALID_NAME}},
        {"SetFileAttributesW", {ERROR_ACCESS_DENIED, ERROR_FILE_NOT_FOUND, ERROR_PATH_NOT_FOUND}},
        {"FindFirstVolume", {ERROR_ACCESS_DENIED, ERROR_NO_MORE_FILES, ERROR_NOT_READY}},
        {"FindFirst",
         {ERROR_ACCESS_DENIED, ERROR_FILE_NOT_FOUND, ERROR_PATH_NOT_FOUND, ERROR_NO_MORE_FILES, ERROR_BAD_NETPATH,
          ERROR_INVALID_NAME}},
        {"FindNext", {ERROR_ACCESS_DENIED, ERROR_NO_MORE_FILES}},
        {"GetFileInformationByHandleEx",
         {ERROR_ACCESS_DENIED, ERROR_NO_MORE_FILES, ERROR_FILE_NOT_FOUND, ERROR_INVALID_PARAMETER}},
        {"GetVolume", {ERROR_ACCESS_DENIED, ERROR_FILE_NOT_FOUND, ERROR_NOT_READY, ERROR_INVALID_NAME}},
        {"GetDiskFreeSpace", {ERROR_ACCESS_DENIED, ERROR_NOT_READY}},
        {"WriteFile", {ERROR_ACCESS_DENIED, ERROR_DISK_FULL}},
        {"SetEndOfFile", {ERROR_ACCESS_DENIED, ERROR_DISK_FULL}},
        {"MoveFileExW", {ERROR_ACCESS_DENIED, ERROR_SHARING_VIOLATION, ERROR_FILE_EXISTS}},
        {"CreateDirectoryW", {ERROR_ACCESS_DENIED, ERROR_PATH_NOT_FOUND, ERROR_FILE_EXISTS, ERROR_DISK_FULL}},
        {"DeleteFileW", {ERROR_ACCESS_DENIED, ERROR_FILE_NOT_FOUND, ERROR_SHARING_VIOLATION}},
        {"RemoveDirectoryW", {ERROR_ACCESS_DENIED, ERROR_FILE_NOT_FOUND, ERROR_SHARING_VIOLATION}},
        {"", {ERROR_ACCESS_DENIED}}};
    auto const row = std::ranges::find_if(TABLE, [&](ERRORS const & one) { return name.starts_with(one.m_beginning); });
    return isBetween ? std::vector<ulong>{row->m_errors.front()} : row->m_errors;
}

// These fail after their work.
bool f_isClosing(std::string const & import)
{
    static NAMES const CLOSING = {"CloseHandle",  "FindClose",   "FindVolumeClose",  "FindVolumeMountPointClose",
                                  "ReleaseMutex", "RegCloseKey", "NetApiBufferFree", "FreeLibrary"};
    return f_isIn(CLOSING, import);
}

bool f_cannotFail(std::string const & import)
{
    // The thread's own number and slot, and its identity.
    static NAMES const OF_THE_THREAD = {"GetLastError",     "SetLastError",       "TlsGetValue",
                                        "GetCurrentThread", "GetCurrentThreadId", "GetCurrentProcessId"};
    // Without an answer that means a failure.
    static NAMES const LOCKS = {"EnterCriticalSection",
                                "LeaveCriticalSection",
                                "InitializeCriticalSection",
                                "DeleteCriticalSection",
                                "AcquireSRWLockExclusive",
                                "ReleaseSRWLockExclusive",
                                "InitializeCriticalSectionAndSpinCount"};
    static NAMES const CLOCKS = {"GetLocalTime", "GetSystemTimeAsFileTime", "Sleep"};
    static NAMES const FACTS = {"GetSystemInfo", "VerSetConditionMask", "FreeSid", "lstrcmpiW"};
    // Called by the start of the DLL alone.
    static NAMES const AT_THE_START = {"VirtualProtect", "VirtualQuery"};
    return f_isIn(OF_THE_THREAD, import) || f_isIn(LOCKS, import) || f_isIn(CLOCKS, import) || f_isIn(FACTS, import) ||
           f_isIn(AT_THE_START, import);
}

} // namespace

std::size_t ICImportSweep::mf_run()
{
    std::vector<ICSweepRun> runs = mf_implFindCalls();
    EXPECT_FALSE(runs.empty()) << m_name << " reaches no call that could fail";

    ICOpenedHandles handles;
    // The first round fills caches of the platform. A leak is what a run leaves by itself each time.
    bool isWell = true;
    bool isBalanced = false;
    for (int round = 0; isWell && !isBalanced && round < 2; ++round) {
        ICLeakAccount account;
        for (ICSweepRun & run : runs)
            isWell &= mf_implTell(run, mf_implRun(run, handles));
        isBalanced = account.mf_isBalanced();
    }
    if (isWell && !isBalanced)
        for (ICSweepRun & run : runs)
            mf_implTell(run, mf_implFindLeak(run, handles));
    return runs.size();
}

std::vector<ICSweepRun> ICImportSweep::mf_implFindCalls()
{
    std::vector<std::unique_ptr<ICImportFault>> counters;
    std::vector<std::string> names;
    for (IMPORT const & import : f_importsOf()) {
        std::string const name = import.m_name;
        // Of what the run-time library answers, memory alone can fail, which has its own tests.
        bool const isRunTime = f_isIn({"msvcrt.dll", "libstdc++-6.dll", "libgcc_s_seh-1.dll"}, import.m_module);
        if (name.empty() || isRunTime || f_cannotFail(name)) continue;
        names.push_back(name);
    }
    m_prepare();
    for (std::string const & name : names)
        counters.push_back(std::make_unique<ICImportFault>(name.c_str()));
    ICSweepRun undisturbed;
    undisturbed.m_end = m_action();
    std::vector<ICSweepRun> runs;
    for (std::size_t index = 0; index < names.size(); ++index) {
        ulong const calls = counters[index]->mf_getCalls();
        for (ulong call = 1; call <= calls; ++call)
            for (ulong const error : f_errorsOf(names[index], call != 1 && call != calls))
                runs.push_back({names[index], call, calls, error});
    }
    counters.clear();
    std::string const wrong =
        undisturbed.m_end == ICSweepRun::OTHER ? "left by a foreign exception" : m_check(undisturbed);
    if (!wrong.empty()) ADD_FAILURE() << m_name << ", undisturbed: " << wrong;
    m_settle();
    return runs;
}

std::string ICImportSweep::mf_implRun(ICSweepRun & run, ICOpenedHandles & handles)
{
    m_prepare();
    std::string wrong;
    try {
        mf_implFail(run);
        if (run.m_end == ICSweepRun::OTHER) wrong = "left by a foreign exception; ";
    }
    catch (std::exception & notReached) {
        wrong = notReached.what();
    }
    wrong += m_check(run);
    m_settle();
    return wrong + handles.mf_settle();
}

void ICImportSweep::mf_implFail(ICSweepRun & run)
{
    ICAnswer const answer = ICAnswer::mf_failureOf(run.m_import.c_str(), run.m_error);
    ulong answered = 0;
    if (f_isClosing(run.m_import)) {
        // All of them take one argument, and are told by 32 bits whether they worked.
        using CLOSE = ULONG_PTR (*)(void *);
        ICImportPatch const * self = nullptr;
        ulong call = 0;
        ICImportPatch const fault(run.m_import.c_str(), [&](void * handle) -> ULONG_PTR {
            ULONG_PTR const done = self->mf_original<CLOSE>()(handle);
            if (++call != run.m_call) return done;
            ++answered;
            if (answer.m_setsLastError) ::SetLastError(answer.m_lastError);
            return static_cast<ULONG_PTR>(answer.m_value);
        });
        self = &fault;
        run.m_end = m_action();
    } else {
        ICImportFault const fault(run.m_import.c_str(), answer, ICCalls::mf_only(run.m_call));
        run.m_end = m_action();
        answered = fault.mf_getAnswered();
    }
    if (answered != 1) throw std::runtime_error("the call was not reached; ");
}

std::string ICImportSweep::mf_implFindLeak(ICSweepRun & run, ICOpenedHandles & handles)
{
    std::string left;
    for (int times = 0; times < 2; ++times) {
        ICLeakAccount account;
        mf_implRun(run, handles);
        if (account.mf_isBalanced()) return "";
        left = account.mf_describe();
    }
    return left;
}

bool ICImportSweep::mf_implTell(ICSweepRun const & run, std::string const & wrong) const
{
    static char const * const ENDS[] = {"returned", "failed", "left"};
    if (wrong.empty()) return true;
    ADD_FAILURE() << m_name << " " << ENDS[run.m_end] << ", with call " << run.m_call << " of " << run.m_calls << " of "
                  << run.m_import << " failing by " << run.m_error << ": " << wrong;
    return false;
}
