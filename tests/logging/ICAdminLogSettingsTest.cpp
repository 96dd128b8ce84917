// The settings of the administrator's log, and how it follows the registry while it is open.
#include "hsmbase/paths/ICFileSize.h"
#include "tests/logging/ICAdminLogFixture.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/Thrown.h"

using testing::_;
using testing::AllOf;
using testing::Contains;
using testing::EndsWith;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace
{

char const * const UPDATE = "ICAdminLog::mf_updateParameters";

class ICAdminLogSettings : public ICAdminLogFixture
{
protected:
    // Where an update puts the file: beside the trace log.
    std::wstring mf_getTraceDirectory() const { return m_process.mf_getDirectory().mf_getPath(); }
    void mf_openBesideTheTraceLog() const
    {
        mf_getRegistry().mf_writeText(L"", L"AdminLogFileDir", mf_getTraceDirectory());
        mf_open();
    }
    std::wstring mf_getMovedPath() const { return mf_getTraceDirectory() + L"\\admin.log"; }

    ulong mf_readNumber(wchar_t const * name) const
    {
        ulong number = 0;
        mf_getRegistry().mf_read(L"", name)->m_bytes.copy(reinterpret_cast<char *>(&number), sizeof(number));
        return number;
    }

    ICTracedAction mf_update() const
    {
        return m_process.mf_run([] { ICAdminLog::mf_updateParameters(); });
    }
};

std::string f_narrow(std::wstring const & text)
{
    return std::string(text.begin(), text.end());
}

// Lines of this format can't be rendered: a failure where nothing else can fail.
class ICThrowingLine
{
public:
    explicit ICThrowingLine(wchar_t const * format)
        : m_format(format),
          m_patch("_vsnwprintf", [this](wchar_t * text, std::size_t room, wchar_t const * given, va_list arguments) {
              if (m_format.compare(given) != 0) return ::_vsnwprintf(text, room, given, arguments);
              ++m_thrown;
              throw ICErrno(ICErrno::_E_::Unexpected);
          })
    {}
    ICThrowingLine(ICThrowingLine const &) = delete;
    ICThrowingLine & operator=(ICThrowingLine const &) = delete;

    // Whose line throws, keeps the trace log's lock.
    ~ICThrowingLine()
    {
        EXPECT_EQ(1, m_thrown);
        for (; m_thrown > 0; --m_thrown)
            ICLog::m_pThis->mf_implUnlock();
    }

private:
    std::wstring const m_format;
    int m_thrown = 0;
    ICImportPatch const m_patch;
};

} // namespace

// ----------------------------------------------------------------------------------------------------- single settings

TEST_F(ICAdminLogSettings, MaxFileSize_IsTakenStoredAndTold)
{
    mf_open();
    EXPECT_THAT(m_process.mf_trace([] { ICAdminLog::mf_setMaxFileSize(ICFileSize(200), 20); }),
                Contains(f_isRecord('I', "ICAdminLog::mf_setMaxFileSize",
                                    "Log file settings changed, max file size = 204800 bytes, file percent = 20%")));
    EXPECT_EQ(204800, mf_log().m_nMaxFileSize);
    EXPECT_EQ(20u, mf_log().m_ulFilePercent);
    EXPECT_EQ(200u, mf_readNumber(L"AdminLogFileSize"));
    EXPECT_EQ(20u, mf_readNumber(L"AdminLogFilePercent"));
}

TEST_F(ICAdminLogSettings, MaxFileSizeOutOfLimits_IsStoredAsItIsAndCorrected)
{
    mf_open();
    EXPECT_THAT(m_process.mf_trace([] { ICAdminLog::mf_setMaxFileSize(ICFileSize(7), 99); }),
                Contains(f_isRecord('I', "ICAdminLog::mf_setMaxFileSize",
                                    "Log file settings changed, max file size = 51200 bytes, file percent = 90%")));
    EXPECT_EQ(7u, mf_readNumber(L"AdminLogFileSize"));
    EXPECT_EQ(99u, mf_readNumber(L"AdminLogFilePercent"));
}

// Deliberate: the open file goes on in the other width.
TEST_F(ICAdminLogSettings, Codepage_IsInForceWithoutARestart)
{
    mf_open();
    {
        f_owed(L"one");
    }
    std::string const first = mf_getBytes();
    EXPECT_THAT(m_process.mf_trace([] { ICAdminLog::mf_setCodepage(1); }),
                Contains(f_isRecord('I', "ICAdminLog::mf_setCodepage",
                                    "Administrative log file codepage changed, UCS-2=TRUE")));
    EXPECT_EQ(1u, mf_readNumber(L"AdminLogFileUcs2"));
    {
        f_owed(L"two");
    }
    EXPECT_THAT(mf_getBytes(), AllOf(StartsWith(first), EndsWith(f_wideBytes(L" KVR1E two\r\n"))));
    EXPECT_THAT(m_process.mf_trace([] { ICAdminLog::mf_setCodepage(0); }),
                Contains(f_isRecord('I', "ICAdminLog::mf_setCodepage",
                                    "Administrative log file codepage changed, UCS-2=FALSE")));
    EXPECT_EQ(0u, mf_readNumber(L"AdminLogFileUcs2"));
}

TEST_F(ICAdminLogSettings, CodepageThatCannotBeStored_IsInForceAllTheSame)
{
    mf_open();
    ICImportFault const denied("RegSetValueExW", ERROR_ACCESS_DENIED);
    auto const records = m_process.mf_trace([] { ICAdminLog::mf_setCodepage(1); });
    EXPECT_THAT(records, Contains(f_isRecord('E', "ICLogBase::mf_implRegisterCodepage",
                                             StartsWith("Failure writing registry key AdminLogFileUcs2:\n"))));
    EXPECT_THAT(records, Contains(f_isRecord('I', "ICAdminLog::mf_setCodepage",
                                             "Administrative log file codepage changed, UCS-2=TRUE")));
    EXPECT_EQ(1, mf_log().m_bUcs2);
}

TEST_F(ICAdminLogSettings, CodepageWhoseFailureCannotBeTraced_IsTold)
{
    mf_open();
    ICImportFault const denied("RegSetValueExW", ERROR_ACCESS_DENIED);
    ICThrowingLine const line(L"Failure writing registry key %s:\r\n%s%s. Continuing ...");
    EXPECT_THAT(m_process.mf_trace([] { ICAdminLog::mf_setCodepage(1); }),
                Contains(f_isRecord('E', "ICAdminLog::mf_setCodepage", StartsWith("Failure registring codepage: "))));
}

TEST_F(ICAdminLogSettings, Flush_IsThatOfTheFile)
{
    mf_open();
    HANDLE flushed = nullptr;
    ICImportPatch const flush(IC_IMPORT(FlushFileBuffers), [&](HANDLE file) {
        flushed = file;
        return TRUE;
    });
    ICAdminLog::mf_flush();
    EXPECT_EQ(mf_log().m_hFile, flushed);
    EXPECT_EQ("", mf_getBytes());
}

TEST_F(ICAdminLogSettings, FailedFlush_IsToldInTheFile)
{
    mf_open();
    ICImportFault const full("FlushFileBuffers", ERROR_DISK_FULL);
    ICAdminLog::mf_flush();
    EXPECT_EQ(f_halfOf(L"ICAdminLog::mf_flush: FAILURE FLUSHING LOG FILE (112)"), mf_getBytes());
}

// Without a file there is no place for the note.
TEST_F(ICAdminLogSettings, NotReady_NothingHappens)
{
    auto const all = [] {
        ICAdminLog::mf_setMaxFileSize(ICFileSize(200), 20);
        ICAdminLog::mf_setCodepage(1);
        ICAdminLog::mf_updateParameters();
        ICAdminLog::mf_flush();
    };
    EXPECT_THAT(m_process.mf_trace(all), IsEmpty());
    mf_open();
    mf_log().mf_implStop();
    EXPECT_THAT(m_process.mf_trace(all), IsEmpty());
    EXPECT_EQ(10240000, mf_log().m_nMaxFileSize);
    EXPECT_EQ(0, mf_log().m_bUcs2);
    EXPECT_EQ("", mf_getBytes());
}

// -------------------------------------------------------------------------------------------------------- all settings

TEST_F(ICAdminLogSettings, Update_WithoutAChange)
{
    mf_openBesideTheTraceLog();
    HANDLE const file = mf_log().m_hFile;
    auto const records = mf_update().m_records;
    std::string const path = f_narrow(mf_getMovedPath());
    EXPECT_THAT(records,
                Contains(f_isRecord('T', UPDATE, "Admin log max file size/percent not changed, 10240000 bytes/66%")));
    EXPECT_THAT(records, Contains(f_isRecord('T', UPDATE, "Admin log file location '" + path + "' not changed")));
    EXPECT_THAT(records, Contains(f_isRecord('T', UPDATE, "Admin log file encoding has not changed: 'ASCII'")));
    EXPECT_THAT(records, Not(Contains(f_isRecord('I', UPDATE, _))));
    EXPECT_EQ(file, mf_log().m_hFile);
}

TEST_F(ICAdminLogSettings, Update_OfSizeAndPercentage)
{
    mf_openBesideTheTraceLog();
    mf_getRegistry().mf_writeNumber(L"", L"AdminLogFileSize", 200);
    EXPECT_THAT(mf_update().m_records,
                Contains(f_isRecord(
                    'I', UPDATE, "Updated admin log max file size/percent, 10240000 bytes/66% -> 204800 bytes/66%")));
    mf_getRegistry().mf_writeNumber(L"", L"AdminLogFilePercent", 20);
    EXPECT_THAT(mf_update().m_records,
                Contains(f_isRecord('I', UPDATE,
                                    "Updated admin log max file size/percent, 204800 bytes/66% -> 204800 bytes/20%")));
}

// Deliberate: by the trace log's value, whatever the log's own says.
TEST_F(ICAdminLogSettings, Update_FollowsTheDirectoryOfTheTraceLog)
{
    mf_open();
    {
        f_owed(L"one");
    }
    std::string const first = mf_getBytes();
    auto const records = mf_update().m_records;
    EXPECT_THAT(records, Contains(f_isRecord('I', UPDATE,
                                             "Admin log file location is changing from '" + f_narrow(m_path) +
                                                 "'\nto '" + f_narrow(mf_getMovedPath()) + "'")));
    EXPECT_THAT(records, Contains(f_isRecord(
                             'I', UPDATE, "Admin log file location or encoding has changed, re-starting logging ...")));
    EXPECT_THAT(records, Contains(f_isRecord(
                             'I', UPDATE, "Admin log file location or encoding has changed, logging was re-started")));
    EXPECT_STREQ(mf_getMovedPath().c_str(), ICAdminLog::mf_getFileName());
    {
        f_owed(L"two");
    }
    EXPECT_EQ(first, mf_getBytes());
    EXPECT_THAT(f_readFile(mf_getMovedPath()), EndsWith(" KVR1E two\r\n"));
}

TEST_F(ICAdminLogSettings, Update_OfTheEncoding_PutsTheFileAside)
{
    mf_openBesideTheTraceLog();
    {
        f_owed(L"one");
    }
    mf_getRegistry().mf_writeNumber(L"", L"AdminLogFileUcs2", 1);
    EXPECT_THAT(mf_update().m_records,
                Contains(f_isRecord('I', UPDATE, "Admin log file encoding is changing: 'ASCII' -> 'UCS-2'")));
    {
        f_owed(L"two");
    }
    std::string const bytes = f_readFile(mf_getMovedPath());
    EXPECT_THAT(bytes, AllOf(StartsWith("\xff\xfe"), EndsWith(f_wideBytes(L" KVR1E two\r\n"))));
    EXPECT_THAT(f_readFile(mf_getTraceDirectory() + L"\\backup\\admin-ASCII.log"), EndsWith(" KVR1E one\r\n"));

    EXPECT_THAT(mf_update().m_records,
                Contains(f_isRecord('T', UPDATE, "Admin log file encoding has not changed: 'UCS-2'")));
    mf_getRegistry().mf_writeNumber(L"", L"AdminLogFileUcs2", 0);
    EXPECT_THAT(mf_update().m_records,
                Contains(f_isRecord('I', UPDATE, "Admin log file encoding is changing: 'UCS-2' -> 'ASCII'")));
    EXPECT_THAT(f_readFile(mf_getMovedPath()), EndsWith(" KVR1E one\r\n"));
}

TEST_F(ICAdminLogSettings, Update_HoldsTheLockThroughout)
{
    mf_open();
    bool isHeld = true;
    ICImportPatch const create(IC_IMPORT(CreateFileW), [&](auto... arguments) {
        isHeld = isHeld && mf_log().m_csLock.RecursionCount > 0;
        return ::CreateFileW(arguments...);
    });
    mf_update();
    EXPECT_TRUE(isHeld);
    EXPECT_EQ(0, mf_log().m_csLock.RecursionCount);
}

// ----------------------------------------------------------------------------------------------- failures of an update

TEST_F(ICAdminLogSettings, UpdateWhoseDirectoryCannotBeRead)
{
    mf_open();
    mf_getRegistry().mf_writeNumber(L"", L"LogFileDir", 1);
    mf_getRegistry().mf_writeNumber(L"", L"AdminLogFileSize", 200);
    mf_getRegistry().mf_writeNumber(L"", L"AdminLogFileUcs2", 1);
    auto const outcome = mf_update();
    EXPECT_THAT(outcome, f_fails(ICErrno::_E_::Unexpected, 'E', UPDATE,
                                 StartsWith("Failure updating admin log file location: ")));
    // All other steps are done.
    EXPECT_EQ(204800, mf_log().m_nMaxFileSize);
    EXPECT_EQ(1, mf_log().m_bUcs2);
    EXPECT_STREQ(m_path.c_str(), ICAdminLog::mf_getFileName());
    EXPECT_EQ("\xff\xfe", mf_getBytes());
    EXPECT_EQ(0, mf_log().m_csLock.RecursionCount);
}

TEST_F(ICAdminLogSettings, UpdateThatCannotOpenTheFile)
{
    mf_open();
    std::wstring const moved = mf_getMovedPath();
    ICImportPatch const denied(IC_IMPORT(CreateFileW), [&](LPCWSTR path, auto... arguments) {
        if (std::wstring_view(path).find(L"admin.log") == std::wstring_view::npos)
            return ::CreateFileW(path, arguments...);
        ::SetLastError(ERROR_ACCESS_DENIED);
        return INVALID_HANDLE_VALUE;
    });
    auto const outcome = mf_update();
    EXPECT_THAT(outcome, f_fails(ICErrno::_E_::Logging, ERROR_ACCESS_DENIED, 'E', UPDATE,
                                 StartsWith("Failure re-starting logging: ")));
    // Said all the same.
    EXPECT_THAT(
        outcome.m_records,
        Contains(f_isRecord('I', UPDATE, "Admin log file location or encoding has changed, logging was re-started")));
    EXPECT_FALSE(ICAdminLog::mf_isReady());
    EXPECT_STREQ(moved.c_str(), mf_log().m_sPath);
}

TEST_F(ICAdminLogSettings, UpdateWithTwoFailures_ThrowsTheFirst)
{
    mf_open();
    mf_getRegistry().mf_writeNumber(L"", L"LogFileDir", 1);
    mf_getRegistry().mf_writeNumber(L"", L"AdminLogFileUcs2", 1);
    ICImportPatch const denied(IC_IMPORT(CreateFileW), [&](LPCWSTR path, auto... arguments) {
        if (std::wstring_view(path).find(L"admin.log") == std::wstring_view::npos)
            return ::CreateFileW(path, arguments...);
        ::SetLastError(ERROR_ACCESS_DENIED);
        return INVALID_HANDLE_VALUE;
    });
    auto const outcome = mf_update();
    EXPECT_EQ(ICErrno::_E_::Unexpected.mf_getNumber(), outcome.m_failure);
    EXPECT_THAT(outcome.m_records, Contains(f_isRecord('E', UPDATE, StartsWith("Failure re-starting logging: "))));
}

TEST_F(ICAdminLogSettings, UpdateWhoseRegistryFails_GoesOnWithTheSettingsInHand)
{
    mf_openBesideTheTraceLog();
    mf_getRegistry().mf_writeNumber(L"", L"AdminLogFileSize", 200);
    mf_getRegistry().mf_writeNumber(L"", L"AdminLogFilePercent", 20);
    ICImportFault const denied("RegOpenKeyExW", ERROR_ACCESS_DENIED);
    auto const outcome = mf_update();
    // Only the directory has no number in hand.
    EXPECT_THAT(outcome, f_fails(ICErrno::_E_::Registry, ERROR_ACCESS_DENIED, 'E', UPDATE,
                                 StartsWith("Failure updating admin log file location: ")));
    EXPECT_EQ(10240000, mf_log().m_nMaxFileSize);
    EXPECT_EQ(66u, mf_log().m_ulFilePercent);
}

TEST_F(ICAdminLogSettings, UpdateWhoseSizeCannotBeTraced)
{
    mf_openBesideTheTraceLog();
    ICThrowingLine const line(L"Admin log max file size/percent not changed, %I64d bytes/%lu%c");
    EXPECT_THAT(mf_update(), f_fails(ICErrno::_E_::Unexpected, 'E', UPDATE,
                                     StartsWith("Failure updating log file size / percent: ")));
}

// Deliberate: in the words of the size.
TEST_F(ICAdminLogSettings, UpdateWhoseEncodingCannotBeTraced)
{
    mf_openBesideTheTraceLog();
    ICThrowingLine const line(L"Admin log file encoding has not changed: '%s'");
    EXPECT_THAT(mf_update(), f_fails(ICErrno::_E_::Unexpected, 'E', UPDATE,
                                     StartsWith("Failure updating admin log file size / percent: ")));
}
