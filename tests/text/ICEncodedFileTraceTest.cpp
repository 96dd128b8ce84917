// The lines of encoded files, as a log shows them.
#include "hsmbase/text/ICEncodedFile.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/LoggedPlace.h"
#include "tests/support/PageGuardHeap.h"

using testing::AllOf;
using testing::Contains;

namespace
{

constexpr ulong DENIED = ERROR_ACCESS_DENIED;

// A directory for a log in it; texts have "@" for the directory.
class ICEncodedFileTrace : public testing::Test
{
protected:
    std::string mf_at(std::string const & text) const { return f_at(text, m_directory.mf_getPath().c_str()); }

    testing::Matcher<std::vector<ICTraceRecord> const &> mf_hasLine(char level, std::string const & function,
                                                                    std::string const & text) const
    {
        return Contains(f_isRecord(level, "ICEncodedFile::" + function, mf_at(text)));
    }
    testing::Matcher<ICTracedAction const &> mf_isFailing(ICErrnoValue const & constant, std::string const & function,
                                                          std::string const & text) const
    {
        return f_fails(constant, 'E', "ICEncodedFile::" + function, mf_at(text));
    }
    testing::Matcher<ICTracedAction const &> mf_isDenied(ICErrnoValue const & constant, std::string const & function,
                                                         std::string const & text, std::string const & end = "") const
    {
        return f_fails(constant, DENIED, 'E', "ICEncodedFile::" + function,
                       f_logged(mf_at(text), constant, DENIED) + end);
    }

    void mf_makeLog(std::string_view bytes) const { m_directory.mf_makeFile(L"a.log", bytes); }

    CString mf_getPath() const { return (m_directory / L"a.log").c_str(); }

    ICTracedProcess const m_process;
    ICTemporaryDirectory const m_directory;

    std::function<void()> const m_toUcs2 = [this] {
        ICEncodedFile::mf_updateFileEncoding(mf_getPath(), ICEncoding::UCS2_LE);
    };
    std::function<void()> const m_toAscii = [this] {
        ICEncodedFile::mf_updateFileEncoding(mf_getPath(), ICEncoding::ASCII);
    };
};

} // namespace

TEST_F(ICEncodedFileTrace, NoPath_IsRefusedUnderEachName)
{
    auto const isRefused = [this](std::string const & function, std::string const & text) {
        return mf_isFailing(ICErrno::_E_::Parameter, function, text);
    };
    EXPECT_THAT(m_process.mf_run([] { ICEncodedFile::mf_getEncoding(L""); }),
                isRefused("mf_getEncoding", "_rPath is empty"));
    EXPECT_THAT(
        m_process.mf_run([] { ICEncodedFile::mf_exchangeFileEncoding(L"", ICEncoding::ASCII, ICEncoding::UCS2_LE); }),
        isRefused("mf_exchangeFileEncoding", "_rPath is empty"));
    EXPECT_THAT(m_process.mf_run([] { ICEncodedFile::mf_implGetBackupPath(L"", ICEncoding::ASCII); }),
                isRefused("mf_implGetBackupPath", "No path name"));
    EXPECT_THAT(m_process.mf_run([] { ICEncodedFile::mf_implGetBackupPath2(L"", ICEncoding::ASCII); }),
                isRefused("mf_implGetBackupPath2", "No path name"));
}

TEST_F(ICEncodedFileTrace, EncodingsThatCannotBeExchanged_AreShown)
{
    auto const exchange = [this](ICEncoding const & current, ICEncoding const & target) {
        return m_process.mf_run([&] { ICEncodedFile::mf_exchangeFileEncoding(mf_getPath(), current, target); });
    };
    auto const isRefused = [this](std::string const & text) {
        return mf_isFailing(ICErrno::_E_::Parameter, "mf_exchangeFileEncoding", text);
    };
    EXPECT_THAT(exchange(ICEncoding::ASCII, ICEncoding::ASCII),
                isRefused("Current encoding and target encoding are the same (ASCII)"));
    EXPECT_THAT(exchange(ICEncoding::UCS2_BE, ICEncoding::ASCII),
                isRefused("Current encoding 'UCS2_BE' not supported"));
    EXPECT_THAT(exchange(ICEncoding::ASCII, ICEncoding::UCS2_BE), isRefused("Target encoding 'UCS2_BE' not supported"));
    EXPECT_THAT(
        exchange(ICEncoding::ASCII, ICEncoding::UCS2_LE),
        mf_isFailing(ICErrno::_E_::FileNotFound, "mf_exchangeFileEncoding", "Encoded file '@\\a.log' not found"));
}

TEST_F(ICEncodedFileTrace, UnsupportedEncoding_IsShown)
{
    mf_makeLog("\xfe\xff");
    EXPECT_THAT(m_process.mf_run(m_toAscii),
                AllOf(mf_isFailing(ICErrno::_E_::NotSupported, "mf_getEncoding",
                                   "Unexpected encoding in file '@\\a.log':\n"
                                   "'UCS2_BE'. ASCII or UCS-2LE are supported"),
                      f_failsShowing(ICErrno::_E_::NotSupported, "ICEncodedFile::mf_updateFileEncoding",
                                     mf_at("Failure getting encoding of file '@\\a.log':\n"))));
}

TEST_F(ICEncodedFileTrace, SameEncoding_HasNotChanged)
{
    mf_makeLog("text");
    EXPECT_THAT(m_process.mf_trace(m_toAscii),
                mf_hasLine('T', "mf_updateFileEncoding", "Encoding 'ASCII' has not changed for\n'@\\a.log'"));
}

TEST_F(ICEncodedFileTrace, ThereAndBack_TellsEveryStep)
{
    mf_makeLog("text");
    EXPECT_THAT(m_process.mf_trace(m_toUcs2),
                AllOf(mf_hasLine('T', "mf_exchangeFileEncoding", "Created backup directory '@\\backup'"),
                      mf_hasLine('T', "mf_exchangeFileEncoding",
                                 "Moved current file '@\\a.log'\nto backup position '@\\backup\\a-ASCII.log'")));
    mf_makeLog("");
    EXPECT_THAT(m_process.mf_trace(m_toAscii),
                AllOf(mf_hasLine('D', "mf_exchangeFileEncoding", "Deleting 0-byte file '@\\a.log'..."),
                      mf_hasLine('T', "mf_exchangeFileEncoding",
                                 "Moved file '@\\a.log'\nfrom backup position '@\\backup\\a-ASCII.log'")));
}

TEST_F(ICEncodedFileTrace, StaleBackup_IsAWarning)
{
    mf_makeLog("text");
    m_directory.mf_makeFile(L"backup\\a-ASCII.log");
    constexpr __time64_t now = 1700000000;
    ICImportFault const clock("_time64", ICAnswer::mf_value(now));
    EXPECT_THAT(m_process.mf_trace(m_toUcs2),
                mf_hasLine('W', "mf_exchangeFileEncoding",
                           "Backup path '@\\backup\\a-ASCII.log' already exists.\n"
                           "Using unique backup path '@\\backup\\a-ASCII-" +
                               f_logged("", CTime(now).Format(L"%Y%m%d-%H%M%S")) + ".log' ..."));
}

TEST_F(ICEncodedFileTrace, EmptyFileThatStays)
{
    mf_makeLog("");
    ICImportFault const denied("DeleteFileW", DENIED);
    EXPECT_THAT(m_process.mf_run(m_toAscii), AllOf(mf_isDenied(ICErrno::_E_::FileAccess, "mf_exchangeFileEncoding",
                                                               "Failure deleting current 0-byte file '@\\a.log':\n"),
                                                   mf_isDenied(ICErrno::_E_::FileAccess, "mf_updateFileEncoding",
                                                               "Failure updating encoded file '@\\a.log':\n",
                                                               "\nCurrent encoding: NONE, target encoding: ASCII")));
}

TEST_F(ICEncodedFileTrace, BackupDirectoryThatCannotBeMade)
{
    mf_makeLog("text");
    ICImportFault const denied("CreateDirectoryW", DENIED);
    EXPECT_THAT(m_process.mf_run(m_toUcs2), mf_isDenied(ICErrno::_E_::FileOpen, "mf_exchangeFileEncoding",
                                                        "Failure creating backup directory '@\\backup':\n"));
}

TEST_F(ICEncodedFileTrace, FilesThatCannotBeMoved)
{
    mf_makeLog("text");
    m_directory.mf_makeFile(L"backup\\a-UCS2_LE.log");
    {
        ICImportFault const denied("MoveFileExW", DENIED, ICCalls::mf_only(1));
        EXPECT_THAT(m_process.mf_run(m_toUcs2), mf_isDenied(ICErrno::_E_::FileMove, "mf_exchangeFileEncoding",
                                                            "Failure moving current file '@\\a.log'\n"
                                                            "to backup position '@\\backup\\a-ASCII.log':\n"));
    }
    ICImportFault const denied("MoveFileExW", DENIED, ICCalls::mf_only(2));
    EXPECT_THAT(m_process.mf_run(m_toUcs2),
                mf_isDenied(ICErrno::_E_::FileMove, "mf_exchangeFileEncoding",
                            "Failure moving file '@\\a.log'\nfrom backup position '@\\backup\\a-UCS2_LE.log':\n"));
}

TEST_F(ICEncodedFileTrace, BackupPathThatCannotBeHad)
{
    if (f_isPageGuardHeapInstalled()) GTEST_SKIP() << "the memory is the guard's";
    // Nothing that the name is made of fails with one of our failures by itself, so the memory for its text has to.
    CString const path(L"D:\\logs\\a.log");
    bool isDue = true;
    ICImportPatch const memory("realloc", [&](void * block, std::size_t size) -> void * {
        if (std::exchange(isDue, false)) throw ICErrno(ICErrno::_E_::Memory);
        return ::realloc(block, size);
    });
    EXPECT_THAT(m_process.mf_run([&] { ICEncodedFile::mf_implGetBackupPath(path, ICEncoding::ASCII); }),
                f_failsShowing(ICErrno::_E_::Memory, "ICEncodedFile::mf_implGetBackupPath",
                               "Could not evaluate passive log file name: "));
}

TEST_F(ICEncodedFileTrace, UniqueBackupPathThatCannotBeHad)
{
    // Here the clock.
    ICImportPatch const clock(IC_IMPORT(_time64),
                              [](__time64_t *) -> __time64_t { throw ICErrno(ICErrno::_E_::Path); });
    EXPECT_THAT(m_process.mf_run([] { ICEncodedFile::mf_implGetBackupPath2(L"D:\\a.log", ICEncoding::ASCII); }),
                f_failsShowing(ICErrno::_E_::Path, "ICEncodedFile::mf_implGetBackupPath2",
                               "Could not evaluate passive log file name (2): "));
}
