#include "frame/ICProgramFrame.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <utility>

#include "hsmbase/context/ICLanguage.h"
#include "hsmbase/context/ICStatus.h"
#include "hsmbase/context/ICString.h"
#include "hsmbase/context/ICThreadContext.h"
#include "hsmbase/context/ICTlsHandler.h"
#include "hsmbase/context/ICTranslator.h"
#include "hsmbase/failure/ICErrno.h"
#include "hsmbase/logging/ICAdminLog.h"
#include "hsmbase/logging/ICEventLog.h"
#include "hsmbase/logging/ICLog.h"
#include "hsmbase/registry/ICRegistry.h"
#include "tests/support/ICChildProcess.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/ICRegistrySandbox.h"
#include "tests/support/ICStartedProcess.h"
#include "tests/support/ICTemporaryDirectory.h"
#include "tests/support/ICTraceReader.h"

using testing::Contains;
using testing::HasSubstr;
using testing::StartsWith;

// A frame comes up once in a process, so each test has a process of its own, which answers 0 for right.

namespace
{
// The registry root is the first argument.
#define IC_EXPECT_CHILD(name)                                                                                          \
    do {                                                                                                               \
        ICRegistrySandbox const registry;                                                                              \
        ICChildProcess child(name, {registry.mf_getPath()});                                                           \
        EXPECT_EQ(0u, child.mf_getExitCode()) << child.mf_getOutput() << child.mf_getErrors();                         \
    } while (false)

bool f_isAllDown()
{
    return ICRegistry::m_pThis == nullptr && ICLanguage::m_pThis == nullptr && !ICStatus::mf_canToggleLanguages() &&
           ICStatus::mf_implGetInstance().mf_implGetStatus() == 0;
}

// The number of the failure with which the frame does not come up; 0 if it does.
ulong f_failureOf(CString const & root, CString const & language = CString())
{
    try {
        ICProgramFrame const frame(root, language);
        return 0;
    }
    catch (ICErrno & failure) {
        return failure.mf_getErrnoData().mf_getNumber();
    }
}
} // namespace

IC_CHILD(frame_up)
{
    CString const root = arguments[0].c_str();
    {
        ICProgramFrame const frame(root);
        if (ICRegistry::mf_getRegistryRoot(CString()) != root) return 1;
        if (ICThreadContext::mf_getType() != ICThreadContext::TYPE_MAIN || ICThreadContext::mf_getIndex() != 0)
            return 2;
        if (!ICStatus::mf_canToggleLanguages()) return 3;
        if (CString(ICString(2054u)).Find(L'<') >= 0) return 4;
        if (ICLanguage::mf_getUserLanguageId() != 1033) return 5;
        CString directory;
        ICRegistry::mf_getValue(L"LanguageDir", directory, root, HKEY_LOCAL_MACHINE);
        if (directory != ICStartedProcess::mf_getProgramDirectory().c_str()) return 6;
    }
    return f_isAllDown() ? 0 : 7;
}

TEST(ICProgramFrame, Up_EverythingStands_AndGoesDownAgain)
{
    IC_EXPECT_CHILD("frame_up");
}

IC_CHILD(frame_second)
{
    CString const root = arguments[0].c_str();
    ICProgramFrame const frame(root);
    if (f_failureOf(root) != ICErrno::_E_::AlreadyInitialized.mf_getNumber()) return 1;
    // The first one stands as before.
    return ICStatus::mf_canToggleLanguages() ? 0 : 2;
}

TEST(ICProgramFrame, SecondFrame_IsRefusedAndTheFirstStands)
{
    IC_EXPECT_CHILD("frame_second");
}

IC_CHILD(frame_again)
{
    CString const root = arguments[0].c_str();
    if (f_failureOf(root) != 0) return 1;
    if (f_failureOf(root) != ICErrno::_E_::AlreadyInitialized.mf_getNumber()) return 2;
    return f_isAllDown() ? 0 : 3;
}

// Deliberate: the thread slot's number outlives the slot.
TEST(ICProgramFrame, FrameAfterAFrame_IsRefused)
{
    IC_EXPECT_CHILD("frame_again");
}

IC_CHILD(frame_no_slot)
{
    ICImportFault const noSlot("TlsAlloc", ICAnswer::mf_value(0xffffffff));
    if (f_failureOf(arguments[0].c_str()) != ICErrno::_E_::System.mf_getNumber()) return 1;
    return f_isAllDown() ? 0 : 2;
}

TEST(ICProgramFrame, WithoutASlot_TakesTheRegistryDown)
{
    IC_EXPECT_CHILD("frame_no_slot");
}

IC_CHILD(frame_no_library)
{
    ICImportFault const noLibrary("LoadLibraryW", ERROR_BAD_EXE_FORMAT);
    if (f_failureOf(arguments[0].c_str()) != ICErrno::_E_::DllOpen.mf_getNumber()) return 1;
    return f_isAllDown() ? 0 : 2;
}

TEST(ICProgramFrame, WithoutLanguages_TakesSlotAndRegistryDown)
{
    IC_EXPECT_CHILD("frame_no_library");
}

IC_CHILD(frame_no_context)
{
    ICImportFault const noContext("TlsSetValue", ERROR_INVALID_PARAMETER);
    if (f_failureOf(arguments[0].c_str()) != ICErrno::_E_::System.mf_getNumber()) return 1;
    return f_isAllDown() ? 0 : 2;
}

TEST(ICProgramFrame, WithoutAContext_TakesLanguagesDown)
{
    IC_EXPECT_CHILD("frame_no_context");
}

IC_CHILD(frame_german)
{
    CString const root = arguments[0].c_str();
    ICProgramFrame const frame(root, L"German");
    if (ICLanguage::mf_getUserLanguageId() != 1031) return 1;
    return ICLanguage::mf_getConfiguredLanguageId() == 1031 ? 0 : 2;
}

TEST(ICProgramFrame, AnotherLanguage_IsInForceAndStored)
{
    IC_EXPECT_CHILD("frame_german");
}

IC_CHILD(frame_unknown_language)
{
    if (f_failureOf(arguments[0].c_str(), L"Klingon") != ICErrno::_E_::Unknown.mf_getNumber()) return 1;
    return f_isAllDown() ? 0 : 2;
}

TEST(ICProgramFrame, AnUnknownLanguage_TakesAllDown)
{
    IC_EXPECT_CHILD("frame_unknown_language");
}

IC_CHILD(frame_moved)
{
    CString const root = arguments[0].c_str();
    ICRegistry::mf_createInstance(root);
    ICRegistry::mf_setValue(L"LanguageDir", CString(L"C:\\nowhere"), root, 0, HKEY_LOCAL_MACHINE);
    ICRegistry::mf_deleteInstance();
    ICProgramFrame const frame(root);
    CString directory;
    ICRegistry::mf_getValue(L"LanguageDir", directory, root, HKEY_LOCAL_MACHINE);
    return directory == ICStartedProcess::mf_getProgramDirectory().c_str() ? 0 : 1;
}

TEST(ICProgramFrame, AMovedInstallation_FindsItsLanguagesByItself)
{
    IC_EXPECT_CHILD("frame_moved");
}

// ---------------------------------------------------------------------------------------------------------- logs

namespace
{
ICProgramFrame::OPTIONS f_loggingOptions(std::vector<std::wstring> const & arguments)
{
    return {.m_registryRoot = arguments[0].c_str(),
            .m_logDirectory = arguments.size() > 1 ? arguments[1].c_str() : L"",
            .m_traceLog = L"trace.log",
            .m_adminLog = L"admin.log",
            .m_eventSource = L"hsmbase-tests"};
}

ulong f_failureOf(ICProgramFrame::OPTIONS const & options)
{
    try {
        ICProgramFrame const frame(options);
        return 0;
    }
    catch (ICErrno & failure) {
        return failure.mf_getErrnoData().mf_getNumber();
    }
}

template<class TEXT>
auto f_isBanner(TEXT const & text)
{
    return f_isRecord('I', "ICStatus::mf_setStatus", text);
}

// A failure with a complete message, whose last holder ends at once.
void f_failForTheAdministrator()
{
    ICErrnoData data(ICErrno::_E_::FileAccess);
    ICErrnoData::mf_setMessage(data, L"KVR27469E", 6328, 6329, 6330, 6331, L"X");
}

// The child gets a registry root and a directory, and answers 0 for right.
class ICProgramFrameLogs : public testing::Test
{
protected:
    std::string mf_failureOf(char const * child, bool isDirectoryGiven = true) const
    {
        std::vector<std::wstring> arguments = {m_registry.mf_getPath()};
        if (isDirectoryGiven) arguments.push_back(m_directory / L"a\\b");
        ICChildProcess process(child, arguments);
        ulong const answer = process.mf_getExitCode();
        return answer == 0 ? "" : std::to_string(answer) + process.mf_getOutput() + process.mf_getErrors();
    }

    ICRegistrySandbox const m_registry;
    ICTemporaryDirectory const m_directory;
};
} // namespace

IC_CHILD(frame_logs)
{
    {
        ICProgramFrame const frame(f_loggingOptions(arguments));
        if (!ICLog::mf_isReady() || !ICAdminLog::mf_isReady() || ICEventLog::m_pThis == nullptr) return 1;
        if (!ICStatus::mf_canWriteToLogFile() || !ICStatus::mf_canWriteToEventLog()) return 2;
        CString text;
        ICTranslator::mf_convertAscii("x", 1, text);
        if (text != L"x" || !ICStatus::mf_implGetInstance().mf_implHasStatus(ICStatus::STATUS_TRANSLATOR)) return 3;
        f_failForTheAdministrator();
    }
    if (ICLog::mf_isReady() || ICAdminLog::mf_isReady() || ICEventLog::m_pThis != nullptr) return 4;
    return f_isAllDown() ? 0 : 5;
}

TEST_F(ICProgramFrameLogs, Up_LogsTakeLinesAndGoDownAgain)
{
    ASSERT_EQ("", mf_failureOf("frame_logs"));
    EXPECT_THAT(f_readTrace(m_directory / L"a\\b\\trace.log"),
                Contains(f_isBanner(StartsWith("**** Logging started"))).Times(1));
    EXPECT_THAT(f_readTrace(m_directory / L"a\\b\\trace.log"), Contains(f_isBanner(testing::_)).Times(1))
        << "the end banner never reaches the file";
    std::string const line = f_readFile(m_directory / L"a\\b\\admin.log");
    EXPECT_THAT(line, HasSubstr(" KVR27469E The log file 'X' cannot be opened.\r\n"));
    EXPECT_EQ(1, std::count(line.begin(), line.end(), '\n'));
    for (wchar_t const * const name : {L"LogFileDir", L"AdminLogFileDir"})
        EXPECT_EQ(m_directory / L"a\\b", m_registry.mf_readText(L"", name));
}

TEST_F(ICProgramFrameLogs, ASecondRun_GoesOnWithTheFiles)
{
    ASSERT_EQ("", mf_failureOf("frame_logs"));
    ASSERT_EQ("", mf_failureOf("frame_logs", false)) << "the directory is configured now";
    EXPECT_THAT(f_readTrace(m_directory / L"a\\b\\trace.log"), Contains(f_isBanner(testing::_)).Times(2));
    std::string const lines = f_readFile(m_directory / L"a\\b\\admin.log");
    EXPECT_EQ(2, std::count(lines.begin(), lines.end(), '\n'));
}

TEST_F(ICProgramFrameLogs, InstallationDirectory_HoldsTheLogs)
{
    m_registry.mf_writeText(L"", L"Path", m_directory / L"installed\\");
    ASSERT_EQ("", mf_failureOf("frame_logs", false));
    EXPECT_TRUE(f_isThere(m_directory / L"installed\\logs\\trace.log"));
    EXPECT_TRUE(f_isThere(m_directory / L"installed\\logs\\admin.log"));
}

IC_CHILD(frame_program_directory)
{
    CString made;
    // Also where somebody has run a program here before.
    ICImportPatch const missing(IC_IMPORT(GetFileAttributesW), [](wchar_t const * path) -> DWORD {
        if (!std::wstring(path).ends_with(L"\\logs\\")) return ::GetFileAttributesW(path);
        ::SetLastError(ERROR_FILE_NOT_FOUND);
        return INVALID_FILE_ATTRIBUTES;
    });
    ICImportPatch const directories(IC_IMPORT(CreateDirectoryW), [&made](wchar_t const * path, auto) -> BOOL {
        made = path;
        ::SetLastError(ERROR_ACCESS_DENIED);
        return FALSE;
    });
    if (f_failureOf(f_loggingOptions(arguments)) != ICErrno::_E_::FileOpen.mf_getNumber()) return 1;
    std::wstring const logs = ICStartedProcess::mf_getProgramDirectory() + L"logs";
    if (made.Find(logs.c_str()) < 0) return 2;
    return f_isAllDown() ? 0 : 3;
}

TEST_F(ICProgramFrameLogs, NothingConfigured_WantsADirectoryBesideTheProgram)
{
    EXPECT_EQ("", mf_failureOf("frame_program_directory", false));
    EXPECT_EQ(L"", m_registry.mf_readText(L"", L"LogFileDir"));
}

namespace
{
// Files that are opened for writing and whose name ends so cannot be had.
auto f_refuse(std::wstring const & name)
{
    return [name](wchar_t const * path, DWORD access, DWORD share, SECURITY_ATTRIBUTES * security, DWORD how,
                  DWORD flags, HANDLE pattern) -> HANDLE {
        bool const isMeant = (access & GENERIC_WRITE) != 0 && std::wstring(path).ends_with(name);
        if (!isMeant) return ::CreateFileW(path, access, share, security, how, flags, pattern);
        ::SetLastError(ERROR_ACCESS_DENIED);
        return INVALID_HANDLE_VALUE;
    };
}
} // namespace

IC_CHILD(frame_no_trace_log)
{
    ICImportPatch const refused(IC_IMPORT(CreateFileW), f_refuse(L"trace.log"));
    try {
        ICProgramFrame const frame(f_loggingOptions(arguments));
        return 1;
    }
    catch (ICErrno & failure) {
        ICErrnoData const & data = failure.mf_getErrnoData();
        if (data.mf_getNumber() != ICErrno::_E_::Logging.mf_getNumber()) return 2;
        if (data.mf_getOriginatorErrno() != ERROR_ACCESS_DENIED) return 3;
        if (std::wcscmp(data.mf_getKVRNumber(), L"KVR27469E") != 0) return 4;
        if (std::wcsstr(data.mf_getMessageText(), L"trace.log") == nullptr) return 5;
    }
    // Deliberate: the log that could not be opened stays where it is.
    if (ICLog::mf_isReady() || ICLog::m_pThis == nullptr) return 6;
    return f_isAllDown() ? 0 : 7;
}

TEST_F(ICProgramFrameLogs, TraceLogThatCannotBeOpened_TakesTheRestDown)
{
    EXPECT_EQ("", mf_failureOf("frame_no_trace_log"));
}

namespace
{
CString g_told;
}

IC_CHILD(frame_tells)
{
    ICImportPatch const refused(IC_IMPORT(CreateFileW), f_refuse(L"trace.log"));
    ICProgramFrame::OPTIONS options = f_loggingOptions(arguments);
    options.m_tellFailure = [](ICErrno const & failure) { g_told = failure.mf_toConsoleMessage(CString()); };
    if (f_failureOf(options) != ICErrno::_E_::Logging.mf_getNumber()) return 1;
    if (g_told.Find(L"Logging error") < 0 || g_told.Find(L"KVR27469E: The log file") < 0) return 2;
    return f_isAllDown() ? 0 : 3;
}

TEST_F(ICProgramFrameLogs, Failure_IsToldInTheUsersWords)
{
    EXPECT_EQ("", mf_failureOf("frame_tells"));
}

IC_CHILD(frame_no_admin_log)
{
    ICImportPatch const refused(IC_IMPORT(CreateFileW), f_refuse(L"admin.log"));
    if (f_failureOf(f_loggingOptions(arguments)) != ICErrno::_E_::Logging.mf_getNumber()) return 1;
    if (ICLog::m_pThis != nullptr) return 2;
    return f_isAllDown() ? 0 : 3;
}

TEST_F(ICProgramFrameLogs, AdminLogThatCannotBeOpened_TakesTheTraceLogDown)
{
    EXPECT_EQ("", mf_failureOf("frame_no_admin_log"));
}

IC_CHILD(frame_no_event_source)
{
    ICImportFault const refused("RegisterEventSourceW", ERROR_ACCESS_DENIED);
    if (f_failureOf(f_loggingOptions(arguments)) != ICErrno::_E_::Logging.mf_getNumber()) return 1;
    if (ICLog::m_pThis != nullptr || ICAdminLog::m_pThis != nullptr) return 2;
    return f_isAllDown() ? 0 : 3;
}

TEST_F(ICProgramFrameLogs, EventSourceThatIsRefused_TakesBothLogsDown)
{
    EXPECT_EQ("", mf_failureOf("frame_no_event_source"));
    EXPECT_THAT(f_readTrace(m_directory / L"a\\b\\trace.log"),
                Contains(f_isRecord('E', "ICEventLog::ICEventLog",
                                    StartsWith("Failure registering logging event source 'hsmbase-tests':\n"))));
}

// ------------------------------------------------------------------------------------------ every call that can fail

namespace
{
// Lets a frame come up again in this process, and forgets the logs that stay by design.
void f_forgetTheFrame()
{
    ICTlsHandler::m_dwIndexContext = 0xffffffff;
    delete std::exchange(ICLog::m_pThis, nullptr);
    delete std::exchange(ICAdminLog::m_pThis, nullptr);
}

// Whether a frame comes up or fails by an ICErrno, and is down afterwards, with the nth call of the import failing.
// `isReached` tells whether there was such a call.
bool f_isFrameSound(ICProgramFrame::OPTIONS const & options, char const * import, ulong call, bool & isReached)
{
    ICImportFault const fault(import, ERROR_ACCESS_DENIED, ICCalls::mf_only(call));
    try {
        ICProgramFrame const frame(options);
        f_failForTheAdministrator();
    }
    catch (ICErrno &) {
    }
    isReached = fault.mf_getCalls() >= call;
    bool const isSound = f_isAllDown() && ICEventLog::m_pThis == nullptr;
    f_forgetTheFrame();
    return isSound;
}
} // namespace

IC_CHILD(frame_sweep)
{
    // Where a log goes whose directory can't be learnt.
    ::SetCurrentDirectoryW(arguments[1].c_str());
    int round = 0;
    for (std::size_t index = 2; index < arguments.size(); ++index) {
        std::string const import(arguments[index].begin(), arguments[index].end());
        bool isReached = true;
        for (ulong call = 1; isReached; ++call) {
            ICProgramFrame::OPTIONS options = f_loggingOptions(arguments);
            // The administrator's log keeps its file.
            options.m_logDirectory.AppendFormat(L"\\%s-%d", arguments[index].c_str(), ++round);
            // Only a file that is there is read.
            if (import == "ReadFile") {
                ::CreateDirectoryW(options.m_logDirectory, nullptr);
                f_writeFile((options.m_logDirectory + L"\\trace.log").GetString(), "text");
            }
            if (f_isFrameSound(options, import.c_str(), call, isReached)) continue;
            std::printf("%s, call %lu\n", import.c_str(), call);
            return 1;
        }
        if (round < 2) return 2; // not one such call
    }
    return 0;
}

TEST_F(ICProgramFrameLogs, AnyCallThatFails_LeavesTheFrameUpOrDown)
{
    static wchar_t const * const imports[] = {L"RegOpenKeyExW",
                                              L"RegCreateKeyExW",
                                              L"RegQueryValueExW",
                                              L"RegSetValueExW",
                                              L"RegCloseKey",
                                              L"CreateFileW",
                                              L"ReadFile",
                                              L"WriteFile",
                                              L"SetFilePointerEx",
                                              L"CloseHandle",
                                              L"GetFileAttributesW",
                                              L"CreateDirectoryW",
                                              L"LoadLibraryW",
                                              L"GetProcAddress",
                                              L"FreeLibrary",
                                              L"LoadStringW",
                                              L"FormatMessageW",
                                              L"TlsAlloc",
                                              L"TlsSetValue",
                                              L"TlsFree",
                                              L"RegisterEventSourceW",
                                              L"DeregisterEventSource"};
    for (wchar_t const * const import : imports) {
        ICChildProcess child("frame_sweep", {m_registry.mf_getPath(), m_directory.mf_getPath(), import});
        EXPECT_EQ(0u, child.mf_getExitCode())
            << testing::PrintToString(import) << child.mf_getOutput() << child.mf_getErrors();
    }
}
