#include "tests/support/ICTracedProcess.h"

#include "hsmbase/events/ICEvent.h"
#include "hsmbase/events/ICEventListener.h"
#include "hsmbase/events/ICLogEvent.h"
#include "tests/support/ICChildProcess.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"

using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;

// The way of a record into the file, and what goes wrong on it.

namespace
{

void f_wide(ICLogData const & level = ICLogData::LEVEL_K)
{
    ICLog::mf_writeMessage(level, L"F", L"wide");
}
void f_narrow(ICLogData const & level = ICLogData::LEVEL_K)
{
    ICLog::mf_writeMessage(level, "F", "narrow");
}

// As a file takes it: of a wide text as many bytes as it has characters.
std::string f_firstHalf(std::wstring const & text)
{
    return std::string(reinterpret_cast<char const *>(text.c_str()), text.size());
}

class ICLogWriting : public testing::Test
{
protected:
    // What the action leaves in the file, as bytes.
    template<class ACTION>
    std::string mf_bytesOf(ACTION && action) const
    {
        std::size_t const before = f_readFile(m_process.mf_getLogFile()).size();
        action();
        return f_readFile(m_process.mf_getLogFile()).substr(before);
    }

    ICTracedProcess const m_process;
};

} // namespace

TEST_F(ICLogWriting, UnselectedLevel_LeavesNothing)
{
    ICLog::mf_setLogLevel(ICLogData::LEVEL_I.mf_getLogLevel());
    EXPECT_EQ("", mf_bytesOf([] { f_wide(); }));
    EXPECT_EQ("", mf_bytesOf([] { f_narrow(ICLogData::LEVEL_T); }));
    EXPECT_NE("", mf_bytesOf([] { f_wide(ICLogData::LEVEL_E); }));
}

TEST_F(ICLogWriting, UnselectedLevel_RendersNothing)
{
    ICLog::mf_setLogLevel(ICLogData::LEVEL_I.mf_getLogLevel());
    ICImportFault const clock("GetLocalTime");
    ICImportFault const format("_vsnwprintf");
    f_wide();
    EXPECT_EQ(0u, clock.mf_getCalls());
    EXPECT_EQ(0u, format.mf_getCalls());
}

TEST_F(ICLogWriting, StatusWithoutLogging_LeavesNeitherLineNorEvent)
{
    ICStatus::mf_setStatus(ICStatus::STATUS_LOGGING, 0);
    EXPECT_EQ("", mf_bytesOf([] { f_wide(); }));
    EXPECT_EQ(0, ICLog::m_pThis->mf_implWriteMessage(ICLogData::LEVEL_K, L"F", L"x", nullptr));
    ICStatus::mf_setStatus(ICStatus::STATUS_LOGGING, 1);
    EXPECT_EQ(1, ICLog::m_pThis->mf_implWriteMessage(ICLogData::LEVEL_K, L"F", L"x", nullptr));
}

TEST_F(ICLogWriting, Answer_IsOneAlsoForUnselectedLevels)
{
    ICLog::mf_setLogLevel(0ul);
    EXPECT_EQ(1, ICLog::m_pThis->mf_implWriteMessage(ICLogData::LEVEL_K, L"F", L"x", nullptr));
    EXPECT_EQ(1, ICLog::m_pThis->mf_implWriteMessage(ICLogData::LEVEL_K, "F", "x", nullptr));
}

TEST_F(ICLogWriting, ThreadWithoutContext_LeavesNothing)
{
    HANDLE const thread = ::CreateThread(
        nullptr, 0, [](void *) -> DWORD { return f_wide(), f_narrow(), 0; }, nullptr, 0, nullptr);
    EXPECT_EQ("", mf_bytesOf([&] { ::WaitForSingleObject(thread, INFINITE); }));
    ::CloseHandle(thread);
}

// ---------------------------------------------------------------------------------------------------- cancellation

namespace
{
template<class ACTION>
void f_onCanceledThread(ACTION action)
{
    HANDLE const thread = ::CreateThread(
        nullptr, 0,
        [](void * argument) -> DWORD {
            ICThreadContext::mf_create(ICThreadContext::TYPE_WORKER, 7);
            ICThreadContext::mf_setCanceled(1);
            (*static_cast<ACTION *>(argument))();
            ICThreadContext::mf_delete();
            return 0;
        },
        &action, 0, nullptr);
    ::WaitForSingleObject(thread, INFINITE);
    ::CloseHandle(thread);
}
} // namespace

TEST_F(ICLogWriting, CanceledThread_WritesErrorsAsU)
{
    auto const records = m_process.mf_trace([] {
        f_onCanceledThread([] {
            f_wide(ICLogData::LEVEL_E);
            f_narrow(ICLogData::LEVEL_S);
            f_wide(ICLogData::LEVEL_W);
        });
    });
    EXPECT_THAT(records, Contains(f_isRecord('U', "F", "wide")));
    EXPECT_THAT(records, Contains(f_isRecord('U', "F", "narrow")));
    EXPECT_THAT(records, Contains(f_isRecord('W', "F", "wide")));
}

TEST_F(ICLogWriting, CanceledThread_WithDefaultSlots_WritesNoErrors)
{
    ICLog::mf_setLogLevel(ICLogData::LEVEL_DEFAULT.mf_getLogLevel());
    EXPECT_EQ("",
              mf_bytesOf([] { f_onCanceledThread([] { f_wide(ICLogData::LEVEL_E), f_narrow(ICLogData::LEVEL_S); }); }));
}

// ------------------------------------------------------------------------------------------------------------ flush

TEST_F(ICLogWriting, OnlyExactlyF_FlushesTheFile)
{
    ICImportFault const flush("FlushFileBuffers");
    f_wide(ICLogData::LEVEL_E);
    f_wide(ICLogData::LEVEL_FULL);
    EXPECT_EQ(0u, flush.mf_getCalls());
    f_wide(ICLogData::LEVEL_F);
    f_narrow(ICLogData::LEVEL_F);
    EXPECT_EQ(2u, flush.mf_getCalls());
}

TEST_F(ICLogWriting, FailedFlush_IsToldInTheFile)
{
    ICImportFault const flush("FlushFileBuffers", ERROR_DISK_FULL);
    EXPECT_THAT(mf_bytesOf([] { f_wide(ICLogData::LEVEL_F); }),
                EndsWith(f_firstHalf(L"ICLog::mf_implWriteMessage: FAILURE FLUSHING LOG FILE (112)")));
    EXPECT_EQ(0, ICLog::m_pThis->mf_implWriteMessage(ICLogData::LEVEL_F, L"F", L"x", nullptr));
    EXPECT_THAT(mf_bytesOf([] { ICLog::mf_flush(); }),
                f_firstHalf(L"ICLog::mf_flush: FAILURE FLUSHING LOG FILE (112)"));
}

// --------------------------------------------------------------------------------------------------------- failures

namespace
{
struct WRITE_FAILURE
{
    bool isWide;
    int ucs2;
    wchar_t const * check;
    wchar_t const * write;
};

constexpr WRITE_FAILURE WRITE_FAILURES[] = {
    {false, 1, L"(1.1): FAILURE CHECKING/TRUNCATING LOG FILE (5)", L"(1.2): FAILURE WRITING TO LOG FILE (112)"},
    {false, 0, L"(1.3): FAILURE CHECKING/TRUNCATING LOG FILE (5)", L"(1.4): FAILURE WRITING TO LOG FILE (112)"},
    {true, 1, L"(2.1): FAILURE CHECKING/TRUNCATING LOG FILE (5)", L"(2.2): FAILURE WRITING TO LOG FILE (112)"},
    {true, 0, L"(2.3): FAILURE CHECKING/TRUNCATING LOG FILE (5)", L"(2.4): FAILURE WRITING TO LOG FILE (112)"},
};

int f_write(WRITE_FAILURE const & path)
{
    ICLog::m_pThis->m_bUcs2 = path.ucs2;
    return path.isWide ? ICLog::m_pThis->mf_implWriteMessage(ICLogData::LEVEL_K, L"F", L"x", nullptr)
                       : ICLog::m_pThis->mf_implWriteMessage(ICLogData::LEVEL_K, "F", "x", nullptr);
}
} // namespace

TEST_F(ICLogWriting, FailedCheck_IsToldByPathAndEncoding)
{
    for (WRITE_FAILURE const & path : WRITE_FAILURES) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(path.check)));
        ICImportFault const seek("SetFilePointerEx", ERROR_ACCESS_DENIED, ICCalls::mf_only(1));
        std::string const bytes = mf_bytesOf([&] { EXPECT_EQ(0, f_write(path)); });
        EXPECT_EQ(f_firstHalf(L"ICLogBase::mf_implTruncateFile(1.1): FAILURE GETTING FILE SIZE (5)") +
                      f_firstHalf(std::wstring(L"ICLog::mf_implWriteMessage") + path.check),
                  bytes);
    }
}

TEST_F(ICLogWriting, FailedWrite_IsToldByPathAndEncoding)
{
    for (WRITE_FAILURE const & path : WRITE_FAILURES) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(path.write)));
        ICImportFault const write("WriteFile", ERROR_DISK_FULL, ICCalls::mf_only(1));
        std::string const bytes = mf_bytesOf([&] { EXPECT_EQ(0, f_write(path)); });
        EXPECT_EQ(f_firstHalf(std::wstring(L"ICLog::mf_implWriteMessage") + path.write), bytes);
    }
}

TEST_F(ICLogWriting, ShortWrite_CountsAsFailed)
{
    int calls = 0;
    ICImportPatch const write(
        IC_IMPORT(WriteFile),
        [&](HANDLE file, void const * bytes, DWORD count, DWORD * written, auto * overlapped) -> BOOL {
            return ::WriteFile(file, bytes, calls++ == 0 ? count - 1 : count, written, overlapped);
        });
    EXPECT_THAT(mf_bytesOf([] { f_wide(); }),
                EndsWith(f_firstHalf(L"ICLog::mf_implWriteMessage(2.2): FAILURE WRITING TO LOG FILE (0)")));
}

// A disk that is full for good: the program goes on, and the log again when there is room.
TEST_F(ICLogWriting, FullDisk_LeavesTheProgramRunning)
{
    {
        ICImportFault const full("WriteFile", ERROR_DISK_FULL);
        for (int line = 0; line < 100; ++line)
            f_wide(ICLogData::LEVEL_E);
    }
    EXPECT_THAT(m_process.mf_trace([] { f_wide(); }), ElementsAre(f_isRecord('K', "F", "wide")));
}

// --------------------------------------------------------------------------------------------------- stamped files

namespace
{
// The clock of stamps goes a second further with each look.
auto f_tickingClock(int & seconds)
{
    return [&seconds](FILETIME * now) {
        SYSTEMTIME const start = {2024, 1, 0, 31, 10, 0, 0, 0};
        ::SystemTimeToFileTime(&start, now);
        unsigned long long const ticks = ((1ull * now->dwHighDateTime << 32) | now->dwLowDateTime) +
                                         static_cast<unsigned>(++seconds) * 10'000'000ull;
        *now = {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
    };
}

class ICLogStampedFiles : public ICLogWriting
{
protected:
    ICLogStampedFiles()
    {
        m_process.mf_getRegistry().mf_writeNumber(L"", L"LogFileWrap", 0);
        m_process.mf_getRegistry().mf_writeNumber(L"", L"LogFileUcs2", 0);
        ICLog::mf_updateParameters();
        // Small enough to be passed by a few records.
        ICLog::m_pThis->m_nMaxFileSize = 1000;
    }

    int m_seconds = 0;
    ICImportPatch const m_clock{IC_IMPORT(GetSystemTimeAsFileTime), f_tickingClock(m_seconds)};
};
} // namespace

TEST_F(ICLogStampedFiles, FullFile_IsFollowedByANewOne)
{
    std::vector<std::wstring> files;
    for (int line = 0; line < 30; ++line) {
        f_wide();
        if (files.empty() || files.back() != m_process.mf_getLogFile()) files.push_back(m_process.mf_getLogFile());
    }
    ASSERT_GE(files.size(), 3u);
    EXPECT_TRUE(files[1].starts_with(m_process.mf_getDirectory() / L"trace-20240131-1000"));
    for (std::size_t index = 1; index + 1 < files.size(); ++index) {
        std::size_t const size = f_readFile(files[index]).size();
        EXPECT_LE(size, 1000u);
        EXPECT_GT(size + 91, 1000u) << "one more record of 91 bytes would have passed the maximum";
    }
}

TEST_F(ICLogStampedFiles, SecondNewFileWithinASecond_GoesOnBehindTheFirst)
{
    ICImportPatch const clock(IC_IMPORT(GetSystemTimeAsFileTime), [](FILETIME * now) { *now = {0, 0x01d00000}; });
    for (int line = 0; line < 30; ++line)
        f_wide();
    EXPECT_GE(m_process.mf_read().size(), 19u) << "nothing was written over";
    EXPECT_GT(f_readFile(m_process.mf_getLogFile()).size(), 1000u);
}

TEST_F(ICLogStampedFiles, FailedCheck_IsTold)
{
    ICImportFault const seek("SetFilePointerEx", ERROR_ACCESS_DENIED, ICCalls::mf_only(1));
    EXPECT_EQ(f_firstHalf(L"ICLog::mf_implTruncateFile(1.1): FAILURE GETTING FILE SIZE (5)") +
                  f_firstHalf(L"ICLog::mf_implWriteMessage(2.3): FAILURE CHECKING/TRUNCATING LOG FILE (5)"),
              mf_bytesOf([] { f_wide(); }));
}

TEST_F(ICLogStampedFiles, FailedCheckOfTheNewFile_IsToldThere)
{
    ICLog::m_pThis->m_nMaxFileSize = 1;
    ICImportFault const seek("SetFilePointerEx", ERROR_ACCESS_DENIED, ICCalls::mf_only(2));
    f_wide();
    EXPECT_EQ(f_firstHalf(L"ICLog::mf_implTruncateFile(1.1): FAILURE GETTING FILE SIZE (5)") +
                  f_firstHalf(L"ICLog::mf_implWriteMessage(2.3): FAILURE CHECKING/TRUNCATING LOG FILE (5)"),
              f_readFile(m_process.mf_getLogFile()));
}

TEST_F(ICLogStampedFiles, NewFileThatCannotBeOpened_LeavesALogThatIsNotReady)
{
    ICImportFault const denied("CreateFileW", ERROR_ACCESS_DENIED);
    for (int line = 0; line < 30; ++line)
        f_wide();
    EXPECT_EQ(0, ICLog::mf_isReady());
    ICLog::m_pThis->ICLog::m_ulLogSlots = 0; // so that it can be closed
}

TEST_F(ICLogStampedFiles, NewFileThatCannotBeFound_IsToldInTheOldOne)
{
    // The log's directory can't be asked for, which fails before anything is closed for good.
    ICLog::m_pThis->m_nMaxFileSize = 1;
    std::wstring const file = m_process.mf_getLogFile();
    ICImportFault const denied("RegOpenKeyExW", ERROR_ACCESS_DENIED);
    f_wide();
    EXPECT_EQ(0, ICLog::mf_isReady());
    EXPECT_EQ(file, m_process.mf_getLogFile());
    ICLog::m_pThis->m_ulLogSlots = 0;
}

// ----------------------------------------------------------------------------------- lines within the write of a line

// A cut whose mark can't be written is traced while another record is on its way: both are told to listeners whole, the
// inner one first.
TEST_F(ICLogWriting, LineWithinALine_IsOneOfItsOwn)
{
    class ICKeeper : public ICEventListener
    {
    public:
        ICKeeper() : ICEventListener(ICEvent::MISC_LOG) {}
        CString mf_getName() const override { return L"keeper"; }
        void mf_handleEvent(ICEvent const & event) override { m_texts.push_back(event.mf_getMessage().GetString()); }
        std::vector<std::wstring> m_texts;
    };
    ICKeeper keeper;
    ICLog::m_pThis->m_nMaxFileSize = 1000;
    for (int line = 0; line < 5; ++line)
        f_wide();
    ICLog::mf_registerLogListener(&keeper);
    // The first writes are the mark of the cut and then its own trace lines.
    int calls = 0;
    ICImportPatch const write(IC_IMPORT(WriteFile),
                              [&](HANDLE file, void const * bytes, DWORD count, auto... more) -> BOOL {
                                  if (count == 2 && ++calls == 1) return ::SetLastError(ERROR_DISK_FULL), FALSE;
                                  return ::WriteFile(file, bytes, count, more...);
                              });
    f_wide();
    ICLog::mf_removeLogListener(&keeper);
    ASSERT_EQ(3u, keeper.m_texts.size());
    EXPECT_NE(std::wstring::npos, keeper.m_texts[0].find(L"Writing 2 bytes to file failed"));
    EXPECT_NE(std::wstring::npos, keeper.m_texts[1].find(L"Failure writing byte order mark to file"));
    EXPECT_TRUE(keeper.m_texts[2].ends_with(L" K: wide\r\n"));
    EXPECT_EQ(0u, ICLog::m_pThis->ICLogBase::m_csLock.RecursionCount);
}

// ------------------------------------------------------------------------------------------------------ race with end

IC_CHILD(log_write_without_log)
{
    ICTracedProcess const process;
    ICLog::m_pThis->mf_implStop();
    ICLog::m_pThis->mf_implWriteMessage(ICLogData::LEVEL_K, L"F", L"x", nullptr);
    return 0;
}

TEST(ICLogWriteChild, LogClosedUnderAWriter_EndsTheProcess)
{
    ICChildProcess child("log_write_without_log");
    EXPECT_EQ(0x03000045u, child.mf_getExitCode());
    EXPECT_THAT(child.mf_getErrors(), HasSubstr("The trace log is not ready. The program ends.\r"));
}
