#include "hsmbase/text/ICEncodedFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "hsmbase/paths/ICPath.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/ICLeakAccount.h"
#include "tests/support/ICTemporaryDirectory.h"
#include "tests/support/Thrown.h"

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

std::string const ASCII_BYTES = "text";
std::string const UCS2_BYTES("\xff\xfet\0", 4);

// A directory with a log in it, and what stands in it in the end.
class ICEncodedFileTest : public testing::Test
{
protected:
    std::wstring mf_makeLog(std::string_view bytes) const { return m_directory.mf_makeFile(L"a.log", bytes); }
    std::wstring mf_makeBackup(std::wstring const & name, std::string_view bytes) const
    {
        return m_directory.mf_makeFile(L"backup\\" + name, bytes);
    }

    int mf_update(ICEncoding const & target) const
    {
        return ICEncodedFile::mf_updateFileEncoding(m_path.c_str(), target);
    }
    void mf_exchange(ICEncoding const & current, ICEncoding const & target) const
    {
        ICEncodedFile::mf_exchangeFileEncoding(m_path.c_str(), current, target);
    }

    // The files in the directory and below, by their paths below it, sorted.
    std::vector<std::wstring> mf_list() const
    {
        std::vector<std::wstring> names;
        mf_implList(L"", names);
        std::sort(names.begin(), names.end());
        return names;
    }
    void mf_implList(std::wstring const & folder, std::vector<std::wstring> & names) const
    {
        WIN32_FIND_DATAW found = {};
        HANDLE const search = ::FindFirstFileW((m_directory / (folder + L"*")).c_str(), &found);
        if (search == INVALID_HANDLE_VALUE) return;
        do {
            std::wstring const path = folder + found.cFileName;
            if (!(found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY))
                names.push_back(path);
            else if (!path.ends_with(L'.'))
                mf_implList(path + L"\\", names);
        } while (::FindNextFileW(search, &found));
        ::FindClose(search);
    }

    std::string mf_read(std::wstring const & relative) const { return f_readFile(m_directory / relative); }

    ICTemporaryDirectory const m_directory;
    std::wstring const m_path = m_directory / L"a.log";
};

// 1700000000 seconds, in the local time of where the test runs.
constexpr __time64_t NOW = 1700000000;
std::wstring f_stampOfNow()
{
    return CTime(NOW).Format(L"%Y%m%d-%H%M%S").GetString();
}

} // namespace

TEST_F(ICEncodedFileTest, GetEncoding_EmptyPath_Fails)
{
    EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [] { ICEncodedFile::mf_getEncoding(L""); }));
}

TEST_F(ICEncodedFileTest, GetEncoding_NoFileOrNoContent_IsNone)
{
    EXPECT_TRUE(ICEncodedFile::mf_getEncoding(m_path.c_str()) == ICEncoding::NONE);
    mf_makeLog("");
    EXPECT_TRUE(ICEncodedFile::mf_getEncoding(m_path.c_str()) == ICEncoding::NONE);
}

TEST_F(ICEncodedFileTest, GetEncoding_SupportedOnes_AreAnswered)
{
    mf_makeLog(ASCII_BYTES);
    EXPECT_TRUE(ICEncodedFile::mf_getEncoding(m_path.c_str()) == ICEncoding::ASCII);
    mf_makeLog(UCS2_BYTES);
    EXPECT_TRUE(ICEncodedFile::mf_getEncoding(m_path.c_str()) == ICEncoding::UCS2_LE);
}

TEST_F(ICEncodedFileTest, GetEncoding_BigEndianOrTooShort_IsNotSupported)
{
    for (std::string const bytes : {"\xfe\xff", "x"}) {
        mf_makeLog(bytes);
        EXPECT_TRUE(f_throws(ICErrno::_E_::NotSupported, [&] { ICEncodedFile::mf_getEncoding(m_path.c_str()); }));
    }
}

TEST_F(ICEncodedFileTest, GetEncoding_UnreadableBytes_PassTheirFailureOn)
{
    mf_makeLog(std::string(2, '\0'));
    EXPECT_TRUE(f_throws(ICErrno::_E_::Unknown, [&] { ICEncodedFile::mf_getEncoding(m_path.c_str()); }));
}

TEST_F(ICEncodedFileTest, GetEncoding_EachPlatformCallFailing_PassesItsFailureOn)
{
    struct CASE
    {
        char const * call;
        ulong number;
        ICErrnoValue const & failure;
    };
    // The first file is opened for its size, the second for its bytes.
    CASE const cases[] = {{"CreateFileW", 1, ICErrno::_E_::FileOpen},
                          {"GetFileInformationByHandle", 1, ICErrno::_E_::FileAccess},
                          {"CreateFileW", 2, ICErrno::_E_::FileAccess},
                          {"ReadFile", 1, ICErrno::_E_::FileRead}};
    mf_makeLog(ASCII_BYTES);
    for (CASE const & testCase : cases) {
        SCOPED_TRACE(testCase.call);
        ICImportFault const fault(testCase.call, ERROR_ACCESS_DENIED, ICCalls::mf_only(testCase.number));
        EXPECT_TRUE(f_throws(
            testCase.failure, [&] { ICEncodedFile::mf_getEncoding(m_path.c_str()); }, ERROR_ACCESS_DENIED));
    }
}

TEST_F(ICEncodedFileTest, Update_SameEncoding_DoesNothing)
{
    mf_makeLog(ASCII_BYTES);
    mf_makeBackup(L"a-ASCII.log", "other");

    EXPECT_EQ(0, mf_update(ICEncoding::ASCII));
    EXPECT_THAT(mf_list(), ElementsAre(L"a.log", L"backup\\a-ASCII.log"));
    EXPECT_EQ(ASCII_BYTES, mf_read(L"a.log"));
}

TEST_F(ICEncodedFileTest, Update_OtherEncoding_MovesTheFileAside)
{
    mf_makeLog(ASCII_BYTES);

    EXPECT_EQ(1, mf_update(ICEncoding::UCS2_LE));
    EXPECT_THAT(mf_list(), ElementsAre(L"backup\\a-ASCII.log"));
    EXPECT_EQ(ASCII_BYTES, mf_read(L"backup\\a-ASCII.log"));
}

TEST_F(ICEncodedFileTest, Update_ThereAndBack_BringsTheFirstFileHome)
{
    mf_makeLog(ASCII_BYTES);
    EXPECT_EQ(1, mf_update(ICEncoding::UCS2_LE));
    mf_makeLog(UCS2_BYTES);

    EXPECT_EQ(1, mf_update(ICEncoding::ASCII));
    EXPECT_THAT(mf_list(), ElementsAre(L"a.log", L"backup\\a-UCS2_LE.log"));
    EXPECT_EQ(ASCII_BYTES, mf_read(L"a.log"));
    EXPECT_EQ(UCS2_BYTES, mf_read(L"backup\\a-UCS2_LE.log"));
}

TEST_F(ICEncodedFileTest, Update_StaleBackup_StaysBesideAUniqueName)
{
    mf_makeLog(ASCII_BYTES);
    mf_makeBackup(L"a-ASCII.log", "stale");
    ICImportFault const clock("_time64", ICAnswer::mf_value(NOW));

    EXPECT_EQ(1, mf_update(ICEncoding::UCS2_LE));
    std::wstring const unique = L"backup\\a-ASCII-" + f_stampOfNow() + L".log";
    EXPECT_THAT(mf_list(), ElementsAre(unique, L"backup\\a-ASCII.log"));
    EXPECT_EQ(ASCII_BYTES, mf_read(unique));
    EXPECT_EQ("stale", mf_read(L"backup\\a-ASCII.log"));
}

TEST_F(ICEncodedFileTest, Update_UniqueNameTakenToo_FailsWithAllInPlace)
{
    mf_makeLog(ASCII_BYTES);
    mf_makeBackup(L"a-ASCII.log", "stale");
    mf_makeBackup(L"a-ASCII-" + f_stampOfNow() + L".log", "stale too");
    ICImportFault const clock("_time64", ICAnswer::mf_value(NOW));

    EXPECT_TRUE(f_throws(ICErrno::_E_::FileExists, [&] { mf_update(ICEncoding::UCS2_LE); }));
    EXPECT_EQ(ASCII_BYTES, mf_read(L"a.log"));
    EXPECT_EQ("stale", mf_read(L"backup\\a-ASCII.log"));
    EXPECT_EQ("stale too", mf_read(L"backup\\a-ASCII-" + f_stampOfNow() + L".log"));
}

TEST_F(ICEncodedFileTest, Update_EmptyFile_IsDeletedAndNotMoved)
{
    mf_makeLog("");
    EXPECT_EQ(1, mf_update(ICEncoding::UCS2_LE));
    EXPECT_THAT(mf_list(), IsEmpty());
    EXPECT_FALSE(f_isThere(m_directory / L"backup"));
}

TEST_F(ICEncodedFileTest, Update_EmptyFile_MakesRoomForTheBackup)
{
    mf_makeLog("");
    mf_makeBackup(L"a-UCS2_LE.log", UCS2_BYTES);
    EXPECT_EQ(1, mf_update(ICEncoding::UCS2_LE));
    EXPECT_THAT(mf_list(), ElementsAre(L"a.log"));
    EXPECT_EQ(UCS2_BYTES, mf_read(L"a.log"));
}

// NONE differs from ASCII: that counts as a change.
TEST_F(ICEncodedFileTest, Update_MissingFileAndNoBackup_DoesNothingAndAnswersOne)
{
    EXPECT_EQ(1, mf_update(ICEncoding::ASCII));
    EXPECT_THAT(mf_list(), IsEmpty());
    EXPECT_FALSE(f_isThere(m_directory / L"backup"));
}

TEST_F(ICEncodedFileTest, Update_MissingFileWithBackup_BringsItHome)
{
    mf_makeBackup(L"a-UCS2_LE.log", UCS2_BYTES);
    mf_makeBackup(L"a-ASCII.log", ASCII_BYTES);
    EXPECT_EQ(1, mf_update(ICEncoding::UCS2_LE));
    EXPECT_THAT(mf_list(), ElementsAre(L"a.log", L"backup\\a-ASCII.log"));
    EXPECT_EQ(UCS2_BYTES, mf_read(L"a.log"));
}

TEST_F(ICEncodedFileTest, Update_FileWithoutTellableEncoding_StaysWhereItIs)
{
    mf_makeLog(std::string("\0x", 2));
    EXPECT_TRUE(f_throws(ICErrno::_E_::Unknown, [&] { mf_update(ICEncoding::ASCII); }));
    EXPECT_THAT(mf_list(), ElementsAre(L"a.log"));
}

TEST_F(ICEncodedFileTest, Update_LongPath_IsNoMatter)
{
    std::wstring const component(100, L'x');
    std::wstring const folder = component + L"\\" + component + L"\\" + component + L"\\";
    std::wstring const path = m_directory.mf_makeFile(folder + L"a.log", ASCII_BYTES);

    EXPECT_EQ(1, ICEncodedFile::mf_updateFileEncoding(path.c_str(), ICEncoding::UCS2_LE));
    EXPECT_FALSE(f_isThere(path));
    EXPECT_EQ(ASCII_BYTES, mf_read(folder + L"backup\\a-ASCII.log"));
}

TEST_F(ICEncodedFileTest, Exchange_WrongParameters_AreRefused)
{
    struct CASE
    {
        ICEncoding const & current;
        ICEncoding const & target;
    };
    CASE const cases[] = {{ICEncoding::ASCII, ICEncoding::ASCII},     {ICEncoding::NONE, ICEncoding::NONE},
                          {ICEncoding::UNKNOWN, ICEncoding::ASCII},   {ICEncoding::UCS2_BE, ICEncoding::ASCII},
                          {ICEncoding::ASCII, ICEncoding::NONE},      {ICEncoding::ASCII, ICEncoding::UCS2_BE},
                          {ICEncoding::UCS2_LE, ICEncoding::UNKNOWN}, {ICEncoding::NONE, ICEncoding::UCS2_BE}};
    mf_makeLog(ASCII_BYTES);
    for (CASE const & testCase : cases)
        EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [&] { mf_exchange(testCase.current, testCase.target); }));
    EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter,
                         [] { ICEncodedFile::mf_exchangeFileEncoding(L"", ICEncoding::ASCII, ICEncoding::UCS2_LE); }));
    EXPECT_THAT(mf_list(), ElementsAre(L"a.log"));
}

TEST_F(ICEncodedFileTest, Exchange_MissingFileThatIsSaidToHaveAnEncoding_Fails)
{
    mf_makeBackup(L"a-UCS2_LE.log", UCS2_BYTES);
    EXPECT_TRUE(f_throws(ICErrno::_E_::FileNotFound, [&] { mf_exchange(ICEncoding::ASCII, ICEncoding::UCS2_LE); }));
    EXPECT_THAT(mf_list(), ElementsAre(L"backup\\a-UCS2_LE.log"));
}

TEST_F(ICEncodedFileTest, Exchange_ContentThatIsSaidToBeNone_MovesUnderThatName)
{
    mf_makeLog(ASCII_BYTES);
    mf_exchange(ICEncoding::NONE, ICEncoding::UCS2_LE);
    EXPECT_THAT(mf_list(), ElementsAre(L"backup\\a-NONE.log"));
}

TEST_F(ICEncodedFileTest, Exchange_BackupDirectoryThere_IsNotMade)
{
    mf_makeLog(ASCII_BYTES);
    m_directory.mf_makeDirectory(L"backup");
    ICImportFault const made("CreateDirectoryW");
    mf_exchange(ICEncoding::ASCII, ICEncoding::UCS2_LE);
    EXPECT_EQ(0u, made.mf_getCalls());
    EXPECT_THAT(mf_list(), ElementsAre(L"backup\\a-ASCII.log"));
}

TEST_F(ICEncodedFileTest, Exchange_FailedDeletionOfEmptyFile_LeavesTheBackup)
{
    mf_makeLog("");
    mf_makeBackup(L"a-ASCII.log", ASCII_BYTES);
    ICImportFault const denied("DeleteFileW", ERROR_ACCESS_DENIED);

    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileAccess, [&] { mf_exchange(ICEncoding::NONE, ICEncoding::ASCII); }, ERROR_ACCESS_DENIED));
    EXPECT_THAT(mf_list(), ElementsAre(L"a.log", L"backup\\a-ASCII.log"));
}

TEST_F(ICEncodedFileTest, Exchange_FailedSize_LeavesAllInPlace)
{
    mf_makeLog(ASCII_BYTES);
    ICImportFault const denied("CreateFileW", ERROR_ACCESS_DENIED);

    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileOpen, [&] { mf_exchange(ICEncoding::ASCII, ICEncoding::UCS2_LE); }, ERROR_ACCESS_DENIED));
    EXPECT_THAT(mf_list(), ElementsAre(L"a.log"));
}

TEST_F(ICEncodedFileTest, Exchange_NoBackupDirectory_LeavesTheFile)
{
    mf_makeLog(ASCII_BYTES);
    ICImportFault const denied("CreateDirectoryW", ERROR_ACCESS_DENIED);

    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileOpen, [&] { mf_exchange(ICEncoding::ASCII, ICEncoding::UCS2_LE); }, ERROR_ACCESS_DENIED));
    EXPECT_EQ(ASCII_BYTES, mf_read(L"a.log"));
    EXPECT_FALSE(f_isThere(m_directory / L"backup"));
}

TEST_F(ICEncodedFileTest, Exchange_FailedMoveAside_LeavesBothFiles)
{
    mf_makeLog(ASCII_BYTES);
    mf_makeBackup(L"a-UCS2_LE.log", UCS2_BYTES);
    ICImportFault const held("MoveFileExW", ERROR_SHARING_VIOLATION);

    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileMove, [&] { mf_exchange(ICEncoding::ASCII, ICEncoding::UCS2_LE); }, ERROR_SHARING_VIOLATION));
    EXPECT_EQ(1u, held.mf_getCalls());
    EXPECT_EQ(ASCII_BYTES, mf_read(L"a.log"));
    EXPECT_EQ(UCS2_BYTES, mf_read(L"backup\\a-UCS2_LE.log"));
}

TEST_F(ICEncodedFileTest, Exchange_FailedMoveBack_IsMendedByALaterUpdate)
{
    mf_makeLog(ASCII_BYTES);
    mf_makeBackup(L"a-UCS2_LE.log", UCS2_BYTES);
    {
        ICImportFault const held("MoveFileExW", ERROR_SHARING_VIOLATION, ICCalls::mf_only(2));
        EXPECT_TRUE(f_throws(
            ICErrno::_E_::FileMove, [&] { mf_update(ICEncoding::UCS2_LE); }, ERROR_SHARING_VIOLATION));
    }
    EXPECT_THAT(mf_list(), ElementsAre(L"backup\\a-ASCII.log", L"backup\\a-UCS2_LE.log"));

    EXPECT_EQ(1, mf_update(ICEncoding::UCS2_LE));
    EXPECT_EQ(UCS2_BYTES, mf_read(L"a.log"));
    EXPECT_EQ(ASCII_BYTES, mf_read(L"backup\\a-ASCII.log"));
}

TEST_F(ICEncodedFileTest, Exchange_EveryFailure_LeavesNothingOpen)
{
    auto const round = [&] {
        for (char const * call : {"CreateFileW", "GetFileInformationByHandle", "MoveFileExW"}) {
            ICImportFault const fault(call, ERROR_ACCESS_DENIED);
            EXPECT_ANY_THROW(mf_exchange(ICEncoding::ASCII, ICEncoding::UCS2_LE));
        }
    };
    mf_makeLog(ASCII_BYTES);
    m_directory.mf_makeDirectory(L"backup");
    round();
    ICLeakAccount account;
    round();
    EXPECT_TRUE(account.mf_isBalanced()) << account.mf_describe();
    EXPECT_EQ(ASCII_BYTES, mf_read(L"a.log"));
}

TEST(ICEncodedFile, BackupPath_HoldsTheEncodingBeforeTheLastDotOfTheFile)
{
    struct CASE
    {
        wchar_t const * path;
        wchar_t const * backup;
    };
    CASE const cases[] = {{L"D:\\logs\\a.log", L"D:\\logs\\backup\\a-UCS2_LE.log"},
                          {L"D:\\a.log", L"D:\\backup\\a-UCS2_LE.log"},
                          {L"\\\\host\\share\\a.log", L"\\\\host\\share\\backup\\a-UCS2_LE.log"},
                          {L"a.log", L"backup\\a-UCS2_LE.log"},
                          {L"D:\\l.d\\a.1.log", L"D:\\l.d\\backup\\a.1-UCS2_LE.log"},
                          {L"D:\\.log", L"D:\\backup\\-UCS2_LE.log"}};
    for (CASE const & testCase : cases)
        EXPECT_STREQ(testCase.backup, ICEncodedFile::mf_implGetBackupPath(testCase.path, ICEncoding::UCS2_LE));
}

TEST(ICEncodedFile, UniqueBackupPath_HoldsTheLocalTimeToo)
{
    ICImportFault const clock("_time64", ICAnswer::mf_value(NOW));
    std::wstring const expected = L"D:\\logs\\backup\\a-ASCII-" + f_stampOfNow() + L".log";
    EXPECT_EQ(expected, ICEncodedFile::mf_implGetBackupPath2(L"D:\\logs\\a.log", ICEncoding::ASCII).GetString());
}

TEST(ICEncodedFile, BackupPath_EmptyPath_Fails)
{
    EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [] { ICEncodedFile::mf_implGetBackupPath(L"", ICEncoding::ASCII); }));
    EXPECT_TRUE(
        f_throws(ICErrno::_E_::Parameter, [] { ICEncodedFile::mf_implGetBackupPath2(L"", ICEncoding::ASCII); }));
}

// Nothing that a backup name is made of fails by itself; the clock stands in for what might.
TEST(ICEncodedFile, UniqueBackupPath_FailureOnTheWay_IsPassedOn)
{
    ICImportPatch const clock(
        IC_IMPORT(_time64), [](__time64_t *) -> __time64_t { throw ICErrno(ICErrno::_E_::Path, ERROR_INVALID_NAME); });
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::Path, [] { ICEncodedFile::mf_implGetBackupPath2(L"D:\\a.log", ICEncoding::ASCII); },
        ERROR_INVALID_NAME));
}
