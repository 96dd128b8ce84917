#include "hsmbase/logging/ICAdminLog.h"

#include <algorithm>
#include <vector>

#include "hsmbase/context/ICString.h"
#include "tests/logging/ICAdminLogFixture.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/Thrown.h"

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace
{

using ICAdminLogTest = ICAdminLogFixture;

char const * const WRITE = "ICAdminLog::mf_implWriteMessage";

// 31 January 2024, one second before midnight.
struct ICFixedTime
{
    ICImportPatch const m_patch{IC_IMPORT(GetLocalTime),
                                [](SYSTEMTIME * time) { *time = {2024, 1, 3, 31, 23, 59, 59, 999}; }};
};
std::string const HEAD = "01/31/2024 23:59:59 ";

std::vector<std::string> f_lines(std::string const & bytes)
{
    std::vector<std::string> lines;
    for (std::size_t start = 0, end; (end = bytes.find("\r\n", start)) != bytes.npos; start = end + 2)
        lines.push_back(bytes.substr(start, end - start));
    return lines;
}

} // namespace

// ------------------------------------------------------------------------------------------------------- open, close

TEST_F(ICAdminLogTest, Open_CreatesSettingsAndFile)
{
    EXPECT_FALSE(ICAdminLog::mf_isReady());
    ICAdminLog::mf_openLog(L"admin.log");
    EXPECT_TRUE(ICAdminLog::mf_isReady());
    EXPECT_STREQ(m_path.c_str(), ICAdminLog::mf_getFileName());
    EXPECT_EQ("", mf_getBytes());
    EXPECT_EQ(10240000, mf_log().m_nMaxFileSize);
    EXPECT_EQ(66u, mf_log().m_ulFilePercent);
    EXPECT_EQ(1, mf_log().m_bWrap);
    EXPECT_EQ(0, mf_log().m_bUcs2);
    EXPECT_EQ(std::string("\x10\x27\0\0", 4), mf_getRegistry().mf_read(L"", L"AdminLogFileSize")->m_bytes);
    EXPECT_EQ(std::string("\x42\0\0\0", 4), mf_getRegistry().mf_read(L"", L"AdminLogFilePercent")->m_bytes);
    EXPECT_EQ(std::string(4, '\0'), mf_getRegistry().mf_read(L"", L"AdminLogFileUcs2")->m_bytes);
    EXPECT_FALSE(mf_getRegistry().mf_read(L"", L"AdminLogFileWrap"));
}

TEST_F(ICAdminLogTest, OpenTwice_IsAFailure)
{
    mf_open();
    EXPECT_THAT(m_process.mf_run([] { ICAdminLog::mf_openLog(L"other.log"); }),
                f_fails(ICErrno::_E_::AlreadyInitialized, 'E', "ICAdminLog::mf_openLog",
                        "Administartive log file 'other.log' already initialized"));
    EXPECT_STREQ(m_path.c_str(), ICAdminLog::mf_getFileName());
}

TEST_F(ICAdminLogTest, CloseWithoutLog_IsTold)
{
    EXPECT_THAT(m_process.mf_trace([] { ICAdminLog::mf_closeLog(); }),
                Contains(f_isRecord('E', "ICAdminLog::mf_closeLog", "Administartive log file not initialized")));
}

// Deliberate: the file stays open, so that the process can't open it again.
TEST_F(ICAdminLogTest, Close_LeavesTheFileOpen)
{
    mf_open();
    {
        f_owed(L"line");
    }
    HANDLE const file = mf_log().m_hFile;
    ICAdminLog::mf_closeLog();
    EXPECT_FALSE(ICAdminLog::mf_isReady());
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::Logging, [&] { mf_open(); }, ERROR_SHARING_VIOLATION));
    EXPECT_TRUE(::CloseHandle(file));
}

TEST_F(ICAdminLogTest, FailedOpen_LeavesALogThatIsNotReady)
{
    mf_getRegistry().mf_writeText(L"", L"Path", m_directory.mf_getPath() + L"\\");
    mf_getRegistry().mf_write(L"", L"AdminLogFileDir", REG_SZ, {});
    ICRegistry::mf_deleteValue(L"AdminLogFileDir", ICRegistry::mf_getRegistryRoot(L""), HKEY_LOCAL_MACHINE);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::Logging, [&] { mf_open(); }, ERROR_PATH_NOT_FOUND));
    EXPECT_NE(nullptr, ICAdminLog::m_pThis);
    EXPECT_FALSE(ICAdminLog::mf_isReady());
    EXPECT_TRUE(f_throws(ICErrno::_E_::AlreadyInitialized, [&] { mf_open(); }));
    // Only to close it and to open it anew helps: by then the directory is made.
    ICAdminLog::mf_closeLog();
    mf_open();
    EXPECT_STREQ((m_directory / L"logs\\admin.log").c_str(), ICAdminLog::mf_getFileName());
}

TEST_F(ICAdminLogTest, FailedConstruction_LeavesNoLog)
{
    mf_getRegistry().mf_writeNumber(L"", L"AdminLogFileDir", 1);
    EXPECT_TRUE(f_throws(ICErrno::_E_::Unexpected, [&] { mf_open(); }));
    EXPECT_EQ(nullptr, ICAdminLog::m_pThis);
}

TEST_F(ICAdminLogTest, FileName_NeedsALog)
{
    EXPECT_TRUE(f_throws(ICErrno::_E_::Initialization, [] { ICAdminLog::mf_getFileName(); }));
}

TEST_F(ICAdminLogTest, StartedLogWithoutFile_CountsAsReady)
{
    mf_open();
    mf_log().mf_implStop();
    EXPECT_FALSE(ICAdminLog::mf_isReady());
    mf_log().m_bStarted = 1;
    EXPECT_TRUE(ICAdminLog::mf_isReady());
    mf_log().m_bStarted = 0;
}

TEST_F(ICAdminLogTest, ToString_TellsPathAndEncoding)
{
    for (int const ucs2 : {0, 1}) {
        mf_open(ucs2);
        CString const word = ICString(ucs2 ? 4471 : 3522);
        CString const expected = ICString(3016, m_path.c_str(), word.GetString());
        EXPECT_STREQ(L"> " + expected, mf_log().mf_toString(L"> "));
        EXPECT_THAT(expected.GetString(), AllOf(HasSubstr(m_path), HasSubstr(word.GetString())));
        mf_close();
    }
}

// ---------------------------------------------------------------------------------------------------------- the line

TEST_F(ICAdminLogTest, Line_BeginsWithTheMonth)
{
    mf_open();
    ICFixedTime const time;
    {
        f_owed(L"The text.");
    }
    EXPECT_EQ("01/31/2024 23:59:59 KVR1E The text.\r\n", mf_getBytes());
}

TEST_F(ICAdminLogTest, Line_InUcs2)
{
    mf_open(1);
    ICFixedTime const time;
    {
        f_owed(L"\x20ac \x3b1");
    }
    EXPECT_EQ("\xff\xfe" + f_wideBytes(L"01/31/2024 23:59:59 KVR1E \x20ac \x3b1\r\n"), mf_getBytes());
}

// Deliberate: one byte a character, also where the code page takes more.
TEST_F(ICAdminLogTest, Line_In8Bit_IsConvertedByTheThreadsCodePage)
{
    mf_open();
    ICFixedTime const time;
    {
        f_owed(L"\xe4\x20ac\x3b1");
    }
    char expected[64] = {};
    std::wstring const line = L"01/31/2024 23:59:59 KVR1E \xe4\x20ac\x3b1\r\n";
    ::WideCharToMultiByte(CP_THREAD_ACP, 0, line.c_str(), -1, expected, sizeof(expected), nullptr, nullptr);
    EXPECT_EQ(std::string(expected, line.size()), mf_getBytes());
}

TEST_F(ICAdminLogTest, Text_ComesOnOneLine)
{
    mf_open();
    std::pair<wchar_t const *, char const *> const cases[] = {
        {L"", ""},
        {nullptr, ""},
        {L"one", "one"},
        {L"Two lines:\r\n    the second", "Two lines: the second"},
        {L"\r\n\n \r", " "},
        {L"  both ends \r\n", " both ends "},
        {L"a\rb\nc d", "a b c d"},
        {L"a \r \n  b", "a b"},
        {L"tab\tstays \t too", "tab\tstays \t too"},
        {L"100% %s %d", "100% %s %d"},
    };
    ICFixedTime const time;
    std::string expected;
    for (auto const & [text, shown] : cases) {
        {
            f_owed(text);
        }
        expected += HEAD + "KVR1E " + shown + "\r\n";
    }
    EXPECT_EQ(expected, mf_getBytes());
}

TEST_F(ICAdminLogTest, Number_IsThatOfTheRecord)
{
    mf_open();
    ICFixedTime const time;
    {
        f_owed(L"text", L"KVR27469E");
    }
    {
        f_owed(L"text", L"");
    }
    {
        ICErrnoData data = f_owed(L"text", L"");
        data.mf_setValue(ICErrno::_I_::Ok);
    }
    {
        ICErrnoData data = f_owed(L"text", L"");
        data.mf_setValue(ICErrno::_W_::Timeout);
    }
    {
        f_owed(L"text", nullptr);
    }
    EXPECT_THAT(f_lines(mf_getBytes()), ElementsAre(HEAD + "KVR27469E text", HEAD + "KVR?????E text",
                                                    HEAD + "KVR?????T text", HEAD + "KVR?????E text", HEAD + " text"));
}

TEST_F(ICAdminLogTest, TooLongALine_KeepsItsEnd)
{
    ICFixedTime const time;
    std::size_t const room = 4095 - HEAD.size() - std::string("KVR1E \r\n").size();
    for (int const ucs2 : {0, 1}) {
        mf_open(ucs2);
        std::wstring expected;
        for (std::size_t const length : {room - 1, room, room + 1, room + 10000}) {
            {
                f_owed(std::wstring(length, L'x').c_str());
            }
            expected += L"01/31/2024 23:59:59 KVR1E " + std::wstring(std::min(length, room), L'x') + L"\r\n";
        }
        EXPECT_EQ(ucs2 ? "\xff\xfe" + f_wideBytes(expected) : std::string(expected.begin(), expected.end()),
                  mf_getBytes());
        mf_close();
        ::DeleteFileW(m_path.c_str());
    }
}

// ----------------------------------------------------------------------------------------------- once a record, or not

TEST_F(ICAdminLogTest, Record_IsWrittenOnceByItsLastHolder)
{
    mf_open();
    {
        ICErrnoData outer;
        {
            ICErrnoData const first = f_owed(L"text");
            outer = first;
            EXPECT_FALSE(first.mf_isAdminLogFlagSet());
        }
        EXPECT_EQ("", mf_getBytes());
        try {
            throw ICErrno(outer);
        }
        catch (ICErrno & failure) {
            outer = failure.mf_getErrnoData();
        }
        EXPECT_EQ("", mf_getBytes());
    }
    EXPECT_THAT(f_lines(mf_getBytes()), ElementsAre(EndsWith(" KVR1E text")));
}

TEST_F(ICAdminLogTest, Record_IsPaidWhenItIsWritten)
{
    mf_open();
    {
        ICErrnoData const data = f_owed(L"text");
        ICAdminLog::mf_writeMessage(data);
        EXPECT_FALSE(data.mf_isAdminLogFlagSet());
    }
    EXPECT_EQ(1u, f_lines(mf_getBytes()).size());
}

TEST_F(ICAdminLogTest, Record_WithoutMarkLeavesNothing)
{
    mf_open();
    {
        ICErrnoData data = f_owed(L"text");
        data.mf_setAdminLogFlag(0);
    }
    EXPECT_EQ("", mf_getBytes());
}

TEST_F(ICAdminLogTest, Record_EndsQuietlyWithoutALog)
{
    ICErrnoData const data = f_owed(L"text");
    EXPECT_THAT(m_process.mf_trace([&] { ICAdminLog::mf_writeMessage(data); }), IsEmpty());
    EXPECT_TRUE(data.mf_isAdminLogFlagSet());
    mf_open();
    mf_close();
    EXPECT_THAT(m_process.mf_trace([&] { ICAdminLog::mf_writeMessage(data); }), IsEmpty());
    EXPECT_TRUE(data.mf_isAdminLogFlagSet());
    EXPECT_EQ("", mf_getBytes());
}

TEST_F(ICAdminLogTest, LastErrorOfTheThread_StaysWhenARecordEnds)
{
    mf_open();
    ::SetLastError(4711);
    {
        f_owed(L"text");
    }
    EXPECT_EQ(4711u, ::GetLastError());
}

// ------------------------------------------------------------------------------------------------------------ failures

TEST_F(ICAdminLogTest, NotReady_IsTold)
{
    mf_open();
    mf_log().mf_implStop();
    int result = 1;
    ICErrnoData const data = f_owed(L"text");
    EXPECT_THAT(m_process.mf_trace([&] { result = mf_log().mf_implWriteMessage(data); }),
                Contains(f_isRecord('E', WRITE, "Administrative log not ready")));
    EXPECT_EQ(0, result);
    EXPECT_TRUE(data.mf_isAdminLogFlagSet());
}

// Deliberate: the result is 1 all the same.
TEST_F(ICAdminLogTest, FailedCheck_IsTold_AndTheRecordStaysOwed)
{
    mf_open();
    ICErrnoData data = f_owed(L"text");
    int result = 0;
    ICImportFault const noSeek("SetFilePointerEx", ERROR_GEN_FAILURE, ICCalls::mf_only(1));
    auto const records = m_process.mf_trace([&] { result = mf_log().mf_implWriteMessage(data); });
    EXPECT_THAT(records,
                Contains(f_isRecord('E', WRITE,
                                    AllOf(StartsWith("Failure checking/truncating administrative log file\nErrno: "),
                                          HasSubstr("0x0300002c")))));
    EXPECT_EQ(1, result);
    EXPECT_TRUE(data.mf_isAdminLogFlagSet());
    EXPECT_EQ(f_halfOf(L"ICLogBase::mf_implTruncateFile(1.1): FAILURE GETTING FILE SIZE (31)"), mf_getBytes());
    data.mf_setAdminLogFlag(0);
}

TEST_F(ICAdminLogTest, FailedWrite_IsTold_AndTheRecordStaysOwed)
{
    mf_open();
    ICErrnoData data = f_owed(L"text");
    int result = 0;
    ICImportFault const full("WriteFile", ERROR_DISK_FULL, ICCalls::mf_only(1));
    auto const records = m_process.mf_trace([&] { result = mf_log().mf_implWriteMessage(data); });
    EXPECT_THAT(records, Contains(f_isRecord('E', WRITE,
                                             AllOf(StartsWith("Failure writing administrative log message: "),
                                                   HasSubstr("error code 112L"), HasSubstr("\nErrno: ")))));
    EXPECT_EQ(1, result);
    EXPECT_TRUE(data.mf_isAdminLogFlagSet());
    EXPECT_EQ("", mf_getBytes());
    data.mf_setAdminLogFlag(0);
}

TEST_F(ICAdminLogTest, ShortWrite_IsAFailedWrite)
{
    mf_open();
    ICErrnoData data = f_owed(L"text");
    int calls = 0;
    ICImportPatch const shortWrite(IC_IMPORT(WriteFile),
                                   [&](HANDLE file, void const * bytes, DWORD size, DWORD * count, auto * other) {
                                       return ::WriteFile(file, bytes, ++calls == 1 ? size - 1 : size, count, other);
                                   });
    EXPECT_THAT(m_process.mf_trace([&] { ICAdminLog::mf_writeMessage(data); }),
                Contains(f_isRecord('E', WRITE, StartsWith("Failure writing administrative log message: "))));
    EXPECT_TRUE(data.mf_isAdminLogFlagSet());
    data.mf_setAdminLogFlag(0);
}

namespace
{

// The first call by hsmbase.dll throws.
struct ICThrowingClock
{
    int m_calls = 0;
    ICImportPatch const m_patch{IC_IMPORT(GetLocalTime), [this](SYSTEMTIME * time) {
                                    if (++m_calls == 1) throw ICErrno(ICErrno::_E_::System);
                                    ::GetLocalTime(time);
                                }};
};

} // namespace

TEST_F(ICAdminLogTest, FailureOfWriting_IsTracedAndThrownOn)
{
    mf_open();
    ICErrnoData data = f_owed(L"text");
    ICThrowingClock const clock;
    EXPECT_THAT(m_process.mf_run([&] { ICAdminLog::mf_writeMessage(data); }),
                f_fails(ICErrno::_E_::System, 'E', "ICAdminLog::mf_writeMessage",
                        AllOf(StartsWith("Failure writing administrative log message: "), HasSubstr("\nErrno: "))));
    EXPECT_TRUE(data.mf_isAdminLogFlagSet());
    data.mf_setAdminLogFlag(0);
}

TEST_F(ICAdminLogTest, FailureOfWriting_DoesNotLeaveTheEndOfARecord)
{
    mf_open();
    ICThrowingClock const clock;
    EXPECT_THAT(m_process.mf_trace([] { f_owed(L"text"); }),
                Contains(f_isRecord('E', "ICErrnoData::~ICErrnoData",
                                    StartsWith("Failure writing errno data to admin log.\nerrno: "))));
    EXPECT_EQ("", mf_getBytes());
}

TEST_F(ICAdminLogTest, LockIsFreeAfterEachFailure)
{
    mf_open();
    for (char const * const import : {"SetFilePointerEx", "WriteFile"}) {
        ICImportFault const fault(import, ERROR_GEN_FAILURE, ICCalls::mf_only(1));
        {
            f_owed(L"text");
        }
        EXPECT_EQ(0, mf_log().m_csLock.RecursionCount) << import;
    }
    {
        f_owed(L"the next");
    }
    EXPECT_THAT(mf_getBytes(), EndsWith(" KVR1E the next\r\n"));
}

// ------------------------------------------------------------------------------------------------------------- the cut

TEST_F(ICAdminLogTest, FullFile_IsCutAtALine)
{
    for (int const ucs2 : {0, 1}) {
        mf_open(ucs2);
        mf_log().m_nMaxFileSize = 2000;
        std::string const mark = ucs2 ? "\xff\xfe" : "";
        for (int index = 0; index < 200; ++index) {
            {
                f_owed((L"record " + std::to_wstring(index)).c_str());
            }
            std::string const bytes = mf_getBytes();
            ASSERT_LE(bytes.size(), 2000u);
            ASSERT_EQ(mark, bytes.substr(0, mark.size()));
        }
        std::wstring const text = f_readLogText(m_path);
        EXPECT_THAT(text, EndsWith(L" KVR1E record 199\r\n"));
        for (auto const & line : f_splitRecords(text))
            EXPECT_THAT(line, AllOf(HasSubstr(L"/20"), HasSubstr(L" KVR1E record "), EndsWith(L"\r\n")));
        EXPECT_GE(f_splitRecords(text).size(), 10u);
        mf_close();
        ::DeleteFileW(m_path.c_str());
    }
}

TEST_F(ICAdminLogTest, Size_CountsTheBytesOfTheEncoding)
{
    ICFixedTime const time;
    for (int const ucs2 : {0, 1}) {
        mf_open(ucs2);
        {
            f_owed(L"line");
        }
        std::string const one = mf_getBytes();
        std::string const line = one.substr(ucs2 ? 2 : 0);
        mf_log().m_ulFilePercent = 10;
        mf_log().m_nMaxFileSize = static_cast<long long>(one.size() + line.size());
        {
            f_owed(L"line");
        }
        EXPECT_EQ(one + line, mf_getBytes());
        mf_log().m_nMaxFileSize = static_cast<long long>(one.size() + 2 * line.size() - 1);
        {
            f_owed(L"line");
        }
        EXPECT_NE(one + line + line, mf_getBytes());
        mf_close();
        ::DeleteFileW(m_path.c_str());
    }
}
