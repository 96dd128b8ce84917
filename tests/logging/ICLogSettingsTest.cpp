#include "tests/support/ICTracedProcess.h"

#include "hsmbase/system/ICProcessInfo.h"
#include "tests/support/ICChildProcess.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/Thrown.h"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::StartsWith;

// Settings that change while the log is open.

namespace
{

constexpr char UPDATE[] = "ICLog::mf_updateParameters";

class ICLogSettings : public testing::Test
{
protected:
    ICRegistrySandbox const & mf_getRegistry() const { return m_process.mf_getRegistry(); }

    ulong mf_getNumber(wchar_t const * name) const
    {
        auto const value = mf_getRegistry().mf_read(L"", name);
        ulong number = 0xbad;
        if (value && value->m_type == REG_DWORD) value->m_bytes.copy(reinterpret_cast<char *>(&number), sizeof(number));
        return number;
    }

    std::vector<ICTraceRecord> mf_update() const
    {
        return m_process.mf_trace([] { ICLog::mf_updateParameters(); });
    }

    ICTracedProcess const m_process;
};

} // namespace

// ----------------------------------------------------------------------------------------------------------- levels

TEST_F(ICLogSettings, Level_AlwaysHoldsErrorAndSevere)
{
    ICLog::mf_setLogLevel(0ul);
    EXPECT_EQ(0x00000003u, ICLog::m_pThis->m_ulLogSlots);
    EXPECT_EQ(0x71711113u, mf_getNumber(L"LogLevel")) << "for this run only";
}

TEST_F(ICLogSettings, Level_IsTold)
{
    EXPECT_THAT(m_process.mf_trace([] { ICLog::mf_setLogLevel(0x10400110ul); }),
                ElementsAre(f_isRecord('I', "ICLog::mf_setLogLevel", "Log level changed, log slots = 0x10400113")));
}

TEST_F(ICLogSettings, Letters_AreFreeInCaseOrderAndNumber)
{
    struct CASE
    {
        wchar_t const * letters;
        ulong slots;
    };
    CASE const cases[] = {{L"ew", 0x00000013},
                          {L"", 0x00000003},
                          {L"TTTt", 0x00001003},
                          {L"I", 0x00000103},
                          {L"GULCKFXDTIWES", 0x71711113}};
    for (CASE const & testCase : cases) {
        ICLog::mf_setLogLevel(CString(testCase.letters));
        EXPECT_EQ(testCase.slots, ICLog::m_pThis->m_ulLogSlots) << testing::PrintToString(testCase.letters);
    }
}

TEST_F(ICLogSettings, OtherCharacters_AreAFailureWithAMessage)
{
    for (wchar_t const * const letters : {L"EQQ", L"e w", L"\x20ac"}) {
        ulong const slots = ICLog::m_pThis->m_ulLogSlots;
        EXPECT_THAT(m_process.mf_run([&] { ICLog::mf_setLogLevel(CString(letters)); }),
                    f_fails(ICErrno::_E_::Logging, 'E', "ICLog::mf_implStringToLevel", StartsWith("Log flag(s) '")));
        EXPECT_EQ(slots, ICLog::m_pThis->m_ulLogSlots);
    }
    EXPECT_THAT(
        m_process.mf_run([&] { ICLog::mf_setLogLevel(CString(L"eQqw ")); }),
        f_fails(ICErrno::_E_::Logging, 'E', "ICLog::mf_implStringToLevel", "Log flag(s) 'QQ ' are not supported"));
}

TEST_F(ICLogSettings, OtherCharacters_HaveTheirMessage)
{
    try {
        ICLog::mf_setLogLevel(CString(L"Q"));
        ADD_FAILURE() << "nothing was thrown";
    }
    catch (ICErrno & failure) {
        ICErrnoData const & data = failure.mf_getErrnoData();
        EXPECT_STREQ(L"KVR27069E", data.mf_getKVRNumber());
        EXPECT_NE(nullptr, std::wcsstr(data.mf_getMessageText(), ICProcessInfo::mf_getName()));
        EXPECT_TRUE(data.mf_hasExplanation() && data.mf_hasSystemAction() && data.mf_hasUserResponse());
        EXPECT_TRUE(data.mf_isAdminLogFlagSet());
    }
}

// ---------------------------------------------------------------------------------------------------- single settings

TEST_F(ICLogSettings, MaxFileSize_IsStoredAsGivenAndCorrectedInTheLog)
{
    auto const records = m_process.mf_trace([] { ICLog::mf_setMaxFileSize(49, 95); });
    EXPECT_EQ(49u, mf_getNumber(L"LogFileSize"));
    EXPECT_EQ(95u, mf_getNumber(L"LogFilePercent"));
    EXPECT_EQ(51200, ICLog::m_pThis->m_nMaxFileSize);
    EXPECT_EQ(90u, ICLog::m_pThis->m_ulFilePercent);
    EXPECT_THAT(records, Contains(f_isRecord('I', "ICLog::mf_setMaxFileSize",
                                             "Log file settings written, max file size = 51200 bytes, file percent = "
                                             "90%")));
}

TEST_F(ICLogSettings, MaxFileSizeBeyondAllBounds_IsTheLargest)
{
    for (long long const kBytes : {0x100000000ll, 0x7fffffffffffffffll}) {
        ICLog::mf_setMaxFileSize(100, 50);
        EXPECT_THAT(m_process.mf_trace([&] { ICLog::mf_setMaxFileSize(kBytes, 50); }),
                    Contains(f_isRecord('W', "ICLogBase::mf_implRegisterFileSize",
                                        "Max log file size exceeds hard limit (4294967295 kBytes), set to ULONG_MAX "
                                        "(4294967295 kBytes)")));
        EXPECT_EQ(0xffffffffu, mf_getNumber(L"LogFileSize"));
        EXPECT_EQ(0x3fffffffc00, ICLog::m_pThis->m_nMaxFileSize);
    }
}

// Deliberate: the open file goes on in the new width.
TEST_F(ICLogSettings, Codepage_ChangesTheLinesThatFollow)
{
    std::size_t const before = f_readFile(m_process.mf_getLogFile()).size();
    ICLog::mf_setCodepage(0);
    EXPECT_EQ(0u, mf_getNumber(L"LogFileUcs2"));
    std::string const bytes = f_readFile(m_process.mf_getLogFile()).substr(before);
    EXPECT_THAT(bytes, HasSubstr("I: Log file codepage changed, UCS-2=FALSE\r\n"));
    ICLog::mf_setCodepage(1);
    EXPECT_EQ(1u, mf_getNumber(L"LogFileUcs2"));
}

TEST_F(ICLogSettings, Codepage_IsTold)
{
    EXPECT_THAT(m_process.mf_trace([] { ICLog::mf_setCodepage(1); }),
                Contains(f_isRecord('I', "ICLog::mf_setCodepage", "Log file codepage changed, UCS-2=TRUE")));
}

// ------------------------------------------------------------------------------------------------------- all settings

TEST_F(ICLogSettings, UpdateWithoutChanges_TellsSo)
{
    EXPECT_THAT(mf_update(),
                IsSupersetOf({f_isRecord('T', UPDATE, "Log slots not changed, 0x71711113"),
                              f_isRecord('T', UPDATE, "Log wrapping not changed, TRUE"),
                              f_isRecord('T', UPDATE, "Log max file size/percent not changed, 10240000 bytes/66%"),
                              f_isRecord('T', UPDATE, StartsWith("Log file location '")),
                              f_isRecord('T', UPDATE, "Log file encoding has not changed: 'UCS-2'")}));
}

TEST_F(ICLogSettings, UpdateWithoutChanges_LeavesTheFileOpen)
{
    ICImportFault const close("CloseHandle");
    HANDLE const file = ICLog::m_pThis->m_hFile;
    ICLog::mf_updateParameters();
    EXPECT_EQ(file, ICLog::m_pThis->m_hFile);
}

TEST_F(ICLogSettings, UpdatedSlots_AreToldByTheNewSlots)
{
    mf_getRegistry().mf_writeNumber(L"", L"LogLevel", 0x1100);
    EXPECT_THAT(mf_update(), Contains(f_isRecord('I', UPDATE, "Updated log slots, 0x71711113 -> 0x00001103")));
    EXPECT_EQ(0x1103u, ICLog::m_pThis->m_ulLogSlots);
}

TEST_F(ICLogSettings, UpdatedSize_IsInForceAtOnce)
{
    mf_getRegistry().mf_writeNumber(L"", L"LogFileSize", 0);
    mf_getRegistry().mf_writeNumber(L"", L"LogFilePercent", 95);
    EXPECT_THAT(
        mf_update(),
        Contains(f_isRecord('I', UPDATE, "Updated max log file size/percent, 10240000 bytes/66% -> 51200 bytes/90%")));
    EXPECT_EQ(51200, ICLog::m_pThis->m_nMaxFileSize);
}

TEST_F(ICLogSettings, AnotherDirectory_TakesTheFollowingLines)
{
    std::wstring const old = m_process.mf_getLogFile();
    std::wstring const directory = m_process.mf_getDirectory() / L"new\\deep";
    mf_getRegistry().mf_writeText(L"", L"LogFileDir", directory);
    std::size_t const before = f_readFile(old).size();
    ICLog::mf_updateParameters();
    EXPECT_EQ(directory + L"\\trace.log", m_process.mf_getLogFile());
    EXPECT_THAT(f_readTrace(old, before),
                IsSupersetOf({f_isRecord('I', UPDATE, StartsWith("Log file location is changing from '")),
                              f_isRecord('I', UPDATE,
                                         "Log file location, wrapping, or encoding has changed, re-starting "
                                         "logging...")}));
    EXPECT_THAT(f_readTrace(directory + L"\\trace.log"),
                ElementsAre(f_isRecord('I', UPDATE,
                                       "Log file location, wrapping, or encoding has changed, logging was "
                                       "re-started")));
}

TEST_F(ICLogSettings, AnotherEncoding_PutsTheOldFileAside)
{
    mf_getRegistry().mf_writeNumber(L"", L"LogFileUcs2", 0);
    std::wstring const old = m_process.mf_getLogFile();
    ICLog::mf_updateParameters();
    EXPECT_THAT(f_readTrace(m_process.mf_getDirectory() / L"backup\\trace-UCS2_LE.log"),
                Contains(f_isRecord('I', UPDATE, "Log file encoding is changing: 'UCS-2' -> 'ASCII'")));
    EXPECT_THAT(f_readTrace(old), ElementsAre(f_isRecord('I', UPDATE, HasSubstr("logging was re-started"))));
    EXPECT_THAT(f_readFile(old), HasSubstr("re-started\r\n")) << "in 8-bit text";
}

TEST_F(ICLogSettings, WrappingOff_BeginsAStampedFile)
{
    mf_getRegistry().mf_writeNumber(L"", L"LogFileWrap", 0);
    std::wstring const old = m_process.mf_getLogFile();
    std::size_t const before = f_readFile(old).size();
    ICLog::mf_updateParameters();
    EXPECT_THAT(f_readTrace(old, before),
                Contains(f_isRecord('I', UPDATE, "Log file wrapping is changing, TRUE -> FALSE")));
    EXPECT_EQ(0, ICLog::m_pThis->m_bWrap);
    EXPECT_TRUE(m_process.mf_getLogFile().starts_with(m_process.mf_getDirectory() / L"trace-20"));

    mf_getRegistry().mf_writeNumber(L"", L"LogFileWrap", 1);
    ICLog::mf_updateParameters();
    EXPECT_EQ(old, m_process.mf_getLogFile());
    EXPECT_EQ(1, ICLog::m_pThis->m_bWrap);
}

// Deliberate: an absent value is created as 0 and read so.
TEST_F(ICLogSettings, AbsentWrapValue_IsReadAsOff)
{
    HKEY key = nullptr;
    ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, mf_getRegistry().mf_getPath().c_str(), 0, KEY_SET_VALUE, &key);
    ::RegDeleteValueW(key, L"LogFileWrap");
    ::RegCloseKey(key);
    ICLog::mf_updateParameters();
    EXPECT_EQ(0, ICLog::m_pThis->m_bWrap);
    EXPECT_EQ(0u, mf_getNumber(L"LogFileWrap"));
}

// The stamp stays in the name while only the directory changes.
TEST_F(ICLogSettings, StampedFile_KeepsItsStampInAnotherDirectory)
{
    mf_getRegistry().mf_writeNumber(L"", L"LogFileWrap", 0);
    ICLog::mf_updateParameters();
    std::wstring const stamped = m_process.mf_getLogFile();
    std::wstring const name = stamped.substr(stamped.rfind(L'\\'));
    mf_getRegistry().mf_writeText(L"", L"LogFileDir", m_process.mf_getDirectory() / L"new");
    ICLog::mf_updateParameters();
    EXPECT_EQ(m_process.mf_getDirectory() / (L"new" + name), m_process.mf_getLogFile());
}

TEST_F(ICLogSettings, FileThatCannotBeOpenedAgain_IsThrownBehindTheLocks)
{
    mf_getRegistry().mf_writeText(L"", L"LogFileDir", m_process.mf_getDirectory() / L"new");
    {
        ICImportFault const denied("CreateFileW", ERROR_ACCESS_DENIED);
        EXPECT_TRUE(f_throws(
            ICErrno::_E_::Logging, [] { ICLog::mf_updateParameters(); }, ERROR_ACCESS_DENIED));
    }
    EXPECT_EQ(0, ICLog::m_pThis->ICLogBase::m_csLock.RecursionCount);
    EXPECT_EQ(0, ICLog::mf_isReady());
    EXPECT_EQ(0, ICLog::m_pThis->m_bStarted);
    ICLog::m_pThis->mf_implStart();
}

TEST_F(ICLogSettings, DirectoryValueOfAnotherType_IsThrownAndTheFileStays)
{
    mf_getRegistry().mf_writeNumber(L"", L"LogFileDir", 5);
    std::wstring const file = m_process.mf_getLogFile();
    EXPECT_THAT(m_process.mf_run([] { ICLog::mf_updateParameters(); }),
                f_fails(ICErrno::_E_::Unexpected, 'E', UPDATE, StartsWith("Failure updating log file location: ")));
    EXPECT_EQ(file, m_process.mf_getLogFile());
    EXPECT_EQ(1, ICLog::mf_isReady());
}

TEST_F(ICLogSettings, RegistryThatRefuses_LeavesTheSettingsButForTheirNeutralAnswers)
{
    ICImportFault const denied("RegOpenKeyExW", ERROR_ACCESS_DENIED);
    ICImportFault const alsoDenied("RegCreateKeyExW", ERROR_ACCESS_DENIED);
    auto const outcome = m_process.mf_run([] { ICLog::mf_updateParameters(); });
    EXPECT_EQ(ICErrno::_E_::Registry.mf_getNumber(), outcome.m_failure.value_or(0)) << "of the directory";
    EXPECT_EQ(ICLogData::LEVEL_DEFAULT.mf_getLogLevel(), ICLog::m_pThis->m_ulLogSlots);
    EXPECT_EQ(10240000, ICLog::m_pThis->m_nMaxFileSize);
}

// ------------------------------------------------------------------------------------- failures of the steps
// themselves

// A step fails as a whole only where its own line does: one whose indented lines don't fit. Whoever meets that keeps
// the lock, so it happens in a process of its own. The argument is the text that the line begins with.
namespace
{
// Each failing line is one whose text begins so; its failure is that of its step.
class ICFailingLine
{
public:
    explicit ICFailingLine(std::string const & beginning)
        : m_beginning(beginning.begin(), beginning.end()),
          m_patch("_vsnwprintf",
                  [this](wchar_t * text, std::size_t room, wchar_t const * format, va_list arguments) -> int {
                      int const length = ::_vsnwprintf(text, room, format, arguments);
                      if (std::wstring(format).starts_with(m_beginning)) throw ICErrno(ICErrno::_E_::Unspecific);
                      return length;
                  })
    {}

private:
    std::wstring const m_beginning;
    ICImportPatch const m_patch;
};
} // namespace

IC_CHILD(log_update_step_fails)
{
    ICTracedProcess const process;
    std::string const beginning(arguments[0].begin(), arguments[0].end());
    std::string const told(arguments[1].begin(), arguments[1].end());
    ICFailingLine const line(beginning);
    auto const outcome = process.mf_run([] { ICLog::mf_updateParameters(); });
    while (ICLog::m_pThis->ICLogBase::m_csLock.RecursionCount > 0)
        ICLog::m_pThis->mf_implUnlock();
    if (outcome.m_failure != ICErrno::_E_::Unspecific.mf_getNumber()) return 1;
    return testing::Value(outcome.m_records, Contains(f_isRecord('E', UPDATE, StartsWith(told)))) ? 0 : 2;
}

TEST(ICLogSettingsChild, StepThatFails_IsToldByItsName)
{
    wchar_t const * const cases[][2] = {
        {L"Log slots not changed", L"Failure updating log file slots: "},
        {L"Log wrapping not changed", L"Failure updating log file size / percent: "},
        {L"Log max file size/percent not", L"Failure updating log file size / percent: "},
        {L"Log file location '", L"Failure updating log file location: "},
        {L"Log file encoding has not", L"Failure updating encoding: "},
    };
    for (auto const & testCase : cases) {
        ICChildProcess child("log_update_step_fails", {testCase[0], testCase[1]});
        EXPECT_EQ(0u, child.mf_getExitCode()) << testing::PrintToString(testCase[0]) << child.mf_getErrors();
    }
}

IC_CHILD(log_codepage_fails)
{
    ICTracedProcess const process;
    ICImportFault const denied("RegOpenKeyExW", ERROR_ACCESS_DENIED);
    ICImportFault const alsoDenied("RegCreateKeyExW", ERROR_ACCESS_DENIED);
    ICFailingLine const line("Failure writing registry key %s");
    auto const outcome = process.mf_run([] { ICLog::mf_setCodepage(1); });
    while (ICLog::m_pThis->ICLogBase::m_csLock.RecursionCount > 0)
        ICLog::m_pThis->mf_implUnlock();
    if (outcome.m_failure) return 1;
    auto const isTold = f_isRecord('E', "ICLog::mf_setCodepage", StartsWith("Failure registring codepage: "));
    return testing::Value(outcome.m_records, Contains(isTold)) ? 0 : 2;
}

TEST(ICLogSettingsChild, CodepageThatCannotBeRegistered_IsTold)
{
    ICChildProcess child("log_codepage_fails");
    EXPECT_EQ(0u, child.mf_getExitCode()) << child.mf_getErrors();
}

// ------------------------------------------------------------------------------------------------------------
// listeners

TEST_F(ICLogSettings, NoListener_IsAFailure)
{
    EXPECT_THAT(m_process.mf_run([] { ICLog::mf_registerLogListener(nullptr); }),
                f_fails(ICErrno::_E_::Parameter, 'E', "ICLog::mf_registerLogListener", "NULL == _pEventListener"));
    EXPECT_THAT(m_process.mf_run([] { ICLog::mf_removeLogListener(nullptr); }),
                f_fails(ICErrno::_E_::Parameter, 'E', "ICLog::mf_removeLogListener", "NULL == _pEventListener"));
}

TEST(ICLogWithoutLog, ListenersAreRefused)
{
    auto * const listener = reinterpret_cast<ICEventListener const *>(0x1000);
    EXPECT_TRUE(f_throws(ICErrno::_E_::Logging, [&] { ICLog::mf_registerLogListener(listener); }));
    EXPECT_TRUE(f_throws(ICErrno::_E_::Logging, [&] { ICLog::mf_removeLogListener(listener); }));
    EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [] { ICLog::mf_registerLogListener(nullptr); }));
}
