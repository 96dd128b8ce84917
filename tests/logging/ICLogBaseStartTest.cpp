// Opening and closing a log file, the names of stamped files, and the last resort of a log that fails.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "hsmbase/context/ICString.h"
#include "tests/logging/ICTestLog.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/ICTracedProcess.h"
#include "tests/support/Thrown.h"

using testing::_;
using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace
{

std::string const MARK = "\xff\xfe";
char const * const START = "ICLogBase::mf_implStart";

class ICLogBaseStart : public testing::Test
{
protected:
    std::string mf_getBytes() const { return f_readFile(m_path); }
    void mf_write(std::string_view bytes) const { f_writeFile(m_path, bytes); }

    // The bytes of the file after a start and a stop.
    std::string mf_startAndStop(int ucs2, int wrap = 1) const
    {
        ICTestLog log(m_path, ucs2);
        log.m_bWrap = wrap;
        log.mf_implStart();
        log.mf_implStop();
        return mf_getBytes();
    }

    ICTemporaryDirectory const m_directory;
    std::wstring const m_path = m_directory / L"a.log";
    ICTracedProcess const m_process;
};

// Fails what writes the mark, and no record of the trace log.
struct ICNoMark
{
    ICImportPatch const m_patch{IC_IMPORT(WriteFile),
                                [](HANDLE file, void const * bytes, DWORD size, DWORD * count, auto * other) -> BOOL {
                                    if (size != 2) return ::WriteFile(file, bytes, size, count, other);
                                    ::SetLastError(ERROR_DISK_FULL);
                                    return FALSE;
                                }};
};

} // namespace

// --------------------------------------------------------------------------------------------------------- start, stop

TEST_F(ICLogBaseStart, Started_HasAnOpenFile)
{
    ICTestLog log(m_path);
    EXPECT_FALSE(log.mf_implIsFileOpen());
    log.mf_implStart();
    EXPECT_EQ(1, log.m_bStarted);
    EXPECT_TRUE(log.mf_implIsFileOpen());
    EXPECT_STREQ(m_path.c_str(), log.mf_implGetPath());
    EXPECT_TRUE(f_isThere(m_path));
}

TEST_F(ICLogBaseStart, Stopped_HasNone)
{
    ICTestLog log(m_path);
    log.mf_implStart();
    for (int round = 0; round < 2; ++round) {
        log.mf_implStop();
        EXPECT_EQ(0, log.m_bStarted);
        EXPECT_EQ(INVALID_HANDLE_VALUE, log.m_hFile);
    }
    log.mf_implStart();
    EXPECT_EQ(1, log.m_bStarted);
}

TEST_F(ICLogBaseStart, StopOfANullHandle_ClosesNothing)
{
    ICTestLog log;
    log.m_hFile = nullptr;
    ICImportFault const closes("CloseHandle");
    log.mf_implStop();
    EXPECT_EQ(INVALID_HANDLE_VALUE, log.m_hFile);
    EXPECT_EQ(0u, closes.mf_getCalls());
}

TEST_F(ICLogBaseStart, FileIsOpenedForReadersAndChildren)
{
    ICTestLog log(m_path);
    log.m_bWrap = 0;
    struct
    {
        DWORD access, share, disposition, flags;
        BOOL inherits;
    } seen = {};
    ICImportPatch const create(IC_IMPORT(CreateFileW),
                               [&](LPCWSTR path, DWORD access, DWORD share, SECURITY_ATTRIBUTES * security,
                                   DWORD disposition, DWORD flags, HANDLE model) {
                                   seen = {access, share, disposition, flags, security && security->bInheritHandle};
                                   return ::CreateFileW(path, access, share, security, disposition, flags, model);
                               });
    log.mf_implStart();
    EXPECT_EQ(GENERIC_READ | GENERIC_WRITE, seen.access);
    EXPECT_EQ(DWORD(FILE_SHARE_READ), seen.share);
    EXPECT_EQ(DWORD(OPEN_ALWAYS), seen.disposition);
    EXPECT_EQ(DWORD(FILE_ATTRIBUTE_NORMAL | FILE_FLAG_SEQUENTIAL_SCAN), seen.flags);
    EXPECT_TRUE(seen.inherits);
}

TEST_F(ICLogBaseStart, PositionIsNotMoved)
{
    mf_write("old line\r\n");
    ICTestLog log(m_path);
    log.mf_implStart();
    EXPECT_EQ(0, log.mf_getPosition());
    log.m_nMaxFileSize = 1000;
    EXPECT_EQ(1, log.mf_implTruncateFile(1));
    EXPECT_EQ(10, log.mf_getPosition());
}

// ------------------------------------------------------------------------------------------------------------ encoding

TEST_F(ICLogBaseStart, NewFile_GetsTheMarkInUcs2Only)
{
    EXPECT_EQ("", mf_startAndStop(0));
    ::DeleteFileW(m_path.c_str());
    EXPECT_EQ(MARK, mf_startAndStop(1));
}

TEST_F(ICLogBaseStart, EmptyFile_GetsTheMark)
{
    for (int const wrap : {0, 1}) {
        mf_write("");
        EXPECT_EQ(MARK, mf_startAndStop(1, wrap));
    }
}

TEST_F(ICLogBaseStart, FileOfTheWantedEncoding_StaysAsItIs)
{
    mf_write("line\r\n");
    EXPECT_EQ("line\r\n", mf_startAndStop(0));
    std::string const wide = MARK + f_wideBytes(L"line\r\n");
    mf_write(wide);
    EXPECT_EQ(wide, mf_startAndStop(1));
    EXPECT_FALSE(f_isThere(m_directory / L"backup"));
}

TEST_F(ICLogBaseStart, FileOfAnotherEncoding_IsPutAside)
{
    mf_write("line\r\n");
    EXPECT_EQ(MARK, mf_startAndStop(1));
    EXPECT_EQ("line\r\n", f_readFile(m_directory / L"backup\\a-ASCII.log"));
    // And comes back.
    EXPECT_EQ("line\r\n", mf_startAndStop(0));
    EXPECT_EQ(MARK, f_readFile(m_directory / L"backup\\a-UCS2_LE.log"));
}

TEST_F(ICLogBaseStart, FileOfAnotherEncoding_StaysWithoutWrapping)
{
    mf_write("line\r\n");
    EXPECT_EQ("line\r\n", mf_startAndStop(1, 0));
    EXPECT_FALSE(f_isThere(m_directory / L"backup"));
}

TEST_F(ICLogBaseStart, FileOfNoEncoding_IsAFailure)
{
    mf_write(std::string_view("\0\0", 2));
    for (int const ucs2 : {0, 1}) {
        ICTestLog log(m_path, ucs2);
        std::string const start =
            ucs2 ? "Failure installing file encoding (UCS-2): " : "Failure installing file encoding (ASCII): ";
        EXPECT_THAT(m_process.mf_run([&] { log.mf_implStart(); }),
                    f_fails(ICErrno::_E_::Unknown, 'E', START, StartsWith(start)));
        EXPECT_EQ(0, log.m_bStarted);
        EXPECT_FALSE(log.mf_implIsFileOpen());
    }
}

TEST_F(ICLogBaseStart, MarkThatCannotBeWritten_IsAFailure)
{
    ICTestLog log(m_path, 1);
    ICNoMark const noMark;
    std::string const path(m_path.begin(), m_path.end());
    EXPECT_THAT(m_process.mf_run([&] { log.mf_implStart(); }),
                f_fails(ICErrno::_E_::FileWrite, ERROR_DISK_FULL, 'E', START,
                        StartsWith("Failure writing byte-order mark to log file '" + path + "':\n")));
    EXPECT_EQ(0, log.m_bStarted);
    EXPECT_FALSE(log.mf_implIsFileOpen());
}

TEST_F(ICLogBaseStart, MarkOfTheTraceLogThatCannotBeWritten_LeavesItNotReady)
{
    m_process.mf_getRegistry().mf_writeText(L"", L"LogFileDir", m_directory.mf_getPath());
    {
        ICNoMark const noMark;
        EXPECT_TRUE(f_throws(
            ICErrno::_E_::FileWrite, [] { ICLog::mf_updateParameters(); }, ERROR_DISK_FULL));
    }
    EXPECT_FALSE(ICLog::mf_isReady());
    ICLog::m_pThis->mf_implStart();
    EXPECT_TRUE(ICLog::mf_isReady());
}

// ------------------------------------------------------------------------------------------------- file does not open

TEST_F(ICLogBaseStart, FileThatAnotherHolds_IsAFailureForTheAdministrator)
{
    mf_write("line\r\n");
    ICTestLog first(m_path), second(m_path);
    first.mf_implStart();
    try {
        second.mf_implStart();
        FAIL() << "opened";
    }
    catch (ICErrno & failure) {
        ICErrnoData const & data = failure.mf_getErrnoData();
        EXPECT_TRUE(failure.mf_isErrno(ICErrno::_E_::Logging));
        EXPECT_EQ(ICErrnoData::SYSTEM, data.mf_getOriginatorId());
        EXPECT_EQ(ulong(ERROR_SHARING_VIOLATION), data.mf_getOriginatorErrno());
        EXPECT_STREQ(L"KVR27469E", data.mf_getKVRNumber());
        EXPECT_STREQ(ICString(6328, m_path.c_str()), data.mf_getMessageText());
        EXPECT_THAT(data.mf_getMessageText(), HasSubstr(m_path));
        EXPECT_STREQ(ICString(6329), data.mf_getExplanation());
        EXPECT_STREQ(ICString(6330), data.mf_getSystemAction());
        EXPECT_STREQ(ICString(6331), data.mf_getUserResponse());
        EXPECT_TRUE(data.mf_isAdminLogFlagSet());
    }
    EXPECT_EQ(0, second.m_bStarted);
    EXPECT_FALSE(second.mf_implIsFileOpen());
}

// It would be deleted to make room for one of the wanted encoding.
TEST_F(ICLogBaseStart, EmptyFileThatAnotherHolds_IsAFailureOfTheEncoding)
{
    ICTestLog first(m_path), second(m_path);
    first.mf_implStart();
    auto const outcome = m_process.mf_run([&] { second.mf_implStart(); });
    EXPECT_THAT(outcome, f_fails(ICErrno::_E_::FileAccess, ERROR_SHARING_VIOLATION, 'E', START,
                                 StartsWith("Failure installing file encoding (ASCII): ")));
}

TEST_F(ICLogBaseStart, FileThatDoesNotOpen_LeavesNoTraceLine)
{
    ICTestLog log(m_directory / L"none\\a.log");
    auto const outcome = m_process.mf_run([&] { log.mf_implStart(); });
    EXPECT_EQ(ICErrno::_E_::Logging.mf_getNumber(), outcome.m_failure);
    EXPECT_EQ(ulong(ERROR_PATH_NOT_FOUND), outcome.m_originatorErrno);
    EXPECT_THAT(outcome.m_records, Not(Contains(f_isRecord('E', START, _))));
}

// ---------------------------------------------------------------------------------------------------- the last resort

// Deliberate: as many bytes as the text has characters, and no line end.
TEST_F(ICLogBaseStart, BareText_LeavesItsFirstHalf)
{
    ICTestLog log(m_path);
    log.mf_implStart();
    log.mf_implWriteError(L"12345");
    EXPECT_EQ(std::string("1\0002\0003", 5), mf_getBytes());
    ICLogBase::mf_implWriteError(&log, L"ab");
    EXPECT_EQ(std::string("1\0002\0003a\0", 7), mf_getBytes());
}

TEST_F(ICLogBaseStart, BareText_GoesNowhereWithoutFileOrLog)
{
    ICTestLog const log(m_path);
    ICImportFault const writes("WriteFile");
    log.mf_implWriteError(L"text");
    ICLogBase::mf_implWriteError(&log, L"text");
    ICLogBase::mf_implWriteError(nullptr, L"text");
    EXPECT_EQ(0u, writes.mf_getCalls());
    EXPECT_FALSE(f_isThere(m_path));
}

TEST_F(ICLogBaseStart, BareTextThatCannotBeWritten_IsLost)
{
    ICTestLog log(m_path);
    log.mf_implStart();
    ICImportFault const full("WriteFile", ERROR_DISK_FULL);
    log.mf_implWriteError(L"text");
    EXPECT_EQ(1u, full.mf_getAnswered());
    EXPECT_EQ("", mf_getBytes());
}

// Deliberate: what would sound an alarm is silent.
TEST_F(ICLogBaseStart, Beep_IsSilent)
{
    ICLogBase::mf_implBeep();
    auto const imports = f_importsOf();
    EXPECT_TRUE(std::none_of(imports.begin(), imports.end(), [](IMPORT const & import) {
        return std::string_view(import.m_name).find("Beep") != std::string_view::npos;
    }));
}

// ------------------------------------------------------------------------------------------------------- stamped names

namespace
{

// 2024-01-31 23:59:59 UTC, while the object lives.
struct ICFixedTime
{
    ICImportPatch const m_patch{IC_IMPORT(FileTimeToSystemTime), [](FILETIME const *, SYSTEMTIME * time) {
                                    *time = {2024, 1, 3, 31, 23, 59, 59, 999};
                                    return TRUE;
                                }};
};

} // namespace

TEST_F(ICLogBaseStart, StampedName_CarriesTheTimeAheadOfTheExtension)
{
    ICFixedTime const time;
    EXPECT_STREQ(L"app-20240131-235959.log", ICLogBase::mf_implCreateStampedFileName(L"app.log"));
    EXPECT_STREQ(L"a.b-20240131-235959.c", ICLogBase::mf_implCreateStampedFileName(L"a.b.c"));
    EXPECT_STREQ(L"-20240131-235959.log", ICLogBase::mf_implCreateStampedFileName(L".log"));
    EXPECT_STREQ(L"app-20240131-235959.", ICLogBase::mf_implCreateStampedFileName(L"app."));
    EXPECT_STREQ(L"app-20240131-235959", ICLogBase::mf_implCreateStampedFileName(L"app"));
}

TEST_F(ICLogBaseStart, StampedName_IsInUtc)
{
    // 2024-02-29 01:02:03 UTC; a local time would go by the zone.
    ICImportPatch const now(IC_IMPORT(GetSystemTimeAsFileTime), [](FILETIME * time) {
        SYSTEMTIME const utc = {2024, 2, 4, 29, 1, 2, 3, 0};
        ::SystemTimeToFileTime(&utc, time);
    });
    EXPECT_STREQ(L"a-20240229-010203.log", ICLogBase::mf_implCreateStampedFileName(L"a.log"));
}

TEST_F(ICLogBaseStart, TimeThatCannotBeConverted_GivesAFixedName)
{
    CString name;
    ICImportFault const failing("FileTimeToSystemTime", ERROR_INVALID_PARAMETER, ICCalls::mf_only(1));
    auto const records = m_process.mf_trace([&] { name = ICLogBase::mf_implCreateStampedFileName(L"a.log"); });
    EXPECT_STREQ(L"FILETIME-ERROR", name);
    EXPECT_THAT(records, Contains(f_isRecord('E', "ICLogBase::mf_implCreateStampedFileName",
                                             AllOf(StartsWith("Failure converting FILETIME to SYSTEMTIME: "),
                                                   HasSubstr("error code 87L")))));
}
